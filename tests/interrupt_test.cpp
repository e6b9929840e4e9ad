#include "install/cpputil/interrupt.hpp"

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
using qx::test::TraceCapture;
using qx::test::TraceRecord;

constexpr char const* channel = "install::cpputil::interrupt";

static_assert(noexcept(interrupt::is_set()) && noexcept(interrupt::set()) && noexcept(
    interrupt::detail::unset()));
static_assert(!noexcept(interrupt::throw_if_set("")));
static_assert(std::is_base_of_v<std::runtime_error, interrupt::Exception>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&interrupt::Exception::what),
                             char const* (std::runtime_error::*)() const noexcept>);

// Every test starts and ends with a clear flag, whatever ran before.
class Interrupt : public ::testing::Test {
 protected:
  void SetUp() override { interrupt::detail::unset(); }
  void TearDown() override { interrupt::detail::unset(); }
};

TEST_F(Interrupt, TraceMacroComposesNothingForADisabledLevel) {
  foundation::log::basic_diagnostic_logger<char> const probe("install::cpputil::interrupt_probe");
  int composed = 0;
  auto const piece = [&composed] { return ++composed; };
  FL_TRACE(probe, foundation::log::info_level, "n=", piece());
  EXPECT_EQ(composed, 0);
  TraceCapture capture(probe.name(), foundation::log::info_level);
  FL_TRACE(probe, foundation::log::info_level, "n=", piece());
  EXPECT_EQ(composed, 1);
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"n=1"});
}

TEST_F(Interrupt, ClearFlagNeverThrowsNorTracesEvenWithAllLevelsOn) {
  TraceCapture capture(channel, ~0U);
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_NO_THROW(interrupt::throw_if_set(""));
  EXPECT_NO_THROW(interrupt::throw_if_set("tag"));
  EXPECT_TRUE(capture.records().empty());
}

TEST_F(Interrupt, SetFlagThrowsWithTagAfterTracingStatusThenThrow) {
  struct Row {
    std::string tag, message, throw_line;
  };
  for (Row const& row : {Row{"", "Interrupted.", "Throw interrupt::Exception with DEFAULT tag."},
                         Row{"copy files", "Interrupted. copy files",
                             "Throw interrupt::Exception tag copy files"}}) {
    interrupt::set();
    TraceCapture capture(channel);
    for (int attempt = 0; attempt < 2; ++attempt) {  // throwing leaves the flag set
      try {
        interrupt::throw_if_set(row.tag);
        ADD_FAILURE() << "no throw for tag '" << row.tag << "'";
      } catch (std::runtime_error const& e) {
        EXPECT_NE(dynamic_cast<interrupt::Exception const*>(&e), nullptr);
        EXPECT_EQ(e.what(), row.message);
      }
    }
    TraceRecord const status{channel, 4, " interruptStatus=1"};
    TraceRecord const thrown{channel, 8, row.throw_line};
    EXPECT_EQ(capture.records(), (std::vector{status, thrown, status, thrown}));
    interrupt::detail::unset();
    EXPECT_NO_THROW(interrupt::throw_if_set(row.tag));
  }
}

TEST_F(Interrupt, SetAndUnsetAreIdempotentAndTraceEveryCall) {
  TraceCapture capture(channel);
  interrupt::set();
  interrupt::set();
  EXPECT_TRUE(interrupt::is_set());
  interrupt::detail::unset();
  interrupt::detail::unset();
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_EQ(capture.messages(),
            (std::vector<std::string>{"Set INTERRUPT.", "Set INTERRUPT.", " interruptStatus=1",
                                      "Unset INTERRUPT.", "Unset INTERRUPT."}));
}

TEST_F(Interrupt, WorkerPollingSeesSetFromAnotherThread) {
  auto worker = std::async(std::launch::async, [] {
    for (;;) {
      interrupt::throw_if_set("worker");
      std::this_thread::yield();
    }
  });
  interrupt::set();
  ASSERT_EQ(worker.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_THROW(worker.get(), interrupt::Exception);
}

TEST_F(Interrupt, PauseReturnsAtOnceWhenVariableIsUndefined) {
  qx::test::ScopedEnv const env("QX_INTERRUPT_TEST_PAUSE", nullptr);
  interrupt::set();  // not even tested: the hook returns before polling
  auto const start = Clock::now();
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set("QX_INTERRUPT_TEST_PAUSE"));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
}

TEST_F(Interrupt, PauseThrowsSoonAfterSetFromAnotherThread) {
  qx::test::ScopedEnv const env("QX_INTERRUPT_TEST_PAUSE", "");  // empty still counts
  TraceCapture capture(channel, foundation::log::debug_level);
  std::promise<Clock::time_point> set_at;
  std::thread setter([&set_at] {
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    set_at.set_value(Clock::now());
    interrupt::set();
  });
  std::string message;
  try {
    interrupt::test::pause_and_throw_if_set("QX_INTERRUPT_TEST_PAUSE");
  } catch (interrupt::Exception const& e) {
    message = e.what();
  }
  auto const thrown_at = Clock::now();
  setter.join();
  EXPECT_EQ(message, "Interrupted. env QX_INTERRUPT_TEST_PAUSE is set.");
  EXPECT_LT(thrown_at - set_at.get_future().get(), std::chrono::seconds(1));
  ASSERT_FALSE(capture.messages().empty());
  EXPECT_EQ(capture.messages().front(),
            "env QX_INTERRUPT_TEST_PAUSE is set. Waiting 1 minute for interrupt...");
}

// Takes a full minute: run through the ctest test labelled `slow`.
TEST_F(Interrupt, DISABLED_PauseWaitsAMinuteWhenNeverSet) {
  qx::test::ScopedEnv const env("QX_INTERRUPT_TEST_PAUSE", "1");
  auto const start = Clock::now();
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set("QX_INTERRUPT_TEST_PAUSE"));
  auto const elapsed = Clock::now() - start;
  EXPECT_GE(elapsed, std::chrono::seconds(60));
  EXPECT_LT(elapsed, std::chrono::seconds(90));
}

}  // namespace
