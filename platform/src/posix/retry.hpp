#pragma once

// The one way the platform retries a system call that a signal interrupted. Internal.

#include <cerrno>

/// Evaluates `expression` into `result` again while it fails with EINTR, for calls that report
/// failure as -1 with errno set. Other failures, and errno, are left for the caller.
#define QX_RETRY(result, expression) \
  do {                               \
    (result) = (expression);         \
  } while ((result) == -1 && errno == EINTR)

/// The same for calls that return their error number instead (0 on success), as posix_spawn.
#define QX_RETRY_ERROR_NUMBER(result, expression) \
  do {                                            \
    (result) = (expression);                      \
  } while ((result) == EINTR)
