#pragma once

/// \file
/// Paths and files: existence, folders, the temporary and install folders, the file streams
/// and the line reader.

#include <sys/types.h>
#include <ios>
#include <istream>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "fl/i18n.hpp"
#include "fl/path.hpp"
#include "fl/platform_export.hpp"

namespace fl::filesystem {

// Every operation on a path refuses a text that holds NUL: the system would read the name
// only up to it, and so reach another file.

/// True when something exists at `path`. False for the empty path, a text holding NUL and a
/// missing entry (ENOENT, ENOTDIR); throws std::filesystem::filesystem_error for other failures.
[[nodiscard]] QX_PLATFORM_API bool exists(basic_path const& path);

/// Creates `path` and every missing ancestor; true when a folder was created.
/// Throws std::filesystem::filesystem_error when a folder cannot be created, and (EINVAL) for
/// a text holding NUL.
QX_PLATFORM_API bool create_directories(basic_path const& path);

/// True when users other than the effective user may create, replace or remove entries in
/// `folder`: it is group- or world-writable, or owned by another user than the effective one
/// and root. Also true when the folder cannot be examined (missing, a text holding NUL), so
/// that a caller errs on the careful side. The empty path is the current folder.
[[nodiscard]] QX_PLATFORM_API bool others_can_write(basic_path const& folder);

/// Words for an errno that a file stream reports (error()): the system's own, except for the
/// kinds the streams refuse: "it is a folder" (EISDIR) and "it is not a regular file" (ENXIO).
[[nodiscard]] QX_PLATFORM_API std::string failure_reason(int error);

/// The temporary folder: $TMPDIR when it is set, non-empty and UTF-8, else the system's
/// default ("/tmp", or the per-user folder macOS keeps); read at every call. A $TMPDIR that
/// is not UTF-8 would name another folder once converted, so it counts as unset, and the
/// trace channel "fl::filesystem" says so at level 4.
[[nodiscard]] QX_PLATFORM_API ustring temp_directory_name();

/// The install folder: the one above the folder holding the platform library's binary,
/// unless set_install_path chose another.
[[nodiscard]] QX_PLATFORM_API ustring get_install_path();
/// Overrides what get_install_path returns; an empty text restores the default.
QX_PLATFORM_API void set_install_path(ustring path);

namespace detail {

/// The native form of a path text; on POSIX the text itself.
[[nodiscard]] QX_PLATFORM_API ustring make_native_form(ustring const& text, bool normalize);
/// The parent folder of a path text, after lexical normalisation (no file system access):
/// "a/b" gives "a", "/a" gives "/", "a" and "a/.." give "", ".." gives "../..", and "a/b/",
/// "a/b//", "a/b/." and "a/x/../b" all give "a", as "a/b" does.
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
  /// Create the file, or fail with EEXIST when anything is at the path already, a symbolic
  /// link included, which is never followed (O_CREAT|O_EXCL|O_NOFOLLOW): the file opened is
  /// then certainly the caller's own, new and empty.
  bool exclusive = false;
};

template <class CharT>
class basic_ofstream;
template <class CharT>
class basic_ifstream;

/// An output file stream that hands everything written between two flushes to the kernel
/// in one write(2) (a short write is continued, EINTR retried), so with std::ios::app each
/// flushed entry lands whole even when several processes append to the same file. Only a
/// regular file or a character device (/dev/null, a terminal) opens, and opening never
/// blocks: a FIFO or a socket is refused, since a reader that never reads would hold every
/// write. A write never kills the process through the file-size limit: it fails with EFBIG.
template <>
class QX_PLATFORM_API basic_ofstream<char> : public std::ostream {
 public:
  /// Opens `path` (its native access form) for writing, close-on-exec; `mode` must hold out,
  /// and app opens with O_APPEND, trunc truncates, in also opens for reading (which only
  /// last_byte uses; a file that may be written but not read then opens write-only). Check
  /// is_open() for the outcome and error() for the reason of a failure.
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
  /// Why the open, or the first write or close that failed, failed: its errno. 0 while
  /// nothing failed. A file of a refused kind gives EISDIR (a folder) or ENXIO; a private file
  /// that fails its checks ELOOP (a link), EPERM (another owner) or EMLINK (a second link); a
  /// text holding NUL EINVAL.
  [[nodiscard]] int error() const noexcept;
  /// How many bytes have reached the file through this stream.
  [[nodiscard]] std::size_t written() const noexcept;
  /// The last byte the file held when it was opened, read with one pread; nothing for an
  /// empty file, for what is not a regular file, for a stream opened without std::ios::in
  /// and when the read fails.
  [[nodiscard]] std::optional<char> last_byte() const noexcept;
  /// Writes what is pending, then has the system put the file's data and size on the disk
  /// (fsync; on macOS F_FULLFSYNC, since its fsync may leave them in the drive's cache), so
  /// that they survive a power cut. For what is not a regular file (a terminal, /dev/null)
  /// only the write is done. False, with failbit set and error() saying why (EIO, ENOSPC...),
  /// when either fails; false without a reason on a stream that is not open.
  bool flush_to_disk();

 private:
  std::unique_ptr<detail::file_buffer> buf_;
};

/// An input file stream on a regular file. Opening never blocks, and anything else (a
/// folder, a FIFO, a device such as /dev/zero) or an empty name does not open.
template <>
class QX_PLATFORM_API basic_ifstream<char> : public std::istream {
 public:
  /// Opens `path` (its native access form) for reading, close-on-exec; with std::ios::ate
  /// the stream starts at the end. Check is_open() for the outcome and error() for the
  /// reason of a failure.
  explicit basic_ifstream(basic_path const& path, std::ios::openmode mode = std::ios::in);
  basic_ifstream(basic_ifstream const&) = delete;
  basic_ifstream& operator=(basic_ifstream const&) = delete;
  /// Closes; never throws.
  ~basic_ifstream() override;

  /// True when the file was opened and is not closed yet.
  [[nodiscard]] bool is_open() const noexcept;
  /// Closes the file; a failure sets failbit. Calling it twice is harmless.
  void close();
  /// Why the open, or the first read or close that failed, failed: its errno (ENOENT for
  /// the empty name; EISDIR for a folder, ENXIO for another kind that is not a regular file,
  /// EINVAL for a text holding NUL). 0 while nothing failed; the end of the file is no failure.
  [[nodiscard]] int error() const noexcept;

 private:
  std::unique_ptr<detail::file_buffer> buf_;
};

// Replacing a file in one step. Each returns 0, or the errno of the failure (words for it:
// failure_reason); a text holding NUL gives EINVAL, and nothing is touched.

/// Renames `from` to `to` at once (rename(2)): a reader of `to` sees the old file or the new
/// one, never neither. Whatever is at `to` is replaced, a symbolic link included (the link is
/// replaced, its target untouched); a folder at `to` gives EISDIR (or ENOTEMPTY, EEXIST), and
/// paths on two file systems EXDEV.
[[nodiscard]] QX_PLATFORM_API int rename(basic_path const& from, basic_path const& to);
/// Removes the name `path` (unlink(2)): a file, or a symbolic link itself, never its target.
/// A folder is refused (EISDIR on Linux, EPERM on macOS); a missing name gives ENOENT.
[[nodiscard]] QX_PLATFORM_API int remove_file(basic_path const& path);
/// Has the system put the entries of `folder` (the empty path: the current folder) on the disk,
/// as flush_to_disk does for a file's data: a rename or a new file in it then survives a power
/// cut. Needs read permission on the folder (EACCES otherwise).
[[nodiscard]] QX_PLATFORM_API int sync_folder(basic_path const& folder);

/// The lines of a regular file, one after the other: the one way the library and its tools
/// read a text file by lines. Lines are split at line feeds and handed over without them; a
/// carriage return stays part of its line; a last line without a line feed is a line too.
class QX_PLATFORM_API line_reader {
 public:
  /// Opens `path` as basic_ifstream does (only a regular file opens; nothing blocks).
  explicit line_reader(basic_path const& path);

  /// Puts the next line into `line` and returns true; false at the end of the file, after a
  /// read that failed, and when the file did not open.
  bool next(std::string& line);
  /// As next(std::string&), without a copy: `line` views the reader's buffer and stays valid
  /// until the next call or the reader's end. The file is read in large chunks straight into
  /// that buffer, which grows only to hold the longest line.
  bool next(std::string_view& line);
  /// True when the file opened.
  [[nodiscard]] bool is_open() const noexcept;
  /// The errno of the open or of a read that failed, as basic_ifstream::error gives it; 0
  /// while nothing failed (the end of the file is no failure).
  [[nodiscard]] int error() const noexcept;

 private:
  static constexpr std::size_t chunk = 64 * 1024;
  basic_ifstream<char> in_;
  std::unique_ptr<char[]> buffer_;  // read ahead; [begin_, filled_) is not handed out yet
  std::size_t size_ = 0;            // the buffer's bytes
  std::size_t begin_ = 0;           // where the next line starts
  std::size_t scanned_ = 0;         // searched for a line feed up to here
  std::size_t filled_ = 0;          // bytes read into the buffer
  bool drained_ = false;            // the end was reached, or a read failed
};

}  // namespace fl::filesystem
