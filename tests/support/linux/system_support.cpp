// The facilities of Linux that some tests use (support.hpp declares them).
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include "support/support.hpp"

#ifndef SYS_rename
#define SYS_rename SYS_renameat  // newer processors have renameat and renameat2 only
#endif

namespace qx::test {

std::optional<std::string> mount_small_disk(std::string const& folder, std::string const& size) {
  if (unshare(CLONE_NEWNS) != 0 ||
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", folder.c_str(), "tmpfs", 0, ("size=" + size).c_str()) != 0)
    return std::string("cannot mount a tmpfs here: ") + std::strerror(errno);
  return std::nullopt;
}

int make_device(std::string const& path, unsigned major, unsigned minor) {
  return mknod(path.c_str(), S_IFCHR | 0666, makedev(major, minor)) == 0 ? 0 : errno;
}

int remount_read_only(std::string const& folder) {
  return mount(nullptr, folder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0 ? 0 : errno;
}

// A seccomp filter that kills the process at each kind of rename.
bool kill_at_rename() {
  std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
  for (long const call : {SYS_rename, SYS_renameat, SYS_renameat2})
    filter.insert(filter.end(),
                  {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1),
                   BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS)});
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  sock_fprog const program{static_cast<unsigned short>(filter.size()), filter.data()};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
         prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

std::optional<std::string> without_linux_files() {
  return std::nullopt;
}

}  // namespace qx::test
