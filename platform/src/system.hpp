#pragma once

// What differs from one system to another, and nothing else: each system's source
// (platform/src/<system>/system.cpp, chosen in platform/CMakeLists.txt) defines these, and the
// common POSIX sources (platform/src/posix/) call them. A port to another POSIX system writes
// one such source. Internal to the platform library.

#include <sys/resource.h>
#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

namespace qx::system {

/// The facts of an open file that the file streams use.
struct file_status {
  mode_t mode = 0;    ///< type and permission bits, as st_mode
  uid_t owner = 0;    ///< the owning user
  nlink_t links = 0;  ///< the number of hard links
  dev_t device = 0;   ///< the device and
  ino_t inode = 0;    ///< inode that identify the file
  off_t size = 0;     ///< its size in bytes
};

/// Fills `status` for the open descriptor `fd`: 0, or -1 with errno set. Asked at every open
/// of a log entry, so it is asked the cheapest way the system has.
[[nodiscard]] int status_of(int fd, file_status& status) noexcept;

/// Opens `name` as open(2) does with `flags` and `mode`, except that no symbolic link is
/// followed anywhere in the name, its last component included (ELOOP): the one call each
/// system has for it (Linux's openat2 with RESOLVE_NO_SYMLINKS, macOS's O_NOFOLLOW_ANY). A
/// Linux kernel without openat2 has the name walked a component at a time with O_NOFOLLOW;
/// elsewhere, where the kernel lacks it, the open fails (ENOSYS) rather than follow a link.
/// EINTR is not retried here. The descriptor, or -1 with errno set.
[[nodiscard]] int open_without_links(char const* name, int flags, mode_t mode) noexcept;

/// Renames `from` in the open folder `from_folder` to `to` in the open folder `to_folder` only
/// while nothing is at `to`, a symbolic link included (EEXIST otherwise, and nothing changes):
/// the one call each system has for it (Linux's renameat2 with RENAME_NOREPLACE, macOS's
/// renameatx_np with RENAME_EXCL). Where the file system lacks it, the rename fails (EINVAL,
/// ENOTSUP) rather than replace what is there. 0, or -1 with errno set.
[[nodiscard]] int rename_without_replacing(int from_folder, char const* from, int to_folder,
                                           char const* to) noexcept;

/// The process's file-size limit (the soft RLIMIT_FSIZE): RLIM_INFINITY when there is none or
/// it cannot be read. Asked before every write, so it is read the cheapest way the system has.
[[nodiscard]] rlim_t file_size_limit() noexcept;

/// Has the system put the data and size of the open file, or the entries of the open folder,
/// `fd` on the disk, as far as it can promise that: they then survive a power cut. EINTR is
/// retried. 0, or -1 with errno set (EIO, ENOSPC; EINVAL for what cannot be synchronised).
[[nodiscard]] int sync_to_disk(int fd) noexcept;

/// The temporary folder when $TMPDIR gives none: the per-user folder the system keeps, or
/// "/tmp". UTF-8.
[[nodiscard]] std::string default_temp_directory();

/// The environment a started program inherits (the process's own, as `environ` is).
[[nodiscard]] char** environment() noexcept;

/// The user's language and region where the system keeps them outside the locale variables
/// (the settings a program started from the desktop sees); nothing where it keeps none.
[[nodiscard]] std::optional<std::pair<std::string, std::string>> preferred_locale();

}  // namespace qx::system
