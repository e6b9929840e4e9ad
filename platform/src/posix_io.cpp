#include "fl/posix_io.hpp"

#include <fcntl.h>
#include <unistd.h>
#include <atomic>
#include <cerrno>

namespace fl::posix {
namespace {

int sys_open(char const* name, int flags, mode_t mode) {
  return ::open(name, flags, mode);
}
ssize_t sys_write(int fd, void const* data, std::size_t size) {
  return ::write(fd, data, size);
}
int sys_close(int fd) {
  return ::close(fd);
}

constexpr syscalls kSystemCalls{&sys_open, &sys_write, &sys_close};
std::atomic<syscalls const*> g_calls{&kSystemCalls};

}  // namespace

syscalls const& system_calls() noexcept {
  return kSystemCalls;
}

syscalls const& replace_syscalls(syscalls const& table) noexcept {
  return *g_calls.exchange(&table, std::memory_order_acq_rel);
}

int open_file(char const* name, int flags, mode_t mode) noexcept {
  auto const& calls = *g_calls.load(std::memory_order_acquire);
  int fd = 0;
  do {
    fd = calls.open(name, flags, mode);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool write_all(int fd, void const* data, std::size_t size) noexcept {
  auto const& calls = *g_calls.load(std::memory_order_acquire);
  auto const* p = static_cast<char const*>(data);
  while (size > 0) {
    ssize_t const n = calls.write(fd, p, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (n == 0) {  // no progress and no error: give up rather than spin
      errno = EIO;
      return false;
    }
    p += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

int close_file(int fd) noexcept {
  return g_calls.load(std::memory_order_acquire)->close(fd);
}

}  // namespace fl::posix
