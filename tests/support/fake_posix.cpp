#include "support/fake_posix.hpp"

#include <fcntl.h>
#include <algorithm>
#include <cerrno>

namespace qx::fake {
bool fails(std::deque<int>& errors) {
  int const error = errors.empty() ? 0 : errors.front();
  if (!errors.empty()) errors.pop_front();
  errno = error;
  return error != 0;
}

int open(char const* name, int flags, mode_t mode) {
  script.open_flags.push_back(flags);
  return fails(script.open_errors) ? -1 : ::open(name, flags, mode);
}

ssize_t write(int fd, void const* data, std::size_t size) {
  if (fails(script.write_errors)) return -1;
  if (script.short_write_limit > 0) size = std::min(size, script.short_write_limit);
  script.writes.push_back(size);
  return ::write(fd, data, size);
}

int fcntl(int fd, int command, int argument) {
  if (command == F_SETFL) script.set_flags.push_back(argument);
  return ::fcntl(fd, command, argument);
}

int close(int fd) {
  ++script.close_calls;
  int const rc = ::close(fd);
  errno = script.close_error != 0 ? script.close_error : errno;
  return script.close_error != 0 ? -1 : rc;
}

int fsync(int fd) {
  ++script.fsync_calls;
  return fails(script.fsync_errors) ? -1 : ::fsync(fd);
}

}  // namespace qx::fake
