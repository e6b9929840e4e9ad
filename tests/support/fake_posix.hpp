#pragma once

// Fakes for the file layer's system calls, where QX_POSIX_CALL routes them in the fault tests'
// build of the layer (this header forced in). A call the script does not fail reaches the system.

#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <vector>

#define QX_POSIX_CALL(call) ::qx::fake::call

namespace qx::fake {

/// What the next calls do, and what they were asked; a test resets it.
struct Script {
  std::deque<int> open_errors, write_errors;  ///< errno of the next calls; 0 lets one through
  std::size_t short_write_limit = 0;          ///< when set, the most each write hands over
  int close_error = 0;                        ///< errno of every close, after really closing
  std::vector<int> open_flags, set_flags;     ///< the flags of each open and fcntl(F_SETFL)
  std::vector<std::size_t> writes;            ///< the sizes handed to the real write
  int close_calls = 0;
  std::deque<int> fsync_errors;  ///< errno of the next fsync calls; 0 lets one through
  int fsync_calls = 0;
  std::deque<int> openat2_errors;  ///< errno of the next openat2 calls; 0 lets one through
};
inline Script script;

int open(char const* name, int flags, mode_t mode);
ssize_t write(int fd, void const* data, std::size_t size);
int fcntl(int fd, int command, int argument = 0);
int close(int fd);
int fsync(int fd);
long syscall(long number, ...);  // openat2 only; the others reach the system
using ::fstat, ::getrlimit, ::statx, ::lseek, ::pread, ::pthread_sigmask, ::read, ::sigpending,
    ::sigwait;                                                      // not faked
using ::rename, ::unlink, ::lstat, ::realpath, ::fchown, ::fchmod;  // not faked

}  // namespace qx::fake
