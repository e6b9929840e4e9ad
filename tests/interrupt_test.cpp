#include "install/cpputil/interrupt.hpp"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <thread>
#include <type_traits>

#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace interrupt = install::cpputil::interrupt;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using testing::ThrowsMessage;

constexpr char const* pause_variable = "QX_INTERRUPT_TEST_PAUSE";

static_assert(noexcept(interrupt::is_set()) && noexcept(interrupt::set()));
static_assert(noexcept(interrupt::detail::unset()) && !noexcept(interrupt::throw_if_set("")));
static_assert(std::is_base_of_v<std::runtime_error, interrupt::Exception>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&interrupt::Exception::what),
                             char const* (std::runtime_error::*)() const noexcept>);

TEST(Interrupt, FlagLifecyclePauseHookAndTheirTraces) {
  interrupt::detail::unset();
  qx::test::TraceCapture const capture("install::cpputil::interrupt", ~0U);
  qx::test::ScopedEnv const undefined(pause_variable, nullptr);
  EXPECT_FALSE(interrupt::is_set());  // a clear flag neither throws nor traces
  EXPECT_NO_THROW(interrupt::throw_if_set("tag"));
  for (int i = 0; i < 2; ++i) interrupt::set();  // idempotent, traced each time
  // An undefined variable: returns without polling the flag, which would throw.
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(pause_variable));
  EXPECT_THAT([] { interrupt::throw_if_set(""); },
              ThrowsMessage<interrupt::Exception>("Interrupted."));
  EXPECT_THAT([] { interrupt::throw_if_set("copy files"); },  // throwing left the flag set
              ThrowsMessage<interrupt::Exception>("Interrupted. copy files"));
  for (int i = 0; i < 2; ++i) interrupt::detail::unset();
  EXPECT_NO_THROW(interrupt::throw_if_set("copy files"));
  qx::test::ScopedEnv const empty(pause_variable, "");  // empty still counts as defined
  auto set_at = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(150ms);
    interrupt::set();
    return Clock::now();
  });
  EXPECT_THAT(
      [] { interrupt::test::pause_and_throw_if_set(pause_variable); },
      ThrowsMessage<interrupt::Exception>("Interrupted. env QX_INTERRUPT_TEST_PAUSE is set."));
  EXPECT_LT(Clock::now() - set_at.get(), 1s);
  std::string traced;  // each record as its level and message
  for (auto const& r : capture.records()) traced += std::to_string(r.severity) + r.message + "\n";
  EXPECT_THAT(traced,  // what follows the wait races with the setter
              testing::StartsWith(
                  "8Set INTERRUPT.\n8Set INTERRUPT.\n4 interruptStatus=1\n"
                  "8Throw interrupt::Exception with DEFAULT tag.\n"
                  "4 interruptStatus=1\n8Throw interrupt::Exception tag copy files\n"
                  "8Unset INTERRUPT.\n8Unset INTERRUPT.\n"
                  "8env QX_INTERRUPT_TEST_PAUSE is set. Waiting 1 minute for interrupt...\n"));
}

// Takes a full minute: run through the ctest test labelled `slow`.
TEST(Interrupt, DISABLED_PauseWaitsAMinuteWhenNeverSet) {
  interrupt::detail::unset();
  qx::test::ScopedEnv const env(pause_variable, "1");
  auto const start = Clock::now();
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(pause_variable));
  EXPECT_THAT(Clock::now() - start, testing::AllOf(testing::Ge(60s), testing::Lt(90s)));
}
