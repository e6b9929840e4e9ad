// Heavy load on the installation log: many threads while Loggers come and go, and several
// processes appending to one file.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <map>
#include <sstream>
#include <thread>

#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "support/temp_dir.hpp"

namespace {

namespace logger = install::cpputil::logger;
namespace interrupt = install::cpputil::interrupt;

// The entry written as number `index` by writer `writer`; every 50th is longer than 8 KiB.
std::string payload(int writer, int index) {
  std::size_t const size = index % 50 == 0 ? 9000 : 32 + index % 64;
  return "w" + std::to_string(writer) + " #" + std::to_string(index) + " " +
         std::string(size, static_cast<char>('a' + writer));
}

// Checks that every entry of `files` is whole, that each writer's entries are in write order
// (and all entries in time order, when one lock ordered them), and that every payload(w, i)
// appears exactly once. Separate processes take their time stamps under separate locks.
void expect_each_entry_once(std::vector<std::string> const& files, int writers, int entries,
                            bool one_lock) {
  std::map<std::pair<int, int>, int> seen;
  for (auto const& file : files) {
    std::istringstream lines(qx::test::read_file(file));
    std::time_t previous = 0;
    std::map<int, int> last_index;
    for (std::string line; std::getline(lines, line);) {
      std::tm tm{};
      std::istringstream in(line);
      in.imbue(std::locale::classic());
      char open = 0, close = 0, blank = 0;
      in >> open >> std::get_time(&tm, "%b %d, %Y %H:%M:%S") >> std::noskipws >> close >> blank;
      ASSERT_TRUE(in && open == '(' && close == ')' && blank == ' ') << line.substr(0, 80);
      tm.tm_isdst = -1;
      if (one_lock) {
        EXPECT_GE(std::mktime(&tm), previous) << "out of time order in " << file;
      }
      previous = std::mktime(&tm);
      std::string text;
      std::getline(in, text);
      if (text.starts_with("Reset destination file log ")) continue;
      int w = -1, i = -1;
      ASSERT_EQ(std::sscanf(text.c_str(), "w%d #%d", &w, &i), 2) << text.substr(0, 80);
      ASSERT_EQ(text, payload(w, i)) << "torn or interleaved entry in " << file;
      EXPECT_GT(i, last_index.try_emplace(w, -1).first->second) << "reordered in " << file;
      last_index[w] = i;
      ++seen[{w, i}];
    }
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(writers) * entries);
  for (auto const& [entry, count] : seen) ASSERT_EQ(count, 1) << payload(entry.first, entry.second);
}

TEST(LoggerStress, ThreadsAppendWhileLoggersComeAndGo) {
  constexpr int kWriters = 8;
  constexpr int kEntries = 20000;
  qx::test::TempDir const dir;
  qx::test::ScopedEnv const tmpdir("TMPDIR", dir.path().c_str());
  std::atomic<bool> stop{false};
  std::atomic<long> polls{0};
  std::vector<std::thread> threads;
  threads.emplace_back([&] {  // cycles through file a, file b and no Logger (the default log)
    for (int i = 0; !stop; ++i) {
      std::optional<logger::Logger> log;
      if (i % 3 != 2) log.emplace(dir.file(i % 3 == 0 ? "a.log" : "b.log"));
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  threads.emplace_back([&] {
    while (!stop) {
      interrupt::set();
      interrupt::detail::unset();
    }
  });
  threads.emplace_back([&] {
    for (; !stop; ++polls) {
      try {
        interrupt::throw_if_set("poll");
      } catch (interrupt::Exception const&) {
      }
    }
  });
  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([w] {
      for (int i = 0; i < kEntries; ++i) logger::append_message(payload(w, i));
    });
  }
  for (auto& t : writers) t.join();
  stop = true;
  for (auto& t : threads) t.join();
  interrupt::detail::unset();
  EXPECT_GT(polls.load(), 0);
  std::string const user = install::platformutil::PlatformUtility().getPlatformUserName();
  expect_each_entry_once(
      {dir.file("a.log"), dir.file("b.log"), dir.file("quillford_" + user + ".log")}, kWriters,
      kEntries, true);
}

TEST(LoggerProcesses, EntriesFromSeveralProcessesNeverInterleave) {
  constexpr int kProcesses = 4;
  constexpr int kEntries = 10000;
  qx::test::TempDir const dir;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t const pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      {
        logger::Logger const destination(dir.file("shared.log"));
        for (int i = 0; i < kEntries; ++i) logger::append_message(payload(p, i));
      }
      _exit(0);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  expect_each_entry_once({dir.file("shared.log")}, kProcesses, kEntries, false);
}

}  // namespace
