#include "install/cpputil/interrupt.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <type_traits>

#include "foundation/log/diagnostic_logger.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

namespace interrupt = install::cpputil::interrupt;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;
using testing::ThrowsMessage;

constexpr char const* channel = "install::cpputil::interrupt";
constexpr char const* pause_variable = "QX_INTERRUPT_TEST_PAUSE";

static_assert(noexcept(interrupt::is_set()) && noexcept(interrupt::set()));
static_assert(noexcept(interrupt::detail::unset()) && !noexcept(interrupt::throw_if_set("")));
static_assert(std::is_base_of_v<std::runtime_error, interrupt::Exception>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&interrupt::Exception::what),
                             char const* (std::runtime_error::*)() const noexcept>);

TEST(Interrupt, TraceMacroComposesNothingForADisabledLevel) {
  foundation::log::basic_diagnostic_logger<char> const probe("install::cpputil::interrupt_probe");
  int composed = 0;
  FL_TRACE(probe, foundation::log::info_level, "n=", ++composed);
  EXPECT_EQ(composed, 0);
  qx::test::TraceCapture const capture(probe.name(), foundation::log::info_level);
  FL_TRACE(probe, foundation::log::info_level, "n=", ++composed);
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"n=1"});
}

TEST(Interrupt, FlagLifecycleThrowsWithTagAndTracesEveryCall) {
  interrupt::detail::unset();  // each test that needs a clear flag clears it first
  qx::test::ScopedEnv const undefined(pause_variable, nullptr);
  qx::test::TraceCapture const capture(channel, ~0U);
  EXPECT_FALSE(interrupt::is_set());  // a clear flag neither throws nor traces
  EXPECT_NO_THROW(interrupt::throw_if_set("tag"));
  interrupt::set();
  interrupt::set();
  auto const start = Clock::now();  // an undefined variable: returns before polling the flag
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(pause_variable));
  EXPECT_LT(Clock::now() - start, 1s);
  EXPECT_THAT([] { interrupt::throw_if_set(""); },
              ThrowsMessage<interrupt::Exception>("Interrupted."));
  EXPECT_THAT([] { interrupt::throw_if_set("copy files"); },  // throwing left the flag set
              ThrowsMessage<interrupt::Exception>("Interrupted. copy files"));
  interrupt::detail::unset();
  interrupt::detail::unset();
  EXPECT_NO_THROW(interrupt::throw_if_set("copy files"));
  qx::test::TraceRecord const set{channel, 8, "Set INTERRUPT."},
      unset{channel, 8, "Unset INTERRUPT."}, status{channel, 4, " interruptStatus=1"},
      plain{channel, 8, "Throw interrupt::Exception with DEFAULT tag."},
      tagged{channel, 8, "Throw interrupt::Exception tag copy files"};
  EXPECT_EQ(capture.records(),
            (std::vector{set, set, status, plain, status, tagged, unset, unset}));
}

TEST(Interrupt, PauseHookThrowsSoonAfterSetFromAnotherThread) {
  interrupt::detail::unset();
  qx::test::ScopedEnv const env(pause_variable, "");  // empty still counts as defined
  qx::test::TraceCapture const capture(channel, foundation::log::debug_level);
  auto set_at = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(150ms);
    auto const now = Clock::now();
    interrupt::set();
    return now;
  });
  EXPECT_THAT(
      [] { interrupt::test::pause_and_throw_if_set(pause_variable); },
      ThrowsMessage<interrupt::Exception>("Interrupted. env QX_INTERRUPT_TEST_PAUSE is set."));
  EXPECT_LT(Clock::now() - set_at.get(), 1s);
  EXPECT_EQ(capture.messages().at(0),  // before waiting; the rest races with the setter
            "env QX_INTERRUPT_TEST_PAUSE is set. Waiting 1 minute for interrupt...");
}

// Takes a full minute: run through the ctest test labelled `slow`.
TEST(Interrupt, DISABLED_PauseWaitsAMinuteWhenNeverSet) {
  interrupt::detail::unset();
  qx::test::ScopedEnv const env(pause_variable, "1");
  auto const start = Clock::now();
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(pause_variable));
  EXPECT_THAT(Clock::now() - start, testing::AllOf(testing::Ge(60s), testing::Lt(90s)));
}

}  // namespace
