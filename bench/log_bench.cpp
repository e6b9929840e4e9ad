// Case 3: one installation-log entry, against the physical limit of opening the file,
// writing the entry and closing it again.

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <chrono>
#include <csignal>
#include <mutex>
#include <optional>
#include <string>

#include "install/cpputil/logger.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "support.hpp"

namespace {

namespace logger = install::cpputil::logger;
using qx::bench::add_time_row;

// 100 bytes of ASCII text, a typical progress line.
std::string const message_text = [] {
  std::string text = "Installing component 0042 of 0187: copying files into /opt/quillford/runtime";
  text.resize(100, '.');
  return text;
}();

std::string const& ours_file() {
  static std::string const path = qx::bench::scratch_dir() + "/install.log";
  return path;
}

// A log in a folder other users can write, as /tmp is: sticky and world-writable.
std::string const& shared_file() {
  static std::string const path = [] {
    std::string const folder = qx::bench::scratch_dir() + "/shared";
    ::mkdir(folder.c_str(), 0700);
    ::chmod(folder.c_str(), 01777);
    return folder + "/install.log";
  }();
  return path;
}

std::string const& raw_file() {
  static std::string const path = qx::bench::scratch_dir() + "/raw.log";
  return path;
}

void empty_file(std::string const& path) {
  int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd >= 0) ::close(fd);
}

std::optional<logger::Logger> active_logger;

void start_logger(benchmark::State const&) {
  empty_file(ours_file());
  active_logger.emplace(ours_file());
}

void start_shared_logger(benchmark::State const&) {
  empty_file(shared_file());
  active_logger.emplace(shared_file());
}

void stop_logger(benchmark::State const&) {
  active_logger.reset();
}

void start_raw(benchmark::State const&) {
  empty_file(raw_file());
}

void BM_AppendMessage(benchmark::State& state) {
  ustring const message = fl::i18n::utf8_to_ustring(message_text);
  for (auto _ : state) {
    logger::append_message(message);
  }
}
BENCHMARK(BM_AppendMessage)->Setup(start_logger)->Teardown(stop_logger);
BENCHMARK(BM_AppendMessage)->Setup(start_logger)->Teardown(stop_logger)->Threads(4)->UseRealTime();

// The same into a shared destination: opened with no link anywhere in its path (openat2).
void BM_AppendMessageShared(benchmark::State& state) {
  BM_AppendMessage(state);
}
BENCHMARK(BM_AppendMessageShared)->Setup(start_shared_logger)->Teardown(stop_logger);

// The same with a write failure handler set: a write that succeeds never reaches it.
void BM_AppendMessageWithHandler(benchmark::State& state) {
  ustring const message = fl::i18n::utf8_to_ustring(message_text);
  auto const previous = logger::set_write_failure_handler([](logger::WriteFailure const&) {});
  for (auto _ : state) {
    logger::append_message(message);
  }
  logger::set_write_failure_handler(previous);
}
BENCHMARK(BM_AppendMessageWithHandler)->Setup(start_logger)->Teardown(stop_logger);

// The two ways to keep SIGXFSZ from killing the process, as each write would pay them: asking
// for the file-size limit first (the old getrlimit call, and the C library's prlimit64), or
// blocking the signal in the thread around the write.
void BM_FileSizeLimitQuery(benchmark::State& state) {
  for (auto _ : state) {
    rlimit limit{};
#ifdef SYS_getrlimit
    benchmark::DoNotOptimize(syscall(SYS_getrlimit, RLIMIT_FSIZE, &limit));
#else
    benchmark::DoNotOptimize(getrlimit(RLIMIT_FSIZE, &limit));
#endif
  }
}
BENCHMARK(BM_FileSizeLimitQuery);

void BM_FileSizeLimitLibc(benchmark::State& state) {
  for (auto _ : state) {
    rlimit limit{};
    benchmark::DoNotOptimize(getrlimit(RLIMIT_FSIZE, &limit));
  }
}
BENCHMARK(BM_FileSizeLimitLibc);

void BM_SignalMaskPair(benchmark::State& state) {
  sigset_t xfsz;
  sigemptyset(&xfsz);
  sigaddset(&xfsz, SIGXFSZ);
  for (auto _ : state) {
    sigset_t old;
    pthread_sigmask(SIG_BLOCK, &xfsz, &old);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
  }
}
BENCHMARK(BM_SignalMaskPair);

// The same bytes as one entry of ours: "(" time ") " message "\n".
std::string entry_bytes() {
  install::platformutil::PlatformUtility const platform;
  std::string entry = "(";
  entry += platform.getPlatformCurrentTime("%b %d, %Y %H:%M:%S");
  entry += ") ";
  entry += message_text;
  entry += '\n';
  return entry;
}

// One entry the way the physical limit writes it: open, one write, close.
bool raw_append(char const* path, std::string const& entry) {
  int const fd = ::open(path, O_WRONLY | O_APPEND | O_CREAT, 0644);
  if (fd < 0) return false;
  ssize_t const written = ::write(fd, entry.data(), entry.size());
  benchmark::DoNotOptimize(written);
  ::close(fd);
  return true;
}

void BM_RawOpenWriteClose(benchmark::State& state) {
  std::string const entry = entry_bytes();
  char const* const path = raw_file().c_str();
  for (auto _ : state) {
    if (!raw_append(path, entry)) {
      state.SkipWithError("cannot open the raw log file");
      break;
    }
  }
}
BENCHMARK(BM_RawOpenWriteClose)->Setup(start_raw);
BENCHMARK(BM_RawOpenWriteClose)->Setup(start_raw)->Threads(4)->UseRealTime();

// The raw loop with the log's own rule: one process-wide mutex held from before the open to
// after the close, so that entries never interleave and time stamps follow file order.
std::mutex raw_mutex;

void BM_RawOpenWriteCloseLocked(benchmark::State& state) {
  std::string const entry = entry_bytes();
  char const* const path = raw_file().c_str();
  for (auto _ : state) {
    std::lock_guard const lock(raw_mutex);
    if (!raw_append(path, entry)) {
      state.SkipWithError("cannot open the raw log file");
      break;
    }
  }
}
BENCHMARK(BM_RawOpenWriteCloseLocked)->Setup(start_raw)->Threads(4)->UseRealTime();

// A log of 1,000 bytes, under its limit, in a folder of its own beside three time-stamped
// siblings that the policies keep: what a run kept bounded pays at its start when there is
// nothing to do.
std::string const& bounded_file() {
  static std::string const path = [] {
    std::string const folder = qx::bench::scratch_dir() + "/bounded";
    ::mkdir(folder.c_str(), 0700);
    for (char const* stamp :
         {"2026-01-01T00-00-00Z", "2026-01-02T00-00-00Z", "2026-01-03T00-00-00Z"})
      empty_file(folder + "/install." + stamp + ".log");
    std::string const log = folder + "/install.log";
    int const fd = ::open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) {
      benchmark::DoNotOptimize(::write(fd, std::string(1000, 'o').data(), 1000));
      ::close(fd);
    }
    return log;
  }();
  return path;
}

void make_loggers(benchmark::State& state, std::optional<logger::RetentionPolicy> const& policy) {
  std::string const& path = bounded_file();
  for (auto _ : state) {
    if (policy) {
      logger::Logger const log(path, *policy);
    } else {
      logger::Logger const log(path);
    }
  }
}

// A size and a count: the folder is not read while the log is under its size.
void BM_LoggerWithPolicy(benchmark::State& state) {
  make_loggers(state, logger::RetentionPolicy{1U << 20, 5, std::chrono::seconds(0)});
}
BENCHMARK(BM_LoggerWithPolicy);

// An age too: the siblings' times are read at every start.
void BM_LoggerWithAgePolicy(benchmark::State& state) {
  make_loggers(state, logger::RetentionPolicy{1U << 20, 5, std::chrono::days(30)});
}
BENCHMARK(BM_LoggerWithAgePolicy);

void BM_LoggerWithoutPolicy(benchmark::State& state) {
  make_loggers(state, std::nullopt);
}
BENCHMARK(BM_LoggerWithoutPolicy);

[[maybe_unused]] bool const rows_added = [] {
  add_time_row(30, "3 `append_message`, 100 bytes, 1 thread", "BM_AppendMessage",
               "POSIX open(O_APPEND)+write+close", "BM_RawOpenWriteClose",
               qx::bench::ratio_at_most(1.5));
  add_time_row(30, "3 `append_message`, 100 bytes, shared folder (no link in the path)",
               "BM_AppendMessageShared", "POSIX open(O_APPEND)+write+close",
               "BM_RawOpenWriteClose");
  add_time_row(
      31, "3 `append_message`, 100 bytes, 4 threads", "BM_AppendMessage/real_time/threads:4",
      "POSIX open(O_APPEND)+write+close, 4 threads", "BM_RawOpenWriteClose/real_time/threads:4");
  add_time_row(32, "3 `append_message`, 100 bytes, 4 threads",
               "BM_AppendMessage/real_time/threads:4",
               "the same raw loop under one mutex, 4 threads",
               "BM_RawOpenWriteCloseLocked/real_time/threads:4");
  add_time_row(33, "3 `append_message` with a write failure handler set",
               "BM_AppendMessageWithHandler", "`append_message` without one", "BM_AppendMessage",
               qx::bench::ratio_at_most(1.1));
  add_time_row(36, "3 `Logger` made and destroyed with a policy (size, count), log under its size",
               "BM_LoggerWithPolicy", "the same without a policy", "BM_LoggerWithoutPolicy",
               qx::bench::excess_below_ns(5000));
  add_time_row(37, "3 `Logger` made and destroyed with a policy (size, count, age), 3 siblings",
               "BM_LoggerWithAgePolicy", "the same without a policy", "BM_LoggerWithoutPolicy");
  add_time_row(34, "3 file-size limit asked before a write (getrlimit system call)",
               "BM_FileSizeLimitQuery", "SIGXFSZ blocked and unblocked (pthread_sigmask pair)",
               "BM_SignalMaskPair");
  add_time_row(35, "3 file-size limit asked before a write (getrlimit system call)",
               "BM_FileSizeLimitQuery", "the C library's getrlimit (prlimit64)",
               "BM_FileSizeLimitLibc");
  return true;
}();

}  // namespace
