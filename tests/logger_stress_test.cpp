// Heavy load on the installation log: many threads while Loggers come and go, and several
// processes appending to one file.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <atomic>
#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "install/cpputil/interrupt.hpp"
#include "install/cpputil/logger.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "support/temp_dir.hpp"

namespace {

namespace logger = install::cpputil::logger;
namespace interrupt = install::cpputil::interrupt;

// "(Nov 22, 2026 23:58:22) text" -> seconds since the epoch (local time) and text.
bool split_entry(std::string const& line, std::time_t& when, std::string& text) {
  std::tm tm{};
  std::istringstream in(line);
  in.imbue(std::locale::classic());
  char open = 0;
  char close = 0;
  in >> open >> std::get_time(&tm, "%b %d, %Y %H:%M:%S") >> close;
  if (!in || open != '(' || close != ')' || in.get() != ' ')
    return false;
  tm.tm_isdst = -1;
  when = std::mktime(&tm);
  std::getline(in, text);
  return true;
}

std::string payload(int writer, int index) {
  return "w" + std::to_string(writer) + " #" + std::to_string(index) + " " +
         std::string(32 + (index % 64), static_cast<char>('a' + writer));
}

TEST(LoggerStress, ThreadsAppendWhileLoggersComeAndGo) {
  constexpr int kWriters = 8;
  constexpr int kEntries = 20000;
  qx::test::TempDir const dir;
  qx::test::ScopedEnv const tmpdir("TMPDIR", dir.path().c_str());
  std::string const default_log = dir.file(
      "quillford_" + install::platformutil::PlatformUtility().getPlatformUserName() + ".log");

  std::atomic<bool> stop{false};
  std::vector<std::thread> helpers;
  helpers.emplace_back([&] {  // cycles through file a, file b and no Logger (the default log)
    for (int i = 0; !stop.load(); ++i) {
      if (i % 3 == 2) {
        std::this_thread::sleep_for(std::chrono::microseconds(200));
        continue;
      }
      logger::Logger const log(dir.file(i % 3 == 0 ? "a.log" : "b.log"));
      std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
  });
  helpers.emplace_back([&] {
    while (!stop.load()) {
      interrupt::set();
      interrupt::detail::unset();
    }
  });
  std::atomic<long> polls{0};
  helpers.emplace_back([&] {
    while (!stop.load()) {
      try {
        interrupt::throw_if_set("poll");
      } catch (interrupt::Exception const&) {
      }
      polls.fetch_add(1, std::memory_order_relaxed);
    }
  });

  std::vector<std::thread> writers;
  for (int w = 0; w < kWriters; ++w) {
    writers.emplace_back([w] {
      for (int i = 0; i < kEntries; ++i)
        logger::append_message(payload(w, i));
    });
  }
  for (auto& t : writers)
    t.join();
  stop = true;
  for (auto& t : helpers)
    t.join();
  interrupt::detail::unset();
  EXPECT_GT(polls.load(), 0);

  std::vector<std::vector<int>> seen(kWriters, std::vector<int>(kEntries, 0));
  std::regex const shape(R"(w(\d) #(\d+) [a-h]+)");
  long total = 0;
  for (std::string const& file : {dir.file("a.log"), dir.file("b.log"), default_log}) {
    std::istringstream lines(qx::test::read_file(file));
    std::time_t previous = 0;
    std::vector<int> last_index(kWriters, -1);
    for (std::string line; std::getline(lines, line);) {
      std::time_t when = 0;
      std::string text;
      ASSERT_TRUE(split_entry(line, when, text)) << file << ": " << line;
      EXPECT_GE(when, previous) << "entries out of time order in " << file;
      previous = when;
      if (text.rfind("Reset destination file log ", 0) == 0)
        continue;
      std::smatch m;
      ASSERT_TRUE(std::regex_match(text, m, shape)) << text;
      int const w = std::stoi(m[1].str());
      int const i = std::stoi(m[2].str());
      ASSERT_EQ(text, payload(w, i)) << "torn entry in " << file;
      EXPECT_GT(i, last_index[w]) << "one writer's entries out of order in " << file;
      last_index[w] = i;
      ++seen[w][i];
      ++total;
    }
  }
  EXPECT_EQ(total, static_cast<long>(kWriters) * kEntries);
  for (int w = 0; w < kWriters; ++w) {
    for (int i = 0; i < kEntries; ++i)
      ASSERT_EQ(seen[w][i], 1) << payload(w, i);
  }
}

TEST(LoggerProcesses, EntriesFromSeveralProcessesNeverInterleave) {
  constexpr int kProcesses = 4;
  constexpr int kEntries = 10000;
  qx::test::TempDir const dir;
  std::string const log = dir.file("shared.log");
  auto const entry = [](int p, int i) {
    // Every 50th entry is longer than 8 KiB, beyond any stdio-sized buffer.
    std::size_t const size = i % 50 == 0 ? 9000 + p : 40;
    return "p" + std::to_string(p) + " #" + std::to_string(i) + " " +
           std::string(size, static_cast<char>('A' + p));
  };
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t const pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      {
        logger::Logger const destination(log);
        for (int i = 0; i < kEntries; ++i)
          logger::append_message(entry(p, i));
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
  std::map<std::string, int> seen;
  std::istringstream lines(qx::test::read_file(log));
  std::regex const shape(R"(p(\d) #(\d+) [A-D]+)");
  for (std::string line; std::getline(lines, line);) {
    std::time_t when = 0;
    std::string text;
    ASSERT_TRUE(split_entry(line, when, text)) << line.substr(0, 80);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(text, m, shape)) << text.substr(0, 80);
    ASSERT_EQ(text, entry(std::stoi(m[1].str()), std::stoi(m[2].str()))) << "interleaved entry";
    ++seen[text.substr(0, text.find(' ', 4))];
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kProcesses * kEntries));
}

}  // namespace
