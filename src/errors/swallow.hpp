#pragma once

#include <exception>

namespace install::cpputil::detail {

/// Runs `call` and hands the text of whatever it throws to `report` (nullptr for an exception
/// not derived from std::exception): how the library swallows what a call that must not fail
/// cannot handle. What `report` itself throws passes. Each caller says what can reach it.
template <class Call, class Report>
void swallow(Call&& call, Report&& report) {
  try {
    call();
  } catch (std::exception const& error) {
    report(error.what());
  } catch (...) {
    report(static_cast<char const*>(nullptr));
  }
}

/// The answer of `test`, or false when it throws anything: how the predicates that never throw
/// answer for a value they cannot even test.
template <class Test>
[[nodiscard]] bool false_when_throwing(Test&& test) noexcept {
  bool answer = false;
  swallow([&] { answer = test(); }, [](char const*) {});
  return answer;
}

}  // namespace install::cpputil::detail
