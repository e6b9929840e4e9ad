#include "support/fake_syscalls.hpp"

#include <cerrno>

namespace qx::test {
namespace {

FakeSyscalls* active = nullptr;

int take(std::deque<int>& queue) {
  if (queue.empty()) return 0;
  int const error = queue.front();
  queue.pop_front();
  return error;
}

int fake_open(char const* name, int flags, mode_t mode) {
  ++active->open_calls;
  if (int const error = take(active->open_errors)) {
    errno = error;
    return -1;
  }
  return fl::posix::system_calls().open(name, flags, mode);
}

ssize_t fake_write(int fd, void const* data, std::size_t size) {
  if (int const error = take(active->write_errors)) {
    errno = error;
    return -1;
  }
  if (active->short_write_limit > 0 && size > active->short_write_limit) {
    size = active->short_write_limit;
  }
  active->writes.push_back(size);
  return fl::posix::system_calls().write(fd, data, size);
}

int fake_close(int fd) {
  ++active->close_calls;
  int const rc = fl::posix::system_calls().close(fd);
  if (active->close_error != 0) {
    errno = active->close_error;
    return -1;
  }
  return rc;
}

constexpr fl::posix::syscalls kFakeTable{&fake_open, &fake_write, &fake_close};

}  // namespace

FakeSyscalls::FakeSyscalls() : previous_(&fl::posix::replace_syscalls(kFakeTable)) {
  active = this;
}

FakeSyscalls::~FakeSyscalls() {
  fl::posix::replace_syscalls(*previous_);
  active = nullptr;
}

}  // namespace qx::test
