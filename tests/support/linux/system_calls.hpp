#pragma once

// The calls of platform/src/linux/system.cpp: syscall faked (openat2), the others left to the
// system.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cstdio>

namespace qx::fake {
long syscall(long number, ...);  // openat2 only; the others reach the system
using ::fstatat, ::getrlimit, ::openat, ::renameat2, ::statx;
}  // namespace qx::fake
