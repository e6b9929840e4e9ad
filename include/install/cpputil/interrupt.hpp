#pragma once

/// \file
/// The interrupt flag: a cancel request that reaches workers as an exception.

#include <stdexcept>
#include <string>

#include "install/cpputil/export.hpp"

/// The process-wide cancel request: any thread sets it, workers poll it with throw_if_set.
namespace install::cpputil::interrupt {

/// Thrown by throw_if_set while the flag is set.
class QX_CPPUTIL_API Exception : public std::runtime_error {
 public:
  /// Message "Interrupted.".
  Exception();
  /// Message "Interrupted. " followed by `tag` (an empty tag leaves the trailing blank).
  explicit Exception(std::string const& tag);
};

/// The flag's value (one sequentially consistent load). Never throws; traces
/// " interruptStatus=1" (level 4) only when the flag is set.
[[nodiscard]] QX_CPPUTIL_API bool is_set() noexcept;

/// Returns while the flag is clear; otherwise throws Exception with `tag` ("Interrupted."
/// alone for an empty tag). Throwing does not clear the flag.
QX_CPPUTIL_API void throw_if_set(std::string const& tag);

/// Sets the flag; idempotent. Never throws.
QX_CPPUTIL_API void set() noexcept;

namespace detail {
/// Clears the flag; idempotent. Never throws.
QX_CPPUTIL_API void unset() noexcept;
}  // namespace detail

namespace test {
/// Returns at once when the environment variable `name` is not defined (an empty value
/// counts as defined; a null `name`, or one holding '=', names no variable); otherwise polls
/// the flag 600 times, 100 ms apart, and throws Exception tagged "env <name> is set." as
/// soon as it is seen set.
QX_CPPUTIL_API void pause_and_throw_if_set(char const* name);
}  // namespace test

}  // namespace install::cpputil::interrupt
