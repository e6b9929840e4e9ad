#pragma once

// The one way the platform makes a system call: QX_POSIX_CALL(open(name, flags, mode)). The
// libraries call the system directly; the fault tests' build of the file layer defines it first
// to route the calls to fakes (tests/support/fake_posix.hpp). Internal.

#ifndef QX_POSIX_CALL
#define QX_POSIX_CALL(call) ::call
#endif
