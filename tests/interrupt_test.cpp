#include "install/cpputil/interrupt.hpp"

#include <chrono>
#include <future>
#include <thread>
#include <type_traits>

#include "support/trace_capture.hpp"

namespace interrupt = install::cpputil::interrupt;
using Clock = std::chrono::steady_clock;
using Lines = std::vector<std::string>;
using namespace std::chrono_literals;
using qx::test::what_of;

constexpr char const* pause_variable = "QX_INTERRUPT_TEST_PAUSE";

static_assert(noexcept(interrupt::is_set()) && noexcept(interrupt::set()));
static_assert(noexcept(interrupt::detail::unset()) && !noexcept(interrupt::throw_if_set("")));
static_assert(std::is_base_of_v<std::runtime_error, interrupt::Exception>);

class Interrupt : public testing::Test {
 protected:
  void TearDown() override { interrupt::detail::unset(); }  // the flag starts clear
  qx::test::TraceCapture trace_{"install::cpputil::interrupt", ~0U};
};

// Each throw traces the status and then the throw, and leaves the flag set.
TEST_F(Interrupt, ThrowIfSetThrowsAndTracesOnlyWhileTheFlagIsSet) {
  interrupt::set();
  trace_.clear();
  EXPECT_EQ(what_of<interrupt::Exception>([] { interrupt::throw_if_set("copy files"); }),
            "Interrupted. copy files");
  EXPECT_EQ(what_of<interrupt::Exception>([] { interrupt::throw_if_set(""); }), "Interrupted.");
  EXPECT_EQ(trace_.lines(),
            (Lines{"4 interruptStatus=1", "8Throw interrupt::Exception tag copy files",
                   "4 interruptStatus=1", "8Throw interrupt::Exception with DEFAULT tag."}));
  interrupt::detail::unset();
  trace_.clear();
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_NO_THROW(interrupt::throw_if_set("copy files"));
  EXPECT_THAT(trace_.lines(), testing::IsEmpty());
}

TEST_F(Interrupt, SetAndUnsetAreIdempotentAndTracedEachTime) {
  for (int i = 0; i < 2; ++i) interrupt::set();
  EXPECT_TRUE(interrupt::is_set());
  for (int i = 0; i < 2; ++i) interrupt::detail::unset();
  EXPECT_FALSE(interrupt::is_set());
  EXPECT_EQ(trace_.lines(), (Lines{"8Set INTERRUPT.", "8Set INTERRUPT.", "4 interruptStatus=1",
                                   "8Unset INTERRUPT.", "8Unset INTERRUPT."}));
}

// No name, and a name holding '=' (getenv would match a prefix of a value), name nothing.
TEST_F(Interrupt, PauseReturnsAtOnceWhenTheVariableIsUndefined) {
  qx::test::ScopedEnv const undefined(pause_variable, nullptr);
  qx::test::ScopedEnv const value_with_equals("QX_PAUSE_PREFIX", "x=1");
  interrupt::set();  // polling it would throw
  for (char const* name : {pause_variable, static_cast<char const*>(nullptr), "QX_PAUSE_PREFIX=x"})
    EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(name)) << (name ? name : "null");
}

TEST_F(Interrupt, PauseThrowsSoonAfterASetWhenTheVariableIsDefinedEvenEmpty) {
  qx::test::ScopedEnv const empty(pause_variable, "");
  auto set_at = std::async(std::launch::async, [] {
    std::this_thread::sleep_for(150ms);
    interrupt::set();
    return Clock::now();
  });
  EXPECT_EQ(what_of<interrupt::Exception>(
                [] { interrupt::test::pause_and_throw_if_set(pause_variable); }),
            "Interrupted. env QX_INTERRUPT_TEST_PAUSE is set.");
  EXPECT_LT(Clock::now() - set_at.get(), 1s);
  EXPECT_EQ(trace_.lines().at(0),
            "8env QX_INTERRUPT_TEST_PAUSE is set. Waiting 1 minute for interrupt...");
}

// Takes a full minute: run through the ctest test labelled `slow`.
TEST(InterruptSlow, DISABLED_PauseWaitsAMinuteWhenNeverSet) {
  interrupt::detail::unset();
  qx::test::ScopedEnv const env(pause_variable, "1");
  auto const start = Clock::now();
  EXPECT_NO_THROW(interrupt::test::pause_and_throw_if_set(pause_variable));
  EXPECT_THAT(Clock::now() - start, testing::AllOf(testing::Ge(60s), testing::Lt(90s)));
}
