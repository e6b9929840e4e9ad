#include "install/cpputil/interrupt.hpp"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "foundation/log/diagnostic_logger.hpp"

namespace install::cpputil::interrupt {
namespace {

using foundation::log::debug_level;
using foundation::log::info_level;

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::interrupt");

constexpr int pause_passes = 600;
constexpr std::chrono::nanoseconds pause_step{100'000'000};

// Constant-initialised, so the flag is clear and usable before any dynamic initialisation,
// including from other units' static constructors. Only this unit touches it.
constinit std::atomic<bool> flag{false};

[[gnu::cold, gnu::noinline]] void trace_status() noexcept {
  FL_TRACE(trace_channel, info_level, " interruptStatus=", true);
}

// is_set() for both exported polls, so that throw_if_set costs one call, not two.
// Written as a branch to the cold path so that the clear path is load, test-and-jump, return.
inline bool load_and_report() noexcept {
  if (flag.load(std::memory_order_seq_cst)) [[unlikely]] {
    trace_status();
    return true;
  }
  return false;
}

}  // namespace

Exception::Exception() : std::runtime_error("Interrupted.") {}

Exception::Exception(std::string const& tag) : std::runtime_error("Interrupted. " + tag) {}

bool is_set() noexcept {
  return load_and_report();
}

void throw_if_set(std::string const& tag) {
  if (!load_and_report()) return;
  if (tag.empty()) {
    FL_TRACE(trace_channel, debug_level, "Throw interrupt::Exception with DEFAULT tag.");
    throw Exception();
  }
  FL_TRACE(trace_channel, debug_level, "Throw interrupt::Exception tag ", tag);
  throw Exception(tag);
}

void set() noexcept {
  flag.store(true, std::memory_order_seq_cst);
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
  // No name, or one no variable can have: getenv("A=b") would match A's value "b=...".
  if (name == nullptr || std::strchr(name, '=') != nullptr || std::getenv(name) == nullptr) {
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
