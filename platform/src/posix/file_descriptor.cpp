#include "file_descriptor.hpp"

#include "posix_call.hpp"
#include "retry.hpp"
#include "system.hpp"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace fl::posix {
namespace {

// 0 when a file of this status is of the expected kind, else the errno that refuses it.
int refusal(qx::system::file_status const& st, expect kind) noexcept {
  if (S_ISDIR(st.mode)) return EISDIR;
  bool const regular = S_ISREG(st.mode);
  if (kind == expect::writable) return regular || S_ISCHR(st.mode) ? 0 : ENXIO;
  if (!regular) return ENXIO;
  if (kind == expect::private_file) {
    if (st.owner != ::geteuid()) return EPERM;
    if (st.links != 1) return EMLINK;
  }
  return 0;
}

// SIGXFSZ blocked in the calling thread for the object's life, where a write may pass the
// file-size limit: the write then fails with EFBIG instead of the signal ending the process.
// No process-wide disposition changes. A thread that blocked SIGXFSZ itself keeps its own
// mask and its own pending signals.
class file_size_signal_blocked {
 public:
  explicit file_size_signal_blocked(bool needed) noexcept {
    if (!needed) return;
    sigemptyset(&xfsz_);
    sigaddset(&xfsz_, SIGXFSZ);
    active_ = QX_POSIX_CALL(pthread_sigmask(SIG_BLOCK, &xfsz_, &old_)) == 0 &&
              sigismember(&old_, SIGXFSZ) == 0;
  }
  ~file_size_signal_blocked() {
    if (active_) QX_POSIX_CALL(pthread_sigmask(SIG_SETMASK, &old_, nullptr));
  }
  file_size_signal_blocked(file_size_signal_blocked const&) = delete;
  file_size_signal_blocked& operator=(file_size_signal_blocked const&) = delete;

  // Takes back the SIGXFSZ that a failed write raised, so that it is not delivered once the
  // old mask returns.
  void discard_raised() noexcept {
    sigset_t pending;
    int signal = 0;
    if (active_ && QX_POSIX_CALL(sigpending(&pending)) == 0 && sigismember(&pending, SIGXFSZ) == 1)
      QX_POSIX_CALL(sigwait(&xfsz_, &signal));
  }

 private:
  bool active_ = false;
  sigset_t xfsz_{};
  sigset_t old_{};
};

}  // namespace

opened open_file(char const* name, int flags, mode_t mode, expect kind) noexcept {
  int fd = -1;
  flags |= O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  if (kind == expect::private_file) {
    QX_RETRY(fd, qx::system::open_without_links(name, flags, mode));
  } else {
    QX_RETRY(fd, QX_POSIX_CALL(open(name, flags, mode)));
  }
  if (fd < 0) return {.error = errno};
  qx::system::file_status st;
  int error = qx::system::status_of(fd, st) == 0 ? refusal(st, kind) : errno;
  bool const regular = S_ISREG(st.mode);
  if (error == 0 && !regular) {  // a terminal or a device: writes may block as they should
    int const status = QX_POSIX_CALL(fcntl(fd, F_GETFL));
    if (status == -1 || QX_POSIX_CALL(fcntl(fd, F_SETFL, status & ~O_NONBLOCK)) == -1) {
      error = errno;
    }
  }
  if (error != 0) {
    close_file(fd);
    errno = error;
    return {.error = error};
  }
  return {fd, regular, st.device, st.inode, st.size, 0};
}

filesystem::file_entry entry_of(struct stat const& st) noexcept {
  using type = filesystem::entry_type;
  type const kind = S_ISREG(st.st_mode)    ? type::regular
                    : S_ISDIR(st.st_mode)  ? type::folder
                    : S_ISLNK(st.st_mode)  ? type::symbolic_link
                    : S_ISCHR(st.st_mode)  ? type::character_device
                    : S_ISBLK(st.st_mode)  ? type::block_device
                    : S_ISFIFO(st.st_mode) ? type::fifo
                    : S_ISSOCK(st.st_mode) ? type::socket
                                           : type::other;
  return {kind,      st.st_uid, st.st_gid, static_cast<mode_t>(st.st_mode & 07777),
          st.st_dev, st.st_ino};
}

int status_of_name(char const* name, struct stat& status) noexcept {
  return QX_POSIX_CALL(lstat(name, &status)) == 0 ? 0 : errno;
}

int real_path(char const* name, std::string& real) {
  std::unique_ptr<char, decltype(&std::free)> const resolved(QX_POSIX_CALL(realpath(name, nullptr)),
                                                             &std::free);
  if (!resolved) return errno;
  real = resolved.get();
  return 0;
}

int set_owner_and_mode(int fd, uid_t owner, gid_t group, mode_t mode) noexcept {
  if (QX_POSIX_CALL(fchown(fd, owner, group)) != 0 || QX_POSIX_CALL(fchmod(fd, mode & 07777)) != 0)
    return errno;
  return 0;
}

ssize_t read_some(int fd, void* data, std::size_t size) noexcept {
  ssize_t n = 0;
  QX_RETRY(n, QX_POSIX_CALL(read(fd, data, size)));
  return n;
}

int read_byte_at(int fd, off_t offset) noexcept {
  unsigned char byte = 0;
  ssize_t n = 0;
  QX_RETRY(n, QX_POSIX_CALL(pread(fd, &byte, 1, offset)));
  return n == 1 ? byte : -1;
}

std::size_t write_all(int fd, void const* data, std::size_t size, off_t at) noexcept {
  rlim_t const limit = qx::system::file_size_limit();
  bool const limited = limit != RLIM_INFINITY;
  if (limited && at >= 0 && static_cast<rlim_t>(at) + size > limit) {
    errno = EFBIG;  // it cannot fit: leave no fragment behind
    return 0;
  }
  file_size_signal_blocked blocked(limited);
  auto const* p = static_cast<char const*>(data);
  std::size_t done = 0;
  while (done < size) {
    ssize_t n = 0;
    QX_RETRY(n, QX_POSIX_CALL(write(fd, p + done, size - done)));
    if (n < 0) {
      int const error = errno;
      if (error == EFBIG) blocked.discard_raised();
      errno = error;
      return done;
    }
    if (n == 0) {  // no progress and no error: give up rather than spin
      errno = EIO;
      return done;
    }
    done += static_cast<std::size_t>(n);
  }
  return done;
}

off_t seek(int fd, off_t offset, int whence) noexcept {
  return QX_POSIX_CALL(lseek(fd, offset, whence));
}

int close_file(int fd) noexcept {
  return QX_POSIX_CALL(close(fd));
}

int rename_path(char const* from, char const* to) noexcept {
  return QX_POSIX_CALL(rename(from, to)) == 0 ? 0 : errno;
}

int remove_path(char const* name) noexcept {
  return QX_POSIX_CALL(unlink(name)) == 0 ? 0 : errno;
}

int sync_folder(char const* name) noexcept {
  int fd = -1;
  QX_RETRY(fd, QX_POSIX_CALL(open(name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NOCTTY, 0)));
  if (fd < 0) return errno;
  int const error = qx::system::sync_to_disk(fd) == 0 ? 0 : errno;
  close_file(fd);
  return error;
}

}  // namespace fl::posix
