#pragma once

#include <sys/types.h>
#include <cstddef>

#include "fl/platform_export.hpp"

/// The few system calls of the platform's file output, behind a table that tests can
/// replace to inject EINTR, short writes or ENOSPC.
namespace fl::posix {

/// The system calls the platform's output streams use.
struct syscalls {
  int (*open)(char const* name, int flags, mode_t mode);
  ssize_t (*write)(int fd, void const* data, std::size_t size);
  int (*close)(int fd);
};

/// The real system calls.
[[nodiscard]] QX_PLATFORM_API syscalls const& system_calls() noexcept;
/// Installs `table` (which must outlive its use) and returns the one it replaces.
/// Meant for tests; call it while no other thread writes files through the platform.
QX_PLATFORM_API syscalls const& replace_syscalls(syscalls const& table) noexcept;

/// open(2), retried while it fails with EINTR. Returns the descriptor or -1 (errno set).
[[nodiscard]] QX_PLATFORM_API int open_file(char const* name, int flags, mode_t mode) noexcept;
/// Writes all `size` bytes: continues after a short write, retries EINTR. Returns false
/// on the first other failure (errno set) or when write(2) makes no progress.
[[nodiscard]] QX_PLATFORM_API bool write_all(int fd, void const* data, std::size_t size) noexcept;
/// close(2) once: never retried, since the descriptor is gone even when it reports EINTR.
QX_PLATFORM_API int close_file(int fd) noexcept;

}  // namespace fl::posix
