// Case 9: reading installation logs back. `qxinstall report` over a generated fleet of 5,000
// logs of 100 KB (512 MB, failures spread through them), against `grep -c '^(' -r` over the
// same files, page cache warm; the peak memory of that run and of a run over 5 MB of the same
// logs; and summarizeLog of one 100 MB log against reading its lines with std::getline.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "fl/filesystem.hpp"
#include "install/cpputil/log_reader.hpp"
#include "support.hpp"

extern char** environ;

namespace {

constexpr int fleet_logs = 5000;
constexpr int small_logs = 50;  // 5 MB
constexpr std::size_t log_bytes = 100 * 1024;

// One log: runs of a product, entries a second or two apart, one in about 400 a failure (by
// its words or a notice of the library), each run closed as succeeded or failed.
std::string generated_log(std::mt19937& random, int index, std::size_t bytes) {
  static char const* const messages[] = {
      "Copying file /Applications/Kestra Studio.app/Contents/Resources/%d.dat to the target",
      "Installing component kestra-core version 2027.1.%d",
      "Checking disk space on volume /Volumes/Macintosh HD: %d MB free",
      "Registering launch agent com.quillford.kestra.helper%d",
      "Downloaded package part %d of 40 (checksum 9f86d081884c7d65)",
      "Writing preferences for user alice, key ui.theme=%d"};
  static char const* const failures[] = {"Error: could not copy /tmp/x%d.dat: Permission denied",
                                         "Unable to open https://quillford.com/help?id=%d 1",
                                         "Installer step %d failed with exit status 3"};
  std::string log;
  log.reserve(bytes + 512);
  int second = 9 * 3600 + index % 3600;
  char line[256];
  auto const entry = [&](std::string const& message) {
    std::snprintf(line, sizeof line, "(Nov 16, 2026 %02d:%02d:%02d) ", second / 3600 % 24,
                  second / 60 % 60, second % 60);
    log += line;
    log += message;
    log += '\n';
  };
  for (int run = 0; log.size() < bytes; ++run) {
    entry("Installation run started\nproduct: Kestra Studio\nversion: 2027.1\nprocess: " +
          std::to_string(1000 + index) + "\nuser: alice\nhost: mac-" + std::to_string(index) +
          "\ntime zone: +09:00 JST\nlog: /Users/alice/Library/Logs/kestra-install.log");
    for (int n = 0; n < 1000 && log.size() < bytes; ++n) {
      second += static_cast<int>(random() % 3);
      bool const failure = random() % 400 == 0;
      char const* const format = failure ? failures[random() % 3] : messages[random() % 6];
      std::snprintf(line, sizeof line, format, n);
      entry(line);
    }
    entry(std::string("Installation run ended: ") + (random() % 2 ? "succeeded" : "failed") +
          "\nduration: 12.5 s\nlost entries: 0");
  }
  return log;
}

void write_file(std::string const& path, std::string const& text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  if (!out.flush()) throw std::runtime_error("cannot write " + path);
}

// The fleet: fleet/small/ holds the first 50 logs, fleet/rest/NN/ the others.
std::string const& fleet() {
  static std::string const folder = [] {
    std::string const root = qx::bench::scratch_dir() + "/fleet";
    std::mt19937 random(28);
    for (int i = 0; i < fleet_logs; ++i) {
      std::string const dir =
          i < small_logs ? root + "/small" : root + "/rest/" + std::to_string(i / 100);
      std::filesystem::create_directories(dir);
      write_file(dir + "/install-" + std::to_string(i) + ".log",
                 generated_log(random, i, log_bytes));
    }
    return root;
  }();
  return folder;
}

std::string const& large_log() {
  static std::string const path = [] {
    std::string const file = qx::bench::scratch_dir() + "/large.log";
    std::mt19937 random(100);
    write_file(file, generated_log(random, 0, 100 * 1000 * 1000));
    return file;
  }();
  return path;
}

// Runs `argv` with its output thrown away, under GNU time, which measures its peak resident
// memory: a child's own figure (wait4) would start from its parent's, since the kernel carries
// the high-water mark of the memory a process had across its exec. Returns that peak in bytes.
double run_program(std::vector<std::string> const& argv) {
  static std::string const measured = qx::bench::scratch_dir() + "/peak_rss";
  std::vector<std::string> command = {"/usr/bin/time", "-f", "%M", "-o", measured};
  command.insert(command.end(), argv.begin(), argv.end());
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  std::vector<char*> args;
  for (std::string const& arg : command) args.push_back(const_cast<char*>(arg.c_str()));
  args.push_back(nullptr);
  pid_t child = 0;
  int const error = posix_spawn(&child, args[0], &actions, nullptr, args.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start /usr/bin/time (Debian: apt install time)");
  int status = 0;
  if (::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) > 1)
    throw std::runtime_error(argv[0] + " failed");
  // The last line (before it, time notes an exit status other than 0).
  std::ifstream lines(measured);
  std::string line;
  std::string last;
  while (std::getline(lines, line))
    if (!line.empty()) last = line;
  return std::stod(last) * 1024;
}

double small_peak = -1;

// The whole program, wall time; its peak memory as the counter "peak_rss".
void BM_Program(benchmark::State& state, std::vector<std::string> const& (*argv)()) {
  run_program(argv());  // the page cache warm, the files made
  for (auto _ : state) state.counters["peak_rss"] = run_program(argv());
}

std::vector<std::string> const& report_fleet() {
  static std::vector<std::string> const argv = {QX_BENCH_QXINSTALL, "report", fleet()};
  return argv;
}
std::vector<std::string> const& grep_fleet() {
  static std::vector<std::string> const argv = {"grep", "-c", "^(", "-r", fleet()};
  return argv;
}
std::vector<std::string> const& report_small() {
  static std::vector<std::string> const argv = {QX_BENCH_QXINSTALL, "report", fleet() + "/small"};
  return argv;
}

BENCHMARK_CAPTURE(BM_Program, report_fleet, report_fleet)
    ->Name("BM_ReportFleet")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Program, grep_fleet, grep_fleet)
    ->Name("BM_GrepFleet")
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void BM_ReportSmall(benchmark::State& state) {
  run_program(report_small());
  for (auto _ : state) {
    small_peak = run_program(report_small());
    state.counters["peak_rss"] = small_peak;
  }
}
BENCHMARK(BM_ReportSmall)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

void BM_SummarizeLog(benchmark::State& state) {
  auto const path = fl::filesystem::make_path(large_log());
  for (auto _ : state) benchmark::DoNotOptimize(install::cpputil::summarizeLog(path).runs.size());
}
BENCHMARK(BM_SummarizeLog)->Unit(benchmark::kMillisecond);

void BM_GetlineLog(benchmark::State& state) {
  for (auto _ : state) {
    std::ifstream in(large_log());
    std::size_t bytes = 0;
    for (std::string line; std::getline(in, line);) bytes += line.size();
    benchmark::DoNotOptimize(bytes);
  }
}
BENCHMARK(BM_GetlineLog)->Unit(benchmark::kMillisecond);

[[maybe_unused]] bool const rows_added = [] {
  using qx::bench::add_heap_row;
  using qx::bench::add_time_row;
  using qx::bench::ratio_at_most;
  constexpr double limit = 64.0 * 1024 * 1024;
  add_time_row(90, "9 `qxinstall report`, 5,000 logs of 100 KB (512 MB)",
               "BM_ReportFleet/iterations:1/real_time", "`grep -c '^(' -r`, same files",
               "BM_GrepFleet/iterations:1/real_time", ratio_at_most(3));
  add_heap_row(
      91, "9 `qxinstall report`, 512 MB, peak memory (RSS)",
      "BM_ReportFleet/iterations:1/real_time", "peak_rss", "64 MB", [] { return limit; },
      ratio_at_most(1));
  add_heap_row(
      92, "9 `qxinstall report`, 5 MB, peak memory (RSS)", "BM_ReportSmall/iterations:1/real_time",
      "peak_rss", "64 MB", [] { return limit; }, ratio_at_most(1));
  add_heap_row(
      93, "9 `qxinstall report`, 512 MB, peak memory (RSS)",
      "BM_ReportFleet/iterations:1/real_time", "peak_rss", "the same, 5 MB",
      [] { return small_peak; }, ratio_at_most(1.5));
  add_time_row(94, "9 `summarizeLog`, one 100 MB log", "BM_SummarizeLog",
               "`std::getline` of its lines", "BM_GetlineLog", ratio_at_most(3));
  return true;
}();

}  // namespace
