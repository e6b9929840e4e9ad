#pragma once

// The file layer's system calls, used by both file streams. Internal to the platform library.

#include <sys/types.h>
#include <cstddef>

namespace fl::posix {

/// What an opened descriptor must be; fstat checks it before the descriptor is used.
enum class expect {
  /// Any kind of file (a Logger may write to a device or a FIFO with a reader).
  any,
  /// A regular file: folders, FIFOs and devices are refused.
  regular_file,
  /// A regular file owned by the effective user with exactly one link.
  private_file,
};

/// Opens `name` with `flags` (close-on-exec, no controlling terminal) without ever blocking:
/// O_NONBLOCK holds until fstat has checked the descriptor against `kind`, then it is
/// cleared. EINTR is retried. Returns the descriptor, or -1 with errno set (ENXIO for a FIFO
/// without a reader, EISDIR for a folder, EINVAL for another refused kind, EPERM for a
/// private file that fails its checks).
[[nodiscard]] int open_file(char const* name, int flags, mode_t mode, expect kind) noexcept;
/// Reads up to `size` bytes, retrying EINTR: the count, 0 at the end, -1 on an error.
[[nodiscard]] ssize_t read_some(int fd, void* data, std::size_t size) noexcept;
/// Writes all `size` bytes: continues after a short write, retries EINTR. False on the first
/// other failure (errno set) or when write(2) makes no progress (errno EIO).
[[nodiscard]] bool write_all(int fd, void const* data, std::size_t size) noexcept;
/// lseek(2).
[[nodiscard]] off_t seek(int fd, off_t offset, int whence) noexcept;
/// close(2) once: never retried, since the descriptor is gone even when it reports EINTR.
int close_file(int fd) noexcept;

}  // namespace fl::posix
