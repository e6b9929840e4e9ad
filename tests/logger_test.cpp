#include "install/cpputil/logger.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <filesystem>
#include <optional>
#include <regex>

#include "install/platformutil/platform_utility.hpp"
#include "support/fake_syscalls.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

namespace logger = install::cpputil::logger;
using logger::Logger;
using qx::test::read_file;
using Lines = std::vector<std::string>;

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
  [[nodiscard]] std::string log_of(std::string const& name) const {
    return untimed(read_file(dir_.file(name)));
  }
  [[nodiscard]] Lines traced() const {
    Lines out;
    for (auto const& message : trace_.messages()) out.push_back(untimed(message));
    return out;
  }

  qx::test::TempDir dir_;
  qx::test::ScopedEnv tmpdir_{"TMPDIR", dir_.path().c_str()};
  qx::test::TraceCapture trace_{"install::cpputil::logger"};
  std::string const default_log_ =
      "quillford_" + install::platformutil::PlatformUtility().getPlatformUserName() + ".log";
};

TEST_F(LoggerTest, NestedLoggersSwitchOverTraceAndRemember) {
  std::string const x = dir_.file("x.log");
  std::string const y = dir_.file("y.log");
  {
    Logger const first(x);
    {
      trace_.clear();
      Logger const second(y);
      EXPECT_EQ(utf8(logger::get_destination()), y);
      EXPECT_EQ(utf8(logger::detail::get_last_destination()), x);
      std::string const reset = "Reset destination file log " + x + " to " + y;
      EXPECT_EQ(
          traced(),
          (Lines{"set destination" + y, " destination_file.string()=" + x + " ofile.string()=" + y,
                 " msg=" + reset, "flush destination", " last_destination_file.string()=" + x,
                 "unset destination", " destination_file.string()=" + y}));
      std::vector<unsigned> levels;
      for (auto const& record : trace_.records()) levels.push_back(record.severity);
      EXPECT_EQ(levels, (std::vector<unsigned>{4, 4, 4, 8, 4, 8, 4}));
      logger::append_message(std::string("into y"));
    }
    EXPECT_TRUE(logger::get_destination().empty());
    EXPECT_EQ(utf8(logger::detail::get_last_destination()), y);
    trace_.clear();
  }  // the outer Logger finds no destination and keeps the last one
  EXPECT_EQ(utf8(logger::detail::get_last_destination()), y);
  EXPECT_EQ(traced(), Lines{"no destination, keep last \"" + y + "\""});
  EXPECT_EQ(log_of("x.log"), "(T) Reset destination file log " + x + " to " + y + "\n");
  EXPECT_EQ(log_of("y.log"), "(T) into y\n");
}

TEST_F(LoggerTest, SameFileAgainAndTheLivePathAsRequest) {
  std::string const x = dir_.file("x.log");
  Logger const first(x);
  Logger const again(logger::get_destination());  // the live path changes during switch-over
  EXPECT_EQ(log_of("x.log"), "(T) Reset destination file log " + x + " to " + x + "\n");
  EXPECT_EQ(utf8(logger::get_destination()), x);
  EXPECT_EQ(utf8(logger::detail::get_last_destination()), x);
}

TEST_F(LoggerTest, CreatesParentsAndNeverTruncates) {
  { Logger const log(dir_.file("a/b/c/install.log")); }
  EXPECT_TRUE(std::filesystem::is_regular_file(dir_.path() / "a/b/c/install.log"));
  qx::test::write_file(dir_.path() / "kept.log", "earlier run\n");
  Logger const log(fl::filesystem::basic_path(fl::i18n::utf8_to_ustring(dir_.file("kept.log"))));
  logger::append_message(u"next");
  EXPECT_EQ(log_of("kept.log"), "earlier run\n(T) next\n");
}

TEST_F(LoggerTest, FailuresThrowAndChangeNoState) {
  qx::test::write_file(dir_.path() / "plain", "x");
  std::string const sub = dir_.file("plain/sub");
  struct Case {
    std::string requested, error, notice;  // the notice goes into an existing destination
  } const cases[] = {
      {sub + "/f.log", "Install Logger: Cannot create directory \"" + sub + "\"",
       "Unable to create specified folder for installation log " + sub},
      {dir_.path().string(), "Install Logger: Cannot open file \"" + dir_.path().string() + "\"",
       "Unable to create specified file for installation log " + dir_.path().string()},
      {"", "Install Logger: Cannot open file \"\"",
       "Unable to create specified file for installation log "},
  };
  for (bool with_destination : {false, true}) {
    for (auto const& c : cases) {
      std::filesystem::remove(dir_.path() / "current.log");
      std::optional<Logger> active;
      if (with_destination) active.emplace(dir_.file("current.log"));
      auto const last_before = logger::detail::get_last_destination();
      trace_.clear();
      try {
        Logger const failing(c.requested);
        ADD_FAILURE() << "no exception for " << c.requested;
      } catch (std::runtime_error const& error) {
        EXPECT_EQ(error.what(), c.error);
      }
      EXPECT_EQ(traced().back(), "set destination:" + c.error);
      EXPECT_EQ(utf8(logger::get_destination()), with_destination ? dir_.file("current.log") : "");
      EXPECT_EQ(logger::detail::get_last_destination(), last_before);
      EXPECT_EQ(log_of("current.log"), with_destination ? "(T) " + c.notice + "\n" : "");
    }
  }
  EXPECT_FALSE(std::filesystem::exists(dir_.path() / default_log_));
}

TEST_F(LoggerTest, EntriesGoToTheDefaultFileWithoutALogger) {
  logger::append_message(std::string("before"));
  {
    Logger const log(dir_.file("p.log"));
    for (auto const* message : {u"", u"three\nline\nmessage", u"Gr\u00FC\u00DFe \U0001F600"}) {
      logger::append_message(ustring(message));
    }
    logger::append_message(std::string());
    logger::append_message(std::string("bad \xFF byte, crlf\r\n"));
  }
  logger::append_message(u"after");
  EXPECT_EQ(log_of(default_log_), "(T) before\n(T) after\n");
  EXPECT_EQ(log_of("p.log"),
            "(T) three\nline\nmessage\n(T) Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x98\x80\n(T) bad \xEF\xBF\xBD byte, crlf\r\n\n");
  struct stat st {};
  ASSERT_EQ(::stat(dir_.file(default_log_).c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600U);
}

TEST_F(LoggerTest, EntriesThatCannotBeWrittenAreDroppedAndTraced) {
  std::string const p = dir_.file("sub/p.log");
  {
    Logger const log(p);
    std::filesystem::remove(p);
    logger::append_message(std::string("recreated"));
    EXPECT_EQ(log_of("sub/p.log"), "(T) recreated\n");
    std::filesystem::remove_all(dir_.path() / "sub");
    logger::append_message(std::string("folder gone"));
    EXPECT_FALSE(std::filesystem::exists(dir_.path() / "sub"));
  }
  qx::test::write_file(dir_.path() / "victim", "secret\n");
  std::filesystem::create_symlink(dir_.path() / "victim", dir_.path() / default_log_);
  logger::append_message(std::string("planted link"));
  EXPECT_EQ(read_file(dir_.path() / "victim"), "secret\n");
  {
    Logger const full(std::string("/dev/full"));
    logger::append_message(std::string("device full"));
  }
  Lines dropped;
  for (auto const& line : traced()) {
    if (line.starts_with("failed to")) dropped.push_back(line);
  }
  EXPECT_EQ(dropped, (Lines{"failed to open destination_file for u8msg (T) folder gone",
                            "failed to open destination_file for u8msg (T) planted link",
                            "failed to write destination_file for u8msg (T) device full"}));
}

TEST_F(LoggerTest, SystemFaultsOnTheWritePath) {
  Logger const log(dir_.file("p.log"));
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
  for (int error : {ENOSPC, EIO}) {
    qx::test::FakeSyscalls calls;
    calls.write_errors = {error};
    EXPECT_NO_THROW(logger::append_message(std::string("dropped")));
  }
  EXPECT_EQ(log_of("p.log"), "(T) survives interruptions\n(T) closed once\n");
  EXPECT_EQ(traced(),
            (Lines{" msg=dropped", "failed to write destination_file for u8msg (T) dropped",
                   " msg=dropped", "failed to write destination_file for u8msg (T) dropped"}));
}

TEST_F(LoggerTest, AppendFileFraming) {
  struct Case {
    std::string name, content, body;
  } const cases[] = {{"empty", "", ""},
                     {"no final newline", "a\nb", "a\nb\n"},
                     {"crlf kept", "a\r\n\r\nb\r\n", "a\r\n\r\nb\r\n"}};
  Logger const log(dir_.file("p.log"));
  for (auto const& c : cases) {
    std::string const file = dir_.file(c.name + ".txt");
    qx::test::write_file(file, c.content);
    std::filesystem::remove(dir_.path() / "p.log");
    logger::append_file(file);  // the three forms give the same entry
    logger::append_file(fl::i18n::utf8_to_ustring(file));
    logger::append_file(fl::filesystem::basic_path(fl::i18n::utf8_to_ustring(file)));
    std::string const entry =
        "(T) Content of the file " + file + "\n" + c.body + "End of the file " + file + "\n";
    EXPECT_EQ(log_of("p.log"), entry + entry + entry) << c.name;
  }
}

TEST_F(LoggerTest, AppendFileErrorsInOrder) {
  qx::test::write_file(dir_.path() / "exists.txt", "x\n");
  auto const error_of = [](std::string const& file) -> std::string {
    try {
      logger::append_file(file);
    } catch (std::runtime_error const& error) {
      return error.what();
    }
    return "no exception";
  };
  EXPECT_EQ(error_of(dir_.file("exists.txt")), "Logger destination was not initialized.");
  EXPECT_EQ(error_of(dir_.file("missing.txt")), "Logger destination was not initialized.");
  EXPECT_EQ(traced(), Lines(2, "append_file: The output file destination is not set."));
  EXPECT_FALSE(std::filesystem::exists(dir_.path() / default_log_));

  Logger const log(dir_.file("p.log"));
  trace_.clear();
  EXPECT_EQ(error_of(dir_.file("missing.txt")), "The file does not exist.");
  EXPECT_EQ(error_of(""), "The file does not exist.");
  EXPECT_EQ(traced(), Lines(2, "append_file: The file does not exist."));
  EXPECT_EQ(error_of(dir_.path().string()), "append_file: Cannot open file.");
  EXPECT_EQ(read_file(dir_.path() / "p.log"), "");
}

}  // namespace
