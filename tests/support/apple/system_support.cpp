// macOS lacks the facilities of Linux that some tests use (support.hpp declares them): each
// says so, and the test skips with that reason.
#include <sys/stat.h>
#include <sys/types.h>
#include <cerrno>

#include "support/support.hpp"

namespace qx::test {

std::optional<std::string> mount_small_disk(std::string const&, std::string const&) {
  return "macOS has no private mount namespace to mount a small tmpfs in";
}

int make_device(std::string const& path, unsigned major, unsigned minor) {
  return mknod(path.c_str(), S_IFCHR | 0666, makedev(major, minor)) == 0 ? 0 : errno;
}

int remount_read_only(std::string const&) {
  return ENOSYS;
}

bool kill_at_rename() {
  return false;  // no seccomp filter
}

std::optional<std::string> without_linux_files() {
  return "macOS has neither /proc nor /dev/full";
}

}  // namespace qx::test
