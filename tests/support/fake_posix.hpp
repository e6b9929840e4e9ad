#pragma once

// Fakes for the file layer's system calls, where QX_POSIX_CALL routes them in the fault tests'
// build of the layer (this header forced in). A call the script does not fail reaches the system.

#include <dlfcn.h>
#include <pthread.h>
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

/// Fails the call with the next scripted errno of `errors`, if any (setting errno).
bool fails(std::deque<int>& errors);

int open(char const* name, int flags, mode_t mode);
ssize_t write(int fd, void const* data, std::size_t size);
int fcntl(int fd, int command, int argument = 0);
int close(int fd);
int fsync(int fd);
using ::dladdr, ::lseek, ::pread, ::pthread_sigmask, ::read, ::rename, ::sigpending, ::sigwait,
    ::stat, ::unlink, ::lstat, ::realpath, ::fchown, ::fchmod;  // not faked

}  // namespace qx::fake

// The calls that only one system's source makes (support/<system>/), not faked either.
#include "system_calls.hpp"
