#pragma once

#include <sys/types.h>
#include <ios>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "fl/i18n.hpp"
#include "fl/path.hpp"
#include "fl/platform_export.hpp"

namespace fl::filesystem {

/// True when something exists at `path`. False for the empty path and for a missing entry
/// (ENOENT, ENOTDIR); throws std::filesystem::filesystem_error for other failures.
[[nodiscard]] QX_PLATFORM_API bool exists(basic_path const& path);

/// Creates `path` and every missing ancestor; true when a folder was created.
/// Throws std::filesystem::filesystem_error when a folder cannot be created.
QX_PLATFORM_API bool create_directories(basic_path const& path);

/// The temporary folder: $TMPDIR when set and non-empty, else "/tmp"; read at every call.
[[nodiscard]] QX_PLATFORM_API ustring temp_directory_name();

/// The install folder: the one above the folder holding the platform library's binary,
/// unless set_install_path chose another.
[[nodiscard]] QX_PLATFORM_API ustring get_install_path();
/// Overrides what get_install_path returns; an empty text restores the default.
QX_PLATFORM_API void set_install_path(ustring path);

namespace detail {

/// The native form of a path text; on POSIX the text itself.
[[nodiscard]] QX_PLATFORM_API ustring make_native_form(ustring const& text, bool normalize);
/// The parent folder of a path text ("a/b" gives "a", "/a" gives "/", "a" gives "").
[[nodiscard]] QX_PLATFORM_API ustring extract_parent_path(ustring const& text);
/// `base` joined with `name` by one "/" (none added when base is empty or ends in "/").
[[nodiscard]] QX_PLATFORM_API ustring concatenate_pathname(ustring const& base, ustring const& name,
                                                           bool normalize);
/// The name the operating system opens for `path`: its UTF-8 text.
[[nodiscard]] QX_PLATFORM_API std::string make_native_access_form_i18n(basic_path const& path);

/// The descriptor-backed buffer behind both file streams.
class file_buffer;

}  // namespace detail

/// How basic_ofstream opens its file, beyond the standard open mode.
struct open_options {
  /// Refuse a symbolic link at the final component (O_NOFOLLOW), and refuse anything but
  /// a regular file owned by the effective user with one link.
  bool private_file = false;
  /// Permission bits for a file that is created (before the umask).
  mode_t create_mode = 0666;
};

template <class CharT>
class basic_ofstream;
template <class CharT>
class basic_ifstream;

/// An output file stream that hands everything written between two flushes to the kernel
/// in one write(2) (a short write is continued, EINTR retried), so with std::ios::app each
/// flushed entry lands whole even when several processes append to the same file. Opening
/// never blocks: a FIFO without a reader does not open.
template <>
class QX_PLATFORM_API basic_ofstream<char> : public std::ostream {
 public:
  /// Opens `path` (its native access form) for writing, close-on-exec; `mode` must hold out,
  /// and app opens with O_APPEND, trunc truncates. Check is_open() for the outcome.
  explicit basic_ofstream(basic_path const& path, std::ios::openmode mode = std::ios::out,
                          open_options options = {});
  basic_ofstream(basic_ofstream const&) = delete;
  basic_ofstream& operator=(basic_ofstream const&) = delete;
  /// Flushes and closes; never throws.
  ~basic_ofstream() override;

  /// True when the file was opened and is not closed yet.
  [[nodiscard]] bool is_open() const noexcept;
  /// Flushes and closes the file; a failure sets failbit. Calling it twice is harmless.
  void close();

 private:
  std::unique_ptr<detail::file_buffer> buf_;
};

/// An input file stream on a regular file. Opening never blocks, and anything else (a
/// folder, a FIFO, a device such as /dev/zero) or an empty name does not open.
template <>
class QX_PLATFORM_API basic_ifstream<char> : public std::istream {
 public:
  /// Opens `path` (its native access form) for reading, close-on-exec; with std::ios::ate
  /// the stream starts at the end. Check is_open() for the outcome.
  explicit basic_ifstream(basic_path const& path, std::ios::openmode mode = std::ios::in);
  basic_ifstream(basic_ifstream const&) = delete;
  basic_ifstream& operator=(basic_ifstream const&) = delete;
  /// Closes; never throws.
  ~basic_ifstream() override;

  /// True when the file was opened and is not closed yet.
  [[nodiscard]] bool is_open() const noexcept;
  /// Closes the file; a failure sets failbit. Calling it twice is harmless.
  void close();

 private:
  std::unique_ptr<detail::file_buffer> buf_;
};

}  // namespace fl::filesystem
