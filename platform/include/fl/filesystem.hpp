#pragma once

#include <sys/types.h>
#include <fstream>
#include <ios>
#include <memory>
#include <ostream>
#include <string>

#include "fl/i18n.hpp"
#include "fl/platform_export.hpp"

namespace fl::filesystem {

/// A path value. Its text is UTF-16 in native form; an empty text stands for no path.
class QX_PLATFORM_API basic_path {
 public:
  /// The empty path.
  basic_path() = default;
  /// A path holding `text` exactly as given (callers pass a native form).
  explicit basic_path(ustring text) : text_(std::move(text)) {}

  /// The path's text.
  [[nodiscard]] ustring const& string() const noexcept { return text_; }
  /// True when the text is empty (no path).
  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }

  friend bool operator==(basic_path const&, basic_path const&) = default;

 private:
  ustring text_;
};

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
/// As make_native_access_form_i18n, after removing "." components and doubled separators.
[[nodiscard]] QX_PLATFORM_API std::string make_native_access_form_with_cleanup_i18n(
    basic_path const& path);

}  // namespace detail

/// How basic_ofstream opens its file, beyond the standard open mode.
struct open_options {
  /// Refuse a symbolic link at the final component (O_NOFOLLOW), and refuse anything but
  /// a regular file owned by the effective user.
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
/// flushed entry lands whole even when several processes append to the same file.
template <>
class QX_PLATFORM_API basic_ofstream<char> : public std::ostream {
 public:
  /// Opens `path` (its native access form) for writing; `mode` must hold out, and app
  /// opens with O_APPEND, trunc truncates. Check is_open() for the outcome.
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
  /// The errno of the last failed system call, 0 if none failed.
  [[nodiscard]] int last_error() const noexcept;

 private:
  class buffer;
  std::unique_ptr<buffer> buf_;
};

/// An input file stream opened on a platform path (its native access form). A folder, or
/// an empty name, does not open.
template <>
class QX_PLATFORM_API basic_ifstream<char> : public std::ifstream {
 public:
  /// Opens `path` with `mode` (in is always added). Check is_open() for the outcome.
  explicit basic_ifstream(basic_path const& path, std::ios::openmode mode = std::ios::in);
  /// Opens the native name `native_name` as given (see detail::make_native_access_form_*).
  explicit basic_ifstream(std::string const& native_name, std::ios::openmode mode = std::ios::in);
};

}  // namespace fl::filesystem
