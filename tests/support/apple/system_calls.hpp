#pragma once

// The calls of platform/src/apple/system.cpp that the fakes leave to the system.

#include <sys/resource.h>
#include <sys/stat.h>
#include <cstdio>

namespace qx::fake {
using ::fstat, ::getrlimit, ::renameatx_np;
}  // namespace qx::fake
