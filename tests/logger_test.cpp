#include "install/cpputil/logger.hpp"

#include "install/platformutil/platform_utility.hpp"
#include "support/trace_capture.hpp"

namespace logger = install::cpputil::logger;
namespace fs = std::filesystem;
using logger::Logger;
using Lines = std::vector<std::string>;
using namespace qx::test;
using namespace std::string_literals;

class LoggerTest : public testing::Test {
 protected:
  void SetUp() override { logger::detail::forget_last_destination(); }
  static std::string log_of(std::string const& file) { return untimed(read_file(file)); }
  [[nodiscard]] static std::string destinations() {
    return fl::i18n::ustring_to_utf8(logger::get_destination().string()) + "|" +
           fl::i18n::ustring_to_utf8(logger::detail::get_last_destination().string());
  }

  TempDir dir_;
  std::string const user_ = install::platformutil::PlatformUtility().getPlatformUserName();
  std::string const x_ = dir_.file("x.log"), y_ = dir_.file("y.log"),
                    default_log_ = dir_.file("quillford_" + user_ + ".log");
  ScopedEnv tmpdir_{"TMPDIR", dir_.path().c_str()};
  TraceCapture trace_{"install::cpputil::logger"};
};

TEST_F(LoggerTest, SwitchOverWritesIntoTheOldDestinationAndTracesEachStep) {
  Logger const first(x_);
  trace_.clear();
  Logger const second(y_);
  EXPECT_EQ(destinations(), y_ + "|" + x_);
  std::string const reset = "Reset destination file log " + x_ + " to " + y_;
  EXPECT_EQ(
      trace_.lines(),
      (Lines{"4set destination" + y_, "4 destination_file.string()=" + x_ + " ofile.string()=" + y_,
             "4 msg=" + reset, "8flush destination", "4 last_destination_file.string()=" + x_,
             "8unset destination", "4 destination_file.string()=" + y_}));
  EXPECT_EQ(log_of(x_), "(T) " + reset + "\n");
  Logger const again(logger::get_destination());  // the live path changes during switch-over
  EXPECT_EQ(log_of(y_), "(T) Reset destination file log " + y_ + " to " + y_ + "\n");
  EXPECT_EQ(destinations(), y_ + "|" + y_);
}

TEST_F(LoggerTest, DestroyingAnyLoggerClearsTheDestinationAndAnOuterOneKeepsTheLast) {
  {
    Logger const first(x_);
    { Logger const second(y_); }
    EXPECT_EQ(destinations(), "|" + y_);
    trace_.clear();
  }
  EXPECT_EQ(destinations(), "|" + y_);
  EXPECT_EQ(trace_.lines(), Lines{"4no destination, keep last \"" + y_ + "\""});
}

TEST_F(LoggerTest, CreatesParentFoldersAndNeverTruncates) {
  { Logger const log(dir_.file("a/b/install.log")); }
  EXPECT_TRUE(fs::is_regular_file(dir_.file("a/b/install.log")));
  dir_.write("x.log", "earlier run\n");
  Logger const log(fl::filesystem::make_path(fl::i18n::utf8_to_ustring(x_)));
  logger::append_message(u"next");
  EXPECT_EQ(log_of(x_), "earlier run\n(T) next\n");
}

// Each failure throws at once, traces its text and changes no state; its notice goes into the
// current destination when there is one. A FIFO without a reader is not waited for.
TEST_F(LoggerTest, AFailedConstructionThrowsAndChangesNoState) {
  std::string const sub = dir_.write("plain", "x") + "/sub", folder = dir_.path().string(),
                    fifo = dir_.fifo("fifo");
  std::string const cases[][3] = {
      {fifo, "open file \"" + fifo + "\"", "file for installation log " + fifo},
      {sub + "/f.log", "create directory \"" + sub + "\"", "folder for installation log " + sub},
      {folder, "open file \"" + folder + "\"", "file for installation log " + folder},
      {"", "open file \"\"", "file for installation log "}};
  Deadline const deadline(10);
  for (bool const with_destination : {false, true}) {
    for (auto const& [requested, error, notice] : cases) {
      fs::remove(x_);
      std::optional<Logger> active;
      if (with_destination) active.emplace(x_);
      std::string const before = destinations();
      EXPECT_EQ(what_of<std::runtime_error>([&] { Logger const failing(requested); }),
                "Install Logger: Cannot " + error);
      EXPECT_EQ(trace_.lines().back(), "4set destination:Install Logger: Cannot " + error);
      EXPECT_EQ(destinations(), before);
      EXPECT_EQ(log_of(x_),
                with_destination ? "(T) Unable to create specified " + notice + "\n" : "");
    }
  }
  EXPECT_FALSE(fs::exists(default_log_));
}

TEST_F(LoggerTest, WithoutALoggerEntriesGoToTheDefaultFileCreatedPrivate) {
  logger::append_message(std::string("before"));
  { Logger const log(x_); }
  logger::append_message(u"after");
  EXPECT_EQ(log_of(default_log_), "(T) before\n(T) after\n");
  EXPECT_EQ(log_of(x_), "");
  EXPECT_EQ(fs::status(default_log_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(LoggerTest, EntriesAreWrittenAsGivenInUtf8AndEmptyOnesNotAtAll) {
  Logger const log(x_);
  for (auto const* message : {u"", u"three\nline\nmessage", u"Gr\u00FC\u00DFe \U0001F600"})
    logger::append_message(ustring(message));
  logger::append_message(std::string());
  logger::append_message("bad \xFF byte, NUL \0 kept, crlf\r\n"s);
  EXPECT_EQ(log_of(x_),
            "(T) three\nline\nmessage\n(T) Gr\xC3\xBC\xC3\x9F"
            "e \xF0\x9F\x98\x80\n(T) bad \xEF\xBF\xBD byte, NUL \0 kept, crlf\r\n\n"s);
}

TEST_F(LoggerTest, AMissingFileIsRecreatedButAnEntryThatCannotBeWrittenIsDropped) {
  Logger const log(dir_.file("sub/p.log"));
  fs::remove(dir_.file("sub/p.log"));
  logger::append_message(std::string("recreated"));
  EXPECT_EQ(log_of(dir_.file("sub/p.log")), "(T) recreated\n");
  fs::remove_all(dir_.file("sub"));
  logger::append_message(std::string("folder gone"));
  EXPECT_FALSE(fs::exists(dir_.file("sub")));
  Logger const full(std::string("/dev/full"));
  logger::append_message(std::string("device full"));
  EXPECT_EQ(trace_.lines("failed"),
            (Lines{"4failed to open destination_file for u8msg (T) folder gone",
                   "4failed to open destination_file for u8msg (T) Reset destination file log " +
                       dir_.file("sub/p.log") + " to /dev/full",
                   "4failed to write destination_file for u8msg (T) device full"}));
}

TEST_F(LoggerTest, APlantedDefaultFileIsNeverWrittenOrWaitedFor) {
  fs::create_symlink(dir_.write("x.log", "secret\n"), default_log_);
  logger::append_message(std::string("planted link"));
  EXPECT_EQ(read_file(x_), "secret\n");
  fs::remove(default_log_);
  dir_.fifo(default_log_);
  Deadline const deadline(10);
  logger::append_message(std::string("fifo"));
  EXPECT_EQ(trace_.lines("failed"),
            (Lines{"4failed to open destination_file for u8msg (T) planted link",
                   "4failed to open destination_file for u8msg (T) fifo"}));
}

TEST_F(LoggerTest, AppendFileFramesTheFileAndTheThreeFormsAgree) {
  auto rows = read_table("logger_append_file.tsv");
  std::string const big(10U << 20, 'x');
  rows.push_back({{{"content", big}, {"logged", big + "\n"}}, "ten megabyte line"});
  Logger const log(x_);
  for (auto const& row : rows) {
    std::string const file = dir_.write(row.name, row["content"]);
    fs::remove(x_);
    logger::append_file(file);
    logger::append_file(fl::i18n::utf8_to_ustring(file));
    logger::append_file(fl::filesystem::make_path(fl::i18n::utf8_to_ustring(file)));
    std::string const entry =
        "(T) Content of the file " + file + "\n" + row["logged"] + "End of the file " + file + "\n";
    EXPECT_EQ(log_of(x_), entry + entry + entry) << row.name;
  }
}

TEST_F(LoggerTest, AppendFileChecksTheDestinationThenExistenceThenOpening) {
  auto const append = [](std::string const& file) {
    return what_of<std::runtime_error>([&file] { logger::append_file(file); });
  };
  EXPECT_EQ(append(dir_.write("y.log", "x\n")), "Logger destination was not initialized.");
  EXPECT_EQ(append(dir_.file("missing")), "Logger destination was not initialized.");
  EXPECT_EQ(trace_.lines(), Lines(2, "8append_file: The output file destination is not set."));
  EXPECT_FALSE(fs::exists(default_log_));

  Logger const log(x_);
  trace_.clear();
  EXPECT_EQ(append(dir_.file("missing")), "The file does not exist.");
  EXPECT_EQ(append(""), "The file does not exist.");
  EXPECT_EQ(trace_.lines(), Lines(2, "8append_file: The file does not exist."));
  // Nothing but a regular file opens, and a FIFO without a writer is not waited for.
  Deadline const deadline(10);
  for (std::string const& file :
       {dir_.path().string(), dir_.fifo("fifo"), std::string("/dev/zero")})
    EXPECT_EQ(append(file), "append_file: Cannot open file.") << file;
  EXPECT_EQ(read_file(x_), "");
}

TEST_F(LoggerTest, AppendFileRedactedWritesNoSecretAndChangesNothingElse) {
  std::string input, logged;
  for (auto const& row : read_table("logger_redaction.tsv")) {
    input += row["line"] + "\n";
    logged += row["logged"] + "\n";
  }
  dir_.write("y.log", input);
  Logger const log(x_);
  logger::append_file_redacted(fl::i18n::utf8_to_ustring(y_), {"password", " Licence_Key ", "API"});
  EXPECT_EQ(log_of(x_),
            "(T) Content of the file " + y_ + "\n" + logged + "End of the file " + y_ + "\n");
}
