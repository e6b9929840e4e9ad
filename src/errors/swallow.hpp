#pragma once

namespace install::cpputil::detail {

/// The answer of `test`, or false when it throws anything: how the predicates that never throw
/// swallow what they cannot even test. Each caller says what can reach it.
template <class Test>
[[nodiscard]] bool false_when_throwing(Test&& test) noexcept {
  try {
    return test();
  } catch (...) {
    return false;
  }
}

}  // namespace install::cpputil::detail
