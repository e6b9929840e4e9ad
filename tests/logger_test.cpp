#include "install/cpputil/logger.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <atomic>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <thread>
#include <vector>

#include "install/platformutil/platform_utility.hpp"
#include "support/fake_syscalls.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

namespace logger = install::cpputil::logger;
using logger::Logger;
using qx::test::read_file;
using qx::test::write_file;

static_assert(!std::is_copy_constructible_v<Logger> && !std::is_move_constructible_v<Logger>);
static_assert(std::is_nothrow_destructible_v<Logger>);

// Replaces each time prefix "(Mon DD, YYYY HH:MM:SS) " by "(T) ".
std::string untimed(std::string const& text) {
  static std::regex const prefix(
      R"(\((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) \d\d, \d{4} \d\d:\d\d:\d\d\) )");
  return std::regex_replace(text, prefix, "(T) ");
}

std::string utf8(fl::filesystem::basic_path const& path) {
  return fl::i18n::ustring_to_utf8(path.string());
}

class LoggerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(logger::get_destination().empty()) << "a test left a destination behind";
    logger::detail::forget_last_destination();
  }
  void TearDown() override { logger::detail::forget_last_destination(); }

  [[nodiscard]] std::string default_log() const {
    return dir_.file("quillford_" + install::platformutil::PlatformUtility().getPlatformUserName() +
                     ".log");
  }

  qx::test::TempDir dir_;
  qx::test::ScopedEnv tmpdir_{"TMPDIR", dir_.path().c_str()};
  qx::test::TraceCapture trace_{"install::cpputil::logger"};
};

TEST_F(LoggerTest, NestedLoggersSwitchOverAndRemember) {
  std::string const x = dir_.file("x.log");
  std::string const y = dir_.file("y.log");
  {
    Logger const first(x);
    EXPECT_EQ(utf8(logger::get_destination()), x);
    {
      Logger const second(y);
      EXPECT_EQ(utf8(logger::get_destination()), y);
      EXPECT_EQ(utf8(logger::detail::get_last_destination()), x);
      logger::append_message(std::string("into y"));
    }
    EXPECT_TRUE(logger::get_destination().empty());
    EXPECT_EQ(utf8(logger::detail::get_last_destination()), y);
    trace_.clear();
  }  // the outer Logger finds no destination and keeps the last one
  EXPECT_EQ(utf8(logger::detail::get_last_destination()), y);
  EXPECT_EQ(trace_.messages(), std::vector<std::string>{"no destination, keep last \"" + y + "\""});
  EXPECT_EQ(untimed(read_file(x)), "(T) Reset destination file log " + x + " to " + y + "\n");
  EXPECT_EQ(untimed(read_file(y)), "(T) into y\n");
  EXPECT_FALSE(std::filesystem::exists(default_log()));
}

TEST_F(LoggerTest, TraceLinesOfASwitchOver) {
  std::string const a = dir_.file("a.log");
  std::string const b = dir_.file("b.log");
  Logger const first(a);
  trace_.clear();
  { Logger const second(b); }
  std::string const reset = "Reset destination file log " + a + " to " + b;
  std::vector<qx::test::TraceRecord> const expected = {
      {"install::cpputil::logger", 4, "set destination" + b},
      {"install::cpputil::logger", 4, " destination_file.string()=" + a + " ofile.string()=" + b},
      {"install::cpputil::logger", 4, " msg=" + reset},
      {"install::cpputil::logger", 8, "flush destination"},
      {"install::cpputil::logger", 4, " last_destination_file.string()=" + a},
      {"install::cpputil::logger", 8, "unset destination"},
      {"install::cpputil::logger", 4, " destination_file.string()=" + b},
      {"install::cpputil::logger", 8, "flush destination"},
      {"install::cpputil::logger", 4, " last_destination_file.string()=" + b},
      {"install::cpputil::logger", 8, "unset destination"},
  };
  EXPECT_EQ(trace_.records(), expected);
}

TEST_F(LoggerTest, SameFileTwiceWritesResetLineIntoIt) {
  std::string const x = dir_.file("x.log");
  Logger const first(x);
  Logger const again(x);
  EXPECT_EQ(untimed(read_file(x)), "(T) Reset destination file log " + x + " to " + x + "\n");
  EXPECT_EQ(utf8(logger::get_destination()), x);
  EXPECT_EQ(utf8(logger::detail::get_last_destination()), x);
}

TEST_F(LoggerTest, LiveDestinationReferenceAsRequestedPath) {
  std::string const x = dir_.file("x.log");
  Logger const first(x);
  Logger const again(logger::get_destination());  // the live path changes during switch-over
  EXPECT_EQ(utf8(logger::get_destination()), x);
}

TEST_F(LoggerTest, CreatesParentsAndNeverTruncates) {
  std::string const nested = dir_.file("a/b/c/install.log");
  { Logger const log(nested); }
  EXPECT_TRUE(std::filesystem::is_regular_file(nested));
  EXPECT_EQ(read_file(nested), "");
  write_file(dir_.path() / "kept.log", "earlier run\n");
  {
    Logger const log(fl::filesystem::basic_path(fl::i18n::utf8_to_ustring(dir_.file("kept.log"))));
    logger::append_message(u"next");
  }
  EXPECT_EQ(untimed(read_file(dir_.path() / "kept.log")), "earlier run\n(T) next\n");
}

TEST_F(LoggerTest, FailuresThrowAndChangeNoState) {
  write_file(dir_.path() / "plain", "x");
  std::filesystem::create_directory(dir_.path() / "folder");
  struct Case {
    std::string requested;
    std::string error;
    std::string notice;  // written into an existing destination
  };
  std::string const below_file = dir_.file("plain/sub/f.log");
  std::vector<Case> const cases = {
      {below_file, "Install Logger: Cannot create directory \"" + dir_.file("plain/sub") + "\"",
       "Unable to create specified folder for installation log " + dir_.file("plain/sub")},
      {dir_.file("folder"), "Install Logger: Cannot open file \"" + dir_.file("folder") + "\"",
       "Unable to create specified file for installation log " + dir_.file("folder")},
      {"", "Install Logger: Cannot open file \"\"",
       "Unable to create specified file for installation log "},
  };
  for (bool with_destination : {false, true}) {
    for (auto const& c : cases) {
      std::string const current = dir_.file("current.log");
      std::filesystem::remove(current);
      std::optional<Logger> active;
      if (with_destination)
        active.emplace(current);
      auto const last_before = logger::detail::get_last_destination();
      trace_.clear();
      try {
        Logger const failing(c.requested);
        ADD_FAILURE() << "no exception for " << c.requested;
      } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), c.error);
      }
      EXPECT_EQ(trace_.messages().back(), "set destination:" + c.error);
      EXPECT_EQ(utf8(logger::get_destination()), with_destination ? current : "");
      EXPECT_EQ(logger::detail::get_last_destination(), last_before);
      EXPECT_EQ(untimed(read_file(current)), with_destination ? "(T) " + c.notice + "\n" : "");
    }
  }
  EXPECT_FALSE(std::filesystem::exists(default_log()));
}

TEST_F(LoggerTest, DefaultFileBeforeAndAfterALogger) {
  logger::append_message(std::string("before"));
  std::string const p = dir_.file("p.log");
  {
    Logger const log(p);
    logger::append_message(std::string("during"));
  }
  logger::append_message(u"after");
  EXPECT_EQ(untimed(read_file(default_log())), "(T) before\n(T) after\n");
  EXPECT_EQ(untimed(read_file(p)), "(T) during\n");
  struct stat st {};
  ASSERT_EQ(::stat(default_log().c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600U);
}

TEST_F(LoggerTest, MessageShapes) {
  std::string const p = dir_.file("p.log");
  Logger const log(p);
  logger::append_message(std::string());
  logger::append_message(ustring());
  logger::append_message(u"three\nline\nmessage");
  logger::append_message(u"Gr\u00FC\u00DFe \u20AC \U0001F600");
  logger::append_message(std::string("bad \xFF byte"));
  logger::append_message(std::string("crlf\r\n"));
  EXPECT_EQ(untimed(read_file(p)),
            "(T) three\nline\nmessage\n(T) Gr\xC3\xBC\xC3\x9F"
            "e \xE2\x82\xAC \xF0\x9F\x98\x80\n(T) bad \xEF\xBF\xBD byte\n(T) crlf\r\n\n");
  EXPECT_FALSE(std::filesystem::exists(default_log()));  // empty messages open nothing
}

TEST_F(LoggerTest, RemovedFileIsRecreatedRemovedFolderDropsEntries) {
  std::string const p = dir_.file("sub/p.log");
  Logger const log(p);
  std::filesystem::remove(p);
  logger::append_message(std::string("recreated"));
  EXPECT_EQ(untimed(read_file(p)), "(T) recreated\n");
  std::filesystem::remove_all(dir_.path() / "sub");
  trace_.clear();
  EXPECT_NO_THROW(logger::append_message(std::string("dropped")));
  EXPECT_FALSE(std::filesystem::exists(dir_.path() / "sub"));
  std::string const prefix = "failed to open destination_file for u8msg ";
  ASSERT_EQ(trace_.messages().size(), 2U);
  EXPECT_EQ(trace_.messages()[1].substr(0, prefix.size()), prefix);
  EXPECT_EQ(untimed(trace_.messages()[1].substr(prefix.size())), "(T) dropped");
}

TEST_F(LoggerTest, PlantedLinkAtDefaultNameIsNeverFollowed) {
  write_file(dir_.path() / "victim", "secret\n");
  std::filesystem::create_symlink(dir_.path() / "victim", default_log());
  trace_.clear();
  EXPECT_NO_THROW(logger::append_message(std::string("entry")));
  EXPECT_EQ(read_file(dir_.path() / "victim"), "secret\n");
  ASSERT_EQ(trace_.messages().size(), 2U);
  EXPECT_EQ(trace_.messages()[1].rfind("failed to open destination_file for u8msg (", 0), 0U);
}

TEST_F(LoggerTest, UnwritableDestinationDropsWithoutThrowing) {
  Logger const log(std::string("/dev/full"));
  trace_.clear();
  EXPECT_NO_THROW(logger::append_message(std::string("lost")));
  ASSERT_EQ(trace_.messages().size(), 2U);
  EXPECT_EQ(trace_.messages()[1].rfind("failed to write destination_file for u8msg (", 0), 0U);
}

TEST_F(LoggerTest, SystemFaultsOnTheWritePath) {
  std::string const p = dir_.file("p.log");
  Logger const log(p);
  {
    qx::test::FakeSyscalls calls;  // interrupted calls are retried, short writes continued
    calls.open_errors = {EINTR};
    calls.write_errors = {EINTR};
    calls.short_write_limit = 5;
    logger::append_message(std::string("survives interruptions"));
    EXPECT_EQ(calls.open_calls, 2);
  }
  {
    qx::test::FakeSyscalls calls;  // a close reporting EINTR is not repeated
    calls.close_error = EINTR;
    logger::append_message(std::string("closed once"));
    EXPECT_EQ(calls.close_calls, 1);
  }
  trace_.clear();
  for (int error : {ENOSPC, EIO, EDQUOT}) {
    qx::test::FakeSyscalls calls;
    calls.write_errors = {error};
    EXPECT_NO_THROW(logger::append_message(std::string("dropped")));
  }
  {
    qx::test::FakeSyscalls calls;
    calls.open_errors = {EMFILE};
    EXPECT_NO_THROW(logger::append_message(std::string("not opened")));
  }
  EXPECT_EQ(untimed(read_file(p)), "(T) survives interruptions\n(T) closed once\n");
  auto const messages = trace_.messages();
  ASSERT_EQ(messages.size(), 8U);
  for (std::size_t i : {1U, 3U, 5U}) {
    EXPECT_EQ(untimed(messages[i]), "failed to write destination_file for u8msg (T) dropped") << i;
  }
  EXPECT_EQ(messages[7].rfind("failed to open destination_file for u8msg (", 0), 0U);
}

TEST_F(LoggerTest, AppendFileFraming) {
  std::string const p = dir_.file("p.log");
  struct Case {
    char const* name;
    std::string content;
    std::string body;
  };
  std::vector<Case> const cases = {
      {"empty", "", ""},
      {"final newline", "a\nb\n", "a\nb\n"},
      {"no final newline", "a\nb", "a\nb\n"},
      {"crlf kept", "a\r\nb\r\n", "a\r\nb\r\n"},
      {"blank lines", "\n\nz\n", "\n\nz\n"},
  };
  Logger const log(p);
  for (auto const& c : cases) {
    std::string const file = dir_.file(std::string(c.name) + ".txt");
    write_file(file, c.content);
    std::filesystem::remove(p);
    logger::append_file(file);
    EXPECT_EQ(untimed(read_file(p)),
              "(T) Content of the file " + file + "\n" + c.body + "End of the file " + file + "\n")
        << c.name;
  }
  // The three forms give the same entry.
  std::string const file = dir_.file("final newline.txt");
  std::filesystem::remove(p);
  logger::append_file(file);
  logger::append_file(fl::i18n::utf8_to_ustring(file));
  logger::append_file(fl::filesystem::basic_path(fl::i18n::utf8_to_ustring(file)));
  std::string const one =
      "(T) Content of the file " + file + "\na\nb\nEnd of the file " + file + "\n";
  EXPECT_EQ(untimed(read_file(p)), one + one + one);
}

TEST_F(LoggerTest, AppendFileErrorsInOrder) {
  write_file(dir_.path() / "exists.txt", "x\n");
  auto const expect_error = [](auto const& file, std::string const& text) {
    try {
      logger::append_file(file);
      ADD_FAILURE() << "no exception, expected " << text;
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), text);
    }
  };
  expect_error(dir_.file("exists.txt"), "Logger destination was not initialized.");
  expect_error(dir_.file("missing.txt"), "Logger destination was not initialized.");
  EXPECT_EQ(trace_.messages(),
            std::vector<std::string>(2, "append_file: The output file destination is not set."));
  EXPECT_FALSE(std::filesystem::exists(default_log()));

  std::string const p = dir_.file("p.log");
  Logger const log(p);
  trace_.clear();
  expect_error(dir_.file("missing.txt"), "The file does not exist.");
  expect_error(std::string(), "The file does not exist.");
  EXPECT_EQ(trace_.messages(),
            std::vector<std::string>(2, "append_file: The file does not exist."));
  expect_error(dir_.path().string(), "append_file: Cannot open file.");
  EXPECT_EQ(read_file(p), "");
}

TEST_F(LoggerTest, ConcurrentAppendsLandWholeInExactlyOneFile) {
  constexpr int kThreads = 4;
  constexpr int kEntries = 400;
  std::atomic<bool> done{false};
  std::thread switcher([&] {
    for (int i = 0; !done.load(); ++i) {
      Logger const log(dir_.file(i % 2 == 0 ? "a.log" : "b.log"));
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([t] {
      for (int i = 0; i < kEntries; ++i) {
        logger::append_message("writer " + std::to_string(t) + " entry " + std::to_string(i) + " " +
                               std::string(200, static_cast<char>('a' + t)));
      }
    });
  }
  for (auto& w : writers)
    w.join();
  done = true;
  switcher.join();

  std::map<std::string, int> seen;
  std::regex const entry(R"(^\(T\) (writer (\d) entry \d+) ([a-d]+)$)");
  for (std::string const& file : {dir_.file("a.log"), dir_.file("b.log"), default_log()}) {
    std::istringstream lines(untimed(read_file(file)));
    for (std::string line; std::getline(lines, line);) {
      if (line.find("Reset destination file log") != std::string::npos)
        continue;
      std::smatch m;
      ASSERT_TRUE(std::regex_match(line, m, entry)) << line;
      EXPECT_EQ(m[3].str(), std::string(200, static_cast<char>('a' + std::stoi(m[2].str()))));
      ++seen[m[1].str()];
    }
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kThreads * kEntries));
  for (auto const& [name, count] : seen)
    EXPECT_EQ(count, 1) << name;
}

}  // namespace
