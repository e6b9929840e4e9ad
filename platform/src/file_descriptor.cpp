#include "file_descriptor.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>

// Every system call of the file layer goes through QX_POSIX_CALL, so that a test build can
// route them to fakes (tests/support/fake_posix.hpp); the libraries call the system directly.
#ifndef QX_POSIX_CALL
#define QX_POSIX_CALL(call) ::call
#endif

namespace fl::posix {
namespace {

// 0 when the descriptor is of the expected kind, else the errno that refuses it.
int refusal(int fd, expect kind) noexcept {
  struct stat st {};
  if (QX_POSIX_CALL(fstat(fd, &st)) != 0) return errno;
  if (kind == expect::any) return 0;
  if (S_ISDIR(st.st_mode)) return EISDIR;
  if (!S_ISREG(st.st_mode)) return EINVAL;
  if (kind == expect::private_file && (st.st_uid != ::geteuid() || st.st_nlink != 1)) {
    return EPERM;
  }
  return 0;
}

}  // namespace

int open_file(char const* name, int flags, mode_t mode, expect kind) noexcept {
  int fd = -1;
  do {
    fd = QX_POSIX_CALL(open(name, flags | O_NONBLOCK | O_CLOEXEC | O_NOCTTY, mode));
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return -1;
  int error = refusal(fd, kind);
  if (error == 0) {
    int const status = QX_POSIX_CALL(fcntl(fd, F_GETFL));
    if (status == -1 || QX_POSIX_CALL(fcntl(fd, F_SETFL, status & ~O_NONBLOCK)) == -1) {
      error = errno;
    }
  }
  if (error != 0) {
    close_file(fd);
    errno = error;
    return -1;
  }
  return fd;
}

ssize_t read_some(int fd, void* data, std::size_t size) noexcept {
  ssize_t n = 0;
  do {
    n = QX_POSIX_CALL(read(fd, data, size));
  } while (n < 0 && errno == EINTR);
  return n;
}

bool write_all(int fd, void const* data, std::size_t size) noexcept {
  auto const* p = static_cast<char const*>(data);
  while (size > 0) {
    ssize_t const n = QX_POSIX_CALL(write(fd, p, size));
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

off_t seek(int fd, off_t offset, int whence) noexcept {
  return QX_POSIX_CALL(lseek(fd, offset, whence));
}

int close_file(int fd) noexcept {
  return QX_POSIX_CALL(close(fd));
}

}  // namespace fl::posix
