// The fakes of the calls that only platform/src/linux/system.cpp makes.
#include <sys/syscall.h>
#include <cerrno>
#include <cstdarg>

#include "support/fake_posix.hpp"

namespace qx::fake {

// Every argument of a system call is one register wide, as the C library's own syscall reads it.
long syscall(long number, ...) {
  std::va_list list;
  va_start(list, number);
  long args[5];
  for (long& arg : args) arg = va_arg(list, long);
  va_end(list);
  if (number == SYS_openat2 && fails(script.openat2_errors)) return -1;
  return ::syscall(number, args[0], args[1], args[2], args[3], args[4]);
}

}  // namespace qx::fake
