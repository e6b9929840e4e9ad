#pragma once

// What the file layer asks of an open descriptor. Internal to the platform library; each
// system's source says how it is asked (the one chosen in platform/CMakeLists.txt).

#include <sys/resource.h>
#include <sys/types.h>

namespace fl::posix {

/// The facts of an open file that the file streams use.
struct file_status {
  mode_t mode = 0;    ///< type and permission bits, as st_mode
  uid_t owner = 0;    ///< the owning user
  nlink_t links = 0;  ///< the number of hard links
  dev_t device = 0;   ///< the device and
  ino_t inode = 0;    ///< inode that identify the file
  off_t size = 0;     ///< its size in bytes
};

/// Fills `status` for the open descriptor `fd`: 0, or -1 with errno set.
[[nodiscard]] int status_of(int fd, file_status& status) noexcept;

/// The process's file-size limit (the soft RLIMIT_FSIZE): RLIM_INFINITY when there is none or
/// it cannot be read. Asked before every write, so it is read the cheapest way the system has.
[[nodiscard]] rlim_t file_size_limit() noexcept;

}  // namespace fl::posix
