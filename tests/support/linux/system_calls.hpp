#pragma once

// The calls of platform/src/linux/system.cpp that the fakes leave to the system.

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qx::fake {
using ::getrlimit, ::statx, ::syscall;
}  // namespace qx::fake
