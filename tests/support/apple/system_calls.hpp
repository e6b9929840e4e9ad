#pragma once

// The calls of platform/src/apple/system.cpp that the fakes leave to the system.

#include <sys/resource.h>
#include <sys/stat.h>

namespace qx::fake {
using ::fstat, ::getrlimit;
}  // namespace qx::fake
