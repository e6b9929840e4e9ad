#pragma once

// The file layer's system calls, used by both file streams. Internal to the platform library.

#include <sys/stat.h>
#include <sys/types.h>
#include <cstddef>
#include <string>
#include <system_error>

#include "fl/filesystem.hpp"

namespace fl::posix {

/// What an opened descriptor must be; fstat checks it before the descriptor is used.
enum class expect {
  /// A regular file or a character device (/dev/null, a terminal): what output may go to.
  /// A FIFO or a socket is refused, since a reader that never reads would block a writer.
  writable,
  /// A regular file: folders, FIFOs, sockets and devices are refused.
  regular_file,
  /// A regular file owned by the effective user with exactly one link, reached through no
  /// symbolic link anywhere in its name (qx::system::open_without_links).
  private_file,
};

/// A descriptor that open_file opened, with what fstat said of it then.
struct opened {
  int fd = -1;           ///< -1 when the open failed
  bool regular = false;  ///< a regular file, where pread and the file size mean something
  dev_t device = 0;      ///< the file's identity: its device
  ino_t inode = 0;       ///< and inode
  off_t size = 0;        ///< the file's size at the open
  int error = 0;         ///< why the open failed: its errno
};

/// The errno `error` as the public operations report it: empty for 0, else of the generic
/// category, as std::filesystem gives the errno on POSIX.
[[nodiscard]] inline std::error_code error_code_of(int error) noexcept {
  return error == 0 ? std::error_code() : std::error_code(error, std::generic_category());
}

/// Opens `name` with `flags` (close-on-exec, no controlling terminal) without ever blocking:
/// O_NONBLOCK holds until fstat has checked the descriptor against `kind`; it is cleared for
/// what is not a regular file (on which it means nothing). EINTR is retried. On failure fd is
/// -1 and error (and errno) says why: the system's own reason, EISDIR for a folder, ENXIO for
/// another kind that `kind` refuses (as the system answers for a socket), EPERM for a private file
/// owned by another user and EMLINK for one with a second link.
[[nodiscard]] opened open_file(char const* name, int flags, mode_t mode, expect kind) noexcept;
/// What lstat(2) or fstatat(2) says of a name, as the public file_entry gives it.
[[nodiscard]] filesystem::file_entry entry_of(struct stat const& status) noexcept;
/// What is at `name`, a symbolic link itself rather than its target (lstat(2)): 0 or the errno.
[[nodiscard]] int status_of_name(char const* name, struct stat& status) noexcept;
/// The absolute name of the folder `name` with every link, "." and ".." resolved as the kernel
/// resolves them (realpath(3)) into `real`: 0 or the errno (ENOENT, ENOTDIR, EACCES, ELOOP...).
[[nodiscard]] int real_path(char const* name, std::string& real);
/// Gives the open file `owner`, `group` and the permission bits `mode` (set-ID and sticky bits
/// included): fchown first, since a change of owner clears the set-ID bits, then fchmod. 0 or
/// the errno (EPERM: the caller may not give that owner or group).
[[nodiscard]] int set_owner_and_mode(int fd, uid_t owner, gid_t group, mode_t mode) noexcept;
/// Reads up to `size` bytes, retrying EINTR: the count, 0 at the end, -1 on an error.
[[nodiscard]] ssize_t read_some(int fd, void* data, std::size_t size) noexcept;
/// The byte at `offset` (one pread, EINTR retried), or -1 when there is none or it cannot be read.
[[nodiscard]] int read_byte_at(int fd, off_t offset) noexcept;
/// Writes all `size` bytes, which land at offset `at` (the end of the file for an append):
/// continues after a short write, retries EINTR. Returns how many bytes were written; fewer
/// than `size` means failure, with errno set (EIO when write(2) makes no progress).
/// The file-size limit (RLIMIT_FSIZE) never kills the process: a write known to pass it is
/// not started (EFBIG, nothing written); one that passes it anyway, because the file grew
/// meanwhile, runs with SIGXFSZ blocked in the calling thread and fails with EFBIG.
[[nodiscard]] std::size_t write_all(int fd, void const* data, std::size_t size, off_t at) noexcept;
/// lseek(2).
[[nodiscard]] off_t seek(int fd, off_t offset, int whence) noexcept;
/// close(2) once: never retried, since the descriptor is gone even when it reports EINTR.
int close_file(int fd) noexcept;

// Replacing a file in one step: each returns 0 or the errno of the failure.

/// rename(2): `to` is replaced at once, a symbolic link there replaced rather than followed.
[[nodiscard]] int rename_path(char const* from, char const* to) noexcept;
/// unlink(2): the name goes, a link's target stays; a folder is refused.
[[nodiscard]] int remove_path(char const* name) noexcept;
/// Opens the folder `name` for reading (EINTR retried), puts its entries on the disk
/// (qx::system::sync_to_disk) and closes it; ENOTDIR for what is not a folder.
[[nodiscard]] int sync_folder(char const* name) noexcept;

}  // namespace fl::posix
