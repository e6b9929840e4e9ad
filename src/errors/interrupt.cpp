#include "install/cpputil/interrupt.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "foundation/log/diagnostic_logger.hpp"

namespace install::cpputil::interrupt {
namespace {

using foundation::log::debug_level;
using foundation::log::info_level;

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::interrupt");

constexpr int pause_passes = 600;
constexpr std::chrono::nanoseconds pause_step{100'000'000};

}  // namespace

Exception::Exception() : std::runtime_error("Interrupted.") {}

Exception::Exception(std::string const& tag) : std::runtime_error("Interrupted. " + tag) {}

namespace detail {

// Constant-initialised, so the flag is clear and usable before any dynamic initialisation,
// including from other units' static constructors.
constinit std::atomic<bool> flag{false};

bool report_set() noexcept {
  FL_TRACE(trace_channel, info_level, " interruptStatus=", true);
  return true;
}

void throw_interrupt(std::string const& tag) {
  if (tag.empty()) {
    FL_TRACE(trace_channel, debug_level, "Throw interrupt::Exception with DEFAULT tag.");
    throw Exception();
  }
  FL_TRACE(trace_channel, debug_level, "Throw interrupt::Exception tag ", tag);
  throw Exception(tag);
}

}  // namespace detail

void set() noexcept {
  detail::flag.store(true, std::memory_order_seq_cst);
  FL_TRACE(trace_channel, debug_level, "Set INTERRUPT.");
}

namespace detail {
void unset() noexcept {
  flag.store(false, std::memory_order_seq_cst);
  FL_TRACE(trace_channel, debug_level, "Unset INTERRUPT.");
}
}  // namespace detail

namespace test {
void pause_and_throw_if_set(char const* name) {
  if (std::getenv(name) == nullptr) {
    return;
  }
  std::string const tag = std::string("env ") + name + " is set.";
  FL_TRACE(trace_channel, debug_level, tag, " Waiting 1 minute for interrupt...");
  for (int pass = 0; pass < pause_passes; ++pass) {
    throw_if_set(tag);
    std::this_thread::sleep_for(pause_step);
  }
}
}  // namespace test

}  // namespace install::cpputil::interrupt
