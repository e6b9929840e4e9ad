// Cases 1 and 2: polling the interrupt flag, and a trace statement whose level is disabled.

#include <benchmark/benchmark.h>

#include <string>

#include <boost/log/core/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>

#include "baseline/exported_flag.hpp"
#include "foundation/log/diagnostic_logger.hpp"
#include "install/cpputil/interrupt.hpp"
#include "support.hpp"

namespace {

namespace interrupt = install::cpputil::interrupt;
using qx::bench::add_time_row;

// Both sides pass the same tag object, so the loops differ only in the function they call.
std::string const tag;

void BM_BaselineIsSet(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(qx::bench::baseline::is_set());
  }
}
BENCHMARK(BM_BaselineIsSet);

void BM_BaselineThrowIfSet(benchmark::State& state) {
  for (auto _ : state) {
    qx::bench::baseline::throw_if_set(tag);
  }
}
BENCHMARK(BM_BaselineThrowIfSet);

void BM_InterruptIsSet(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(interrupt::is_set());
  }
}
BENCHMARK(BM_InterruptIsSet);

void BM_InterruptThrowIfSet(benchmark::State& state) {
  for (auto _ : state) {
    interrupt::throw_if_set(tag);
  }
}
BENCHMARK(BM_InterruptThrowIfSet);

// Nothing enables any level on this channel, so its mask stays 0.
foundation::log::basic_diagnostic_logger<char> const quiet_channel("install::cpputil::bench");

void BM_EmptyLoop(benchmark::State& state) {
  int value = 42;
  for (auto _ : state) {
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_EmptyLoop);

void BM_TraceDisabled(benchmark::State& state) {
  int value = 42;
  for (auto _ : state) {
    FL_TRACE(quiet_channel, foundation::log::debug_level, " value=", value);
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_TraceDisabled);

// The peer: a Boost.Log record that the core's severity filter rejects.
void BM_BoostLogFiltered(benchmark::State& state) {
  namespace logging = boost::log;
  logging::sources::severity_logger<int> source;
  auto const core = logging::core::get();
  core->set_filter(logging::expressions::attr<int>("Severity") >= 100);
  int value = 42;
  for (auto _ : state) {
    BOOST_LOG_SEV(source, 8) << " value=" << value;
    benchmark::DoNotOptimize(value);
    benchmark::ClobberMemory();
  }
  core->reset_filter();
}
BENCHMARK(BM_BoostLogFiltered);

[[maybe_unused]] bool const rows_added = [] {
  char const* const baseline = "same load, exported by a baseline shared library";
  add_time_row(10, "1 `interrupt::is_set()`, flag clear", "BM_InterruptIsSet", baseline,
               "BM_BaselineIsSet", qx::bench::ratio_at_most(1.1));
  add_time_row(11, "1 `interrupt::throw_if_set(tag)`, flag clear", "BM_InterruptThrowIfSet",
               baseline, "BM_BaselineThrowIfSet", qx::bench::ratio_at_most(1.1));
  add_time_row(20, "2 `FL_TRACE`, level disabled", "BM_TraceDisabled", "empty loop", "BM_EmptyLoop",
               qx::bench::excess_below_ns(1.0));
  add_time_row(21, "2 `FL_TRACE`, level disabled", "BM_TraceDisabled",
               "Boost.Log record rejected by core filter", "BM_BoostLogFiltered",
               qx::bench::ratio_at_most(0.05, ">= 20x cheaper"));
  return true;
}();

}  // namespace
