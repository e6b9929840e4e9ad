#pragma once

/// \file
/// Paths and files: existence, folders, the temporary and install folders, the file streams
/// and the line reader.
///
/// How each fails. The operations the library is built on keep the ways their callers expect:
/// exists and create_directories throw std::filesystem::filesystem_error, get_install_path
/// throws std::runtime_error, the path helpers do not fail, judge_destination and
/// symlink_status hand back a std::error_code, and a stream that does not open, read or write
/// sets failbit. Every other operation, and every stream's and reader's error(), reports the
/// system's reason as a std::error_code of std::generic_category() holding the errno, empty on
/// success; failure_reason words it.

#include <sys/types.h>
#include <ios>
#include <istream>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <system_error>

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

/// Where the system finds the file that a path names, and whether another user could make
/// that name lead elsewhere: what a log destination is judged by, once.
struct destination {
  /// Absolute: the real path of the folder that the name's last component is looked up in
  /// (every link, "." and ".." resolved as the system resolves them, a relative name against
  /// the working folder now), then that component. Empty when `error` is set.
  basic_path real_path;
  /// True when a folder on the real path can be written by another user (it is group- or
  /// world-writable, or owned by another user than the caller and root), unless that folder is
  /// sticky and the next folder down belongs to the caller: others could then rename, replace
  /// or plant what the path leads through. The folder that holds the file counts whenever
  /// others can write it, sticky or not, since they may plant the file's own name. True also
  /// when the folders cannot be examined.
  bool shared = true;
  /// Why the folder could not be resolved or examined (EINVAL for a text holding NUL).
  std::error_code error;
};

/// Judges `file` by the folders the system really resolves, never by the path's text (see
/// destination). A file opened by its real_path with no link followed anywhere
/// (open_options::private_file) is then the one judged, whatever is renamed or planted later
/// and wherever the working folder moves.
[[nodiscard]] QX_PLATFORM_API destination judge_destination(basic_path const& file);

/// What kind of entry a name holds.
enum class entry_type {
  none,              ///< nothing is there
  regular,           ///< a regular file
  folder,            ///< a folder
  symbolic_link,     ///< a symbolic link, whatever it points to
  character_device,  ///< a character device (/dev/null, a terminal)
  block_device,      ///< a block device
  fifo,              ///< a FIFO (a named pipe)
  socket,            ///< a socket
  other,             ///< a kind the system has beyond these
};

/// What is at a name, seen without following a symbolic link there.
struct file_entry {
  /// What is there.
  entry_type type = entry_type::none;
  uid_t owner = 0;         ///< the owning user
  gid_t group = 0;         ///< and group
  mode_t permissions = 0;  ///< the permission bits, set-ID and sticky bits included
  dev_t device = 0;        ///< the device and
  ino_t inode = 0;         ///< inode that tell which file it is
  /// Equal when every field is.
  friend bool operator==(file_entry const&, file_entry const&) = default;
};

/// What is at `path` (lstat(2)): a link itself, never its target. A missing name (ENOENT) is
/// no failure: its type is none. Another failure (ENOTDIR, EACCES, ELOOP, EINVAL for a text
/// holding NUL) sets `error` (cleared otherwise) and gives an entry of type none.
[[nodiscard]] QX_PLATFORM_API file_entry symlink_status(basic_path const& path,
                                                        std::error_code& error);

/// Words for a reason that a file stream reports (error()): the system's own, except for the
/// kinds the streams refuse: "it is a folder" (EISDIR) and "it is not a regular file" (ENXIO).
[[nodiscard]] QX_PLATFORM_API std::string failure_reason(std::error_code error);

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
/// A path text split where the system splits it to look its last name up: the text up to and
/// including its last "/" (empty for a bare name), and the name after it. No lexical step, unlike
/// extract_parent_path: "a/link/../f" is looked up in "a/link/../", which the system resolves
/// through the link, so a file written beside another, or judged by its folder, is in the
/// folder the system opens.
struct folder_and_name {
  ustring folder;  ///< up to and including the last "/"; empty without one
  ustring name;    ///< what follows it
};
/// `text` split as folder_and_name says.
[[nodiscard]] QX_PLATFORM_API folder_and_name split_at_last_separator(ustring const& text);
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
  /// Follow no symbolic link anywhere in the path, its last component included (Linux's
  /// openat2 with RESOLVE_NO_SYMLINKS, or the path walked a folder at a time with O_NOFOLLOW on
  /// a kernel without it; macOS's O_NOFOLLOW_ANY; ELOOP for a link), and refuse anything but a
  /// regular file owned by the effective user with one link.
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
  /// at_line_start uses; a file that may be written but not read then opens write-only). Check
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
  /// Why the open, or the first write or close that failed, failed: its errno. Empty while
  /// nothing failed. A file of a refused kind gives EISDIR (a folder) or ENXIO; a private file
  /// that fails its checks ELOOP (a link anywhere in its path), EPERM (another owner) or EMLINK
  /// (a second link), or ENOSYS where the system cannot open without links; a text holding NUL
  /// EINVAL.
  [[nodiscard]] std::error_code error() const noexcept;
  /// How many bytes have reached the file through this stream.
  [[nodiscard]] std::size_t written() const noexcept;
  /// Whether what is written first starts a line: true for an empty file, for what is not a
  /// regular file, and when the file's last byte at the open is a line feed (one pread, or
  /// known from this process's own last write to that file). False when it is another byte,
  /// and when it cannot be read (a stream opened without std::ios::in, a file the caller may
  /// write but not read, a failed read) and this process did not write it: a writer then starts
  /// with a line feed rather than glue its text onto a fragment.
  [[nodiscard]] bool at_line_start() const noexcept;
  /// Gives the open file the owner, group and permission bits of `like` (fchown, then fchmod,
  /// since a change of owner clears the set-ID bits), as a file that replaces another keeps
  /// them: empty, or the errno (EPERM when the caller may not give that owner or group; EBADF on a
  /// stream that is not open). Does not touch the stream's state.
  [[nodiscard]] std::error_code copy_owner_and_mode(file_entry const& like) noexcept;
  /// Writes what is pending, then has the system put the file's data and size on the disk
  /// (fsync; on macOS F_FULLFSYNC, since its fsync may leave them in the drive's cache), so
  /// that they survive a power cut. For what is not a regular file (a terminal, /dev/null)
  /// only the write is done. Empty on success; when either fails, failbit is set and the errno
  /// returned is error()'s (EIO, ENOSPC...); EBADF on a stream that is not open.
  std::error_code flush_to_disk();

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
  /// EINVAL for a text holding NUL). Empty while nothing failed; the end of the file is no
  /// failure.
  [[nodiscard]] std::error_code error() const noexcept;

 private:
  std::unique_ptr<detail::file_buffer> buf_;
};

// Replacing a file in one step. Each returns an empty std::error_code, or the errno of the failure
// (words for it: failure_reason); a text holding NUL gives EINVAL, and nothing is touched.

/// Renames `from` to `to` at once (rename(2)): a reader of `to` sees the old file or the new
/// one, never neither. Whatever is at `to` is replaced, a symbolic link included (the link is
/// replaced, its target untouched); a folder at `to` gives EISDIR (or ENOTEMPTY, EEXIST), and
/// paths on two file systems EXDEV.
[[nodiscard]] QX_PLATFORM_API std::error_code rename(basic_path const& from, basic_path const& to);
/// As rename, but only while `to` is still what `expected` (its symlink_status, taken before)
/// says: the same file of the same type, or still nothing when nothing was there. Otherwise
/// nothing is renamed and the answer is ESTALE. The check and the rename are two steps: a
/// name swapped between them is still replaced, never followed (rename replaces a link).
[[nodiscard]] QX_PLATFORM_API std::error_code replace(basic_path const& from, basic_path const& to,
                                                      file_entry const& expected);
/// Removes the name `path` (unlink(2)): a file, or a symbolic link itself, never its target.
/// A folder is refused (EISDIR on Linux, EPERM on macOS); a missing name gives ENOENT.
[[nodiscard]] QX_PLATFORM_API std::error_code remove_file(basic_path const& path);
/// Has the system put the entries of `folder` (the empty path: the current folder) on the disk,
/// as flush_to_disk does for a file's data: a rename or a new file in it then survives a power
/// cut. Needs read permission on the folder (EACCES otherwise).
[[nodiscard]] QX_PLATFORM_API std::error_code sync_folder(basic_path const& folder);

/// A regular file read in large blocks into one buffer, for readers that parse what it holds
/// in place: the file is read straight into the buffer, which grows only to hold what its
/// reader keeps. line_reader reads so, and the installation log's reader.
class QX_PLATFORM_API block_reader {
 public:
  /// Zero bytes after the data, that a reader may load with it (vector loads past its end).
  static constexpr std::size_t overrun = 80;

  /// Opens `path` as basic_ifstream does (only a regular file opens; nothing blocks). Reads
  /// take `block` bytes at first.
  explicit block_reader(basic_path const& path, std::size_t block = 64 * 1024);

  /// The bytes held, `overrun` zero bytes after them; null before the first read.
  [[nodiscard]] char const* data() const noexcept { return buffer_.get(); }
  /// How many bytes are held.
  [[nodiscard]] std::size_t size() const noexcept { return filled_; }
  /// How many bytes the buffer holds at most, as it is.
  [[nodiscard]] std::size_t capacity() const noexcept { return capacity_; }
  /// True once the end of the file was reached or a read failed: nothing more comes.
  [[nodiscard]] bool drained() const noexcept { return drained_; }
  /// Drops the first `done` bytes held (the others move to the front), then reads what fits
  /// after the rest; the buffer doubles first when less than a quarter of it would be free.
  /// Every byte held may move. Returns how many bytes were read: 0 once drained.
  std::size_t read_more(std::size_t done);
  /// True when the file opened.
  [[nodiscard]] bool is_open() const noexcept;
  /// The errno of the open or of a read that failed, as basic_ifstream::error gives it; empty
  /// while nothing failed (the end of the file is no failure).
  [[nodiscard]] std::error_code error() const noexcept;

 private:
  basic_ifstream<char> in_;
  std::size_t block_;
  std::unique_ptr<char[]> buffer_;  // capacity_ bytes, then overrun bytes
  std::size_t capacity_ = 0;
  std::size_t filled_ = 0;
  bool drained_ = false;
};

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
  /// The errno of the open or of a read that failed, as basic_ifstream::error gives it; empty
  /// while nothing failed (the end of the file is no failure).
  [[nodiscard]] std::error_code error() const noexcept;

 private:
  block_reader in_;          // [begin_, size()) is not handed out yet
  std::size_t begin_ = 0;    // where the next line starts
  std::size_t scanned_ = 0;  // searched for a line feed up to here
};

}  // namespace fl::filesystem
