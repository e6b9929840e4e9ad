// Heavy load on the installation log: many threads while Loggers come and go and the interrupt
// flag flips, and several processes appending to one file. QX_STRESS_DIVISOR divides the
// entry counts (for emulated runs).
#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "support/support.hpp"

namespace logger = install::cpputil::logger;
namespace interrupt = install::cpputil::interrupt;

int scaled(int entries) {
  char const* const divisor = std::getenv("QX_STRESS_DIVISOR");
  return divisor == nullptr ? entries : std::max(1, entries / std::max(1, std::atoi(divisor)));
}

// Entry `index` of writer `writer`; every 50th is longer than 8 KiB.
std::string payload(int writer, int index) {
  return "w" + std::to_string(writer) + " #" + std::to_string(index) + " " +
         std::string(index % 50 == 0 ? 9000 : 32 + index % 64, static_cast<char>('a' + writer));
}

// Each payload(w, i) appears exactly once in `files`, whole, behind a time stamp, and each
// writer's entries in write order. An empty line may stand between two entries: a process that
// saw another's entry half-written started its own on a new line.
void expect_each_entry_once(std::vector<std::string> const& files, int writers, int entries) {
  static std::regex const stamp(R"(\(\w{3} \d\d, \d{4} [\d:]{8}\) )");
  std::set<std::pair<int, int>> seen;
  for (auto const& file : files) {
    std::istringstream lines(qx::test::read_file(file));
    std::map<int, int> last;
    for (std::string line; std::getline(lines, line);) {
      if (line.empty()) continue;
      ASSERT_TRUE(std::regex_match(line.substr(0, 24), stamp)) << "torn: " << line.substr(0, 80);
      int w = -1, i = -1;
      if (line.find(") Reset destination file log ") == 22) continue;
      ASSERT_EQ(std::sscanf(line.c_str() + 24, "w%d #%d", &w, &i), 2) << line.substr(0, 80);
      ASSERT_EQ(line.substr(24), payload(w, i)) << "torn or interleaved entry in " << file;
      EXPECT_GT(i, last.try_emplace(w, -1).first->second) << "reordered in " << file;
      last[w] = i;
      ASSERT_TRUE(seen.emplace(w, i).second) << "twice: " << payload(w, i);
    }
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(writers) * entries);
}

// Loggers come and go in two threads, between a, b and none (the default log), while the
// interrupt flag flips and is polled: every entry still lands whole in exactly one file.
TEST(LoggerStress, ThreadsAppendWhileLoggersComeAndGo) {
  int const writers = 8, entries = scaled(20000);
  qx::test::TempDir const dir;
  qx::test::ScopedEnv const tmpdir("TMPDIR", dir.path().c_str());
  std::atomic<bool> stop{false};
  // std::thread, not jthread: libc++ keeps jthread experimental before LLVM 18 (Zig's has 17).
  std::vector<std::thread> threads;
  for (int churner = 0; churner < 2; ++churner)  // two, so that destructors meet
    threads.emplace_back([&, churner] {
      for (int i = churner; !stop; ++i, std::this_thread::sleep_for(std::chrono::microseconds(200)))
        if (i % 3 != 2) logger::Logger const log(dir.file(i % 3 == 0 ? "a.log" : "b.log"));
    });
  threads.emplace_back([&] {
    for (; !stop; interrupt::detail::unset()) interrupt::set();
  });
  threads.emplace_back([&] {
    while (!stop) try {
        interrupt::throw_if_set("poll");
      } catch (interrupt::Exception const&) {
      }
  });
  {
    std::vector<std::thread> writing;
    for (int w = 0; w < writers; ++w)
      writing.emplace_back([w, entries] {
        for (int i = 0; i < entries; ++i) logger::append_message(payload(w, i));
      });
    for (std::thread& writer : writing) writer.join();
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  interrupt::detail::unset();
  std::string const user = install::platformutil::PlatformUtility().getPlatformUserName();
  expect_each_entry_once(
      {dir.file("a.log"), dir.file("b.log"), dir.file("quillford_" + user + ".log")}, writers,
      entries);
}

TEST(LoggerProcesses, EntriesFromSeveralProcessesNeverInterleave) {
  int const processes = 4, entries = scaled(10000);
  qx::test::TempDir const dir;
  for (int p = 0; p < processes; ++p) {
    if (fork() != 0) continue;
    {
      logger::Logger const destination(dir.file("shared.log"));
      for (int i = 0; i < entries; ++i) logger::append_message(payload(p, i));
    }
    _exit(0);
  }
  for (int p = 0, status = 0; p < processes; ++p)
    ASSERT_TRUE(wait(&status) > 0 && WIFEXITED(status) && WEXITSTATUS(status) == 0);
  expect_each_entry_once({dir.file("shared.log")}, processes, entries);
}
