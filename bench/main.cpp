// qxinstall_bench: runs every case beside its baseline and prints one table of ratios.
// Google Benchmark's own flags work as usual (--benchmark_filter, --benchmark_repetitions...).

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support.hpp"

namespace {

using qx::bench::Row;
using qx::bench::Target;

// What one benchmark measured: the time per iteration of each repetition (CPU time, wall
// time for benchmarks marked UseRealTime, or the time a benchmark measured itself), and its
// counters, the largest of each and those of every repetition. The fastest repetition stands
// for the benchmark: load from other processes on the machine only ever adds time.
struct Measured {
  std::vector<double> ns;
  std::vector<std::map<std::string, double>> counters_by_run;  // beside ns
  std::map<std::string, double> counters;
  bool wall = false;
  std::string error;

  [[nodiscard]] double time_ns() const {
    return ns.empty() ? -1 : *std::min_element(ns.begin(), ns.end());
  }
  // The counter `name` of the fastest repetition.
  [[nodiscard]] double fastest_run_counter(std::string const& name) const {
    if (ns.empty()) return -1;
    auto const& run = counters_by_run[static_cast<std::size_t>(
        std::min_element(ns.begin(), ns.end()) - ns.begin())];
    auto const found = run.find(name);
    return found == run.end() ? -1 : found->second;
  }
};

double to_ns(double value, benchmark::TimeUnit unit) {
  switch (unit) {
    case benchmark::kSecond:
      return value * 1e9;
    case benchmark::kMillisecond:
      return value * 1e6;
    case benchmark::kMicrosecond:
      return value * 1e3;
    case benchmark::kNanosecond:
      break;
  }
  return value;
}

std::string format_time(double ns) {
  if (ns < 0) return "not run";
  std::ostringstream out;
  out << std::fixed;
  if (ns < 10)
    out << std::setprecision(2) << ns << " ns";
  else if (ns < 1e3)
    out << std::setprecision(1) << ns << " ns";
  else if (ns < 1e6)
    out << std::setprecision(2) << ns / 1e3 << " us";
  else
    out << std::setprecision(2) << ns / 1e6 << " ms";
  return out.str();
}

std::string format_bytes(double bytes) {
  if (bytes < 0) return "not run";
  std::ostringstream out;
  out << std::fixed << std::setprecision(2) << bytes / 1e6 << " MB";
  return out.str();
}

std::string format_fixed(double value, int precision) {
  std::ostringstream out;
  out << std::fixed << std::setprecision(precision) << value;
  return out.str();
}

// Collects every run and prints the table once all benchmarks have run.
class TableReporter final : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(Context const& context) override {
    cpus_ = context.cpu_info.num_cpus;
    mhz_ = context.cpu_info.cycles_per_second / 1e6;
    std::cerr << "qxinstall_bench: running";
    return true;
  }

  void ReportRuns(std::vector<Run> const& report) override {
    for (Run const& run : report) {
      std::string const name = run.run_name.str();
      Measured& m = measured_[name];
      m.wall = run.run_name.time_type == "real_time";
      bool const manual = run.run_name.time_type == "manual_time";
      if (run.error_occurred) {
        m.error = run.error_message;
        continue;
      }
      if (run.run_type == Run::RT_Aggregate) continue;  // mean, median... of the same runs
      double const value = m.wall || manual ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
      m.ns.push_back(to_ns(value, run.time_unit));
      auto& by_run = m.counters_by_run.emplace_back();
      for (auto const& [counter, figure] : run.counters) by_run[counter] = figure.value;
      for (auto const& [counter, figure] : run.counters) {
        double& kept = m.counters.try_emplace(counter, -1.0).first->second;
        kept = std::max(kept, figure.value);
      }
    }
    std::cerr << '.' << std::flush;
  }

  void Finalize() override {
    std::cerr << '\n';
    std::ostream& out = GetOutputStream();
    out << "qxinstall_bench: " << cpus_ << " CPUs at " << format_fixed(mhz_, 0) << " MHz; "
        << load_average() << "; each time is the fastest of " << repetitions()
        << " repetitions of the CPU time per operation, or wall time where marked (wall).\n\n";
    out << "| case (ours) | time | baseline or peer | time | ours/base | target | result |\n"
        << "|---|---|---|---|---|---|---|\n";
    for (Row const& row : qx::bench::rows()) {
      print_row(out, row);
    }
  }

 private:
  [[nodiscard]] Measured const* find(std::string const& name) const {
    auto const it = measured_.find(name);
    return it == measured_.end() ? nullptr : &it->second;
  }

  void print_row(std::ostream& out, Row const& row) const {
    Measured const* const ours = find(row.ours);
    Measured const* const base = row.baseline.empty() ? nullptr : find(row.baseline);
    if (ours == nullptr ||
        (!row.heap && row.counter.empty() && !row.baseline.empty() && base == nullptr))
      return;  // filtered out on the command line

    double ours_value = 0;
    double base_value = -1;
    std::string ours_text;
    std::string base_text = "-";
    if (row.heap) {
      auto const counter = ours->counters.find(row.counter);
      ours_value = counter == ours->counters.end() ? -1 : counter->second;
      base_value = row.baseline_bytes ? row.baseline_bytes() : -1;
      ours_text = format_bytes(ours_value);
      base_text = format_bytes(base_value);
    } else if (!row.counter.empty()) {  // both timed in turn by one benchmark
      ours_value = ours->time_ns();
      base_value = ours->fastest_run_counter(row.counter);
      ours_text = format_time(ours_value);
      base_text = format_time(base_value);
    } else {
      ours_value = ours->time_ns();
      ours_text = format_time(ours_value) + (ours->wall ? " (wall)" : "");
      if (base != nullptr) {
        base_value = base->time_ns();
        base_text = format_time(base_value) + (base->wall ? " (wall)" : "");
      }
    }
    if (!ours->error.empty()) ours_text = "error: " + ours->error;
    if (base != nullptr && !base->error.empty()) base_text = "error: " + base->error;

    bool const comparable = ours_value > 0 && base_value > 0;
    double const ratio = comparable ? ours_value / base_value : 0;
    std::string ratio_text = comparable ? format_fixed(ratio, 2) + "x" : "-";
    std::string target_text = "-";
    std::string result = "-";
    switch (row.target.kind) {
      case Target::Kind::none:
        break;
      case Target::Kind::ratio:
        target_text = "<= " + format_fixed(row.target.limit, 2) + "x";
        if (!row.target.note.empty()) target_text += " (" + row.target.note + ")";
        if (comparable) result = ratio <= row.target.limit ? "met" : "MISSED";
        break;
      case Target::Kind::excess_ns: {
        double const excess = ours_value - base_value;
        target_text = "<= +" + format_fixed(row.target.limit, 2) + " ns";
        if (comparable) {
          ratio_text +=
              " (" + std::string(excess >= 0 ? "+" : "") + format_fixed(excess, 2) + " ns)";
          result = excess <= row.target.limit ? "met" : "MISSED";
        }
        break;
      }
    }
    out << "| " << row.label << " | " << ours_text << " | " << row.baseline_label << " | "
        << base_text << " | " << ratio_text << " | " << target_text << " | " << result << " |\n";
  }

  [[nodiscard]] std::size_t repetitions() const {
    std::size_t most = 0;
    for (auto const& [name, m] : measured_) most = std::max(most, m.ns.size());
    return most;
  }

  static std::string load_average() {
    double loads[3] = {0, 0, 0};
    if (::getloadavg(loads, 3) != 3) return "load average unknown";
    return "load average " + format_fixed(loads[0], 2) + " " + format_fixed(loads[1], 2) + " " +
           format_fixed(loads[2], 2);
  }

  std::map<std::string, Measured> measured_;
  int cpus_ = 0;
  double mhz_ = 0;
};

bool has_flag(int argc, char** argv, char const* name) {
  std::size_t const length = std::strlen(name);
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], name, length) == 0) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  // Defaults for a comparable table: five short repetitions, interleaved at random so that a
  // burst of load on the machine hits ours and its baseline alike.
  std::vector<std::string> defaults;
  if (!has_flag(argc, argv, "--benchmark_repetitions"))
    defaults.emplace_back("--benchmark_repetitions=5");
  if (!has_flag(argc, argv, "--benchmark_min_time"))
    defaults.emplace_back("--benchmark_min_time=0.2");
  if (!has_flag(argc, argv, "--benchmark_enable_random_interleaving"))
    defaults.emplace_back("--benchmark_enable_random_interleaving=true");
  std::vector<char*> args(argv, argv + argc);
  for (std::string& flag : defaults) args.push_back(flag.data());
  int count = static_cast<int>(args.size());
  args.push_back(nullptr);

  benchmark::Initialize(&count, args.data());
  if (benchmark::ReportUnrecognizedArguments(count, args.data())) return 1;
  TableReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
