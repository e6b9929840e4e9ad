#include "install/cpputil/logger.hpp"

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <fstream>
#include <thread>
#include <tuple>

#include "install/platformutil/platform_utility.hpp"
#include "support/trace_capture.hpp"

namespace logger = install::cpputil::logger;
namespace fs = std::filesystem;
using logger::Logger;
using Lines = std::vector<std::string>;
using namespace qx::test;
using namespace std::string_literals;
using Failure = logger::WriteFailure;

namespace install::cpputil::logger {
void PrintTo(WriteFailure const& f, std::ostream* out) {
  *out << fl::i18n::ustring_to_utf8(f.file.string())
       << (f.step == WriteFailure::Step::open ? " open " : " write ") << f.error << ' ' << f.written
       << '/' << f.size;
}
}  // namespace install::cpputil::logger

// The size of the entry of `message`: "(Mon DD, YYYY HH:MM:SS) ", the message, a line feed.
std::size_t entry_size(std::string const& message) {
  return 24 + message.size() + 1;
}

// The working folder is `folder` until the scope ends.
struct InFolder {
  explicit InFolder(fs::path const& folder) { fs::current_path(folder); }
  ~InFolder() { fs::current_path(previous); }
  InFolder(InFolder const&) = delete;
  InFolder& operator=(InFolder const&) = delete;
  fs::path const previous = fs::current_path();
};

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
  dir_.write("x.log", "a fragment that a killed writer left");
  Logger const log(fl::filesystem::make_path(x_));
  logger::append_message(u"next");
  logger::append_message(u"last");
  EXPECT_EQ(log_of(x_), "a fragment that a killed writer left\n(T) next\n(T) last\n");
}

// Each failure throws at once, traces its text and changes no state; its notice goes into the
// current destination when there is one. A FIFO whose reader never reads is not waited for, and
// a NUL never cuts a name short.
TEST_F(LoggerTest, AFailedConstructionThrowsAndChangesNoState) {
  std::string const sub = dir_.write("plain", "x") + "/sub", folder = dir_.path().string(),
                    fifo = dir_.fifo("fifo"), cut = dir_.file("plain.log\0-suffix"s),
                    escape = dir_.file("install.log\0.d/../../../victim"s);
  int const reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  auto const shown = [](std::string text) { return text.replace(text.find('\0'), 1, "\\0"); };
  std::string const cases[][3] = {
      {fifo, "open file \"" + fifo + "\"", "file for installation log " + fifo},
      {cut, "open file \"" + shown(cut) + "\"", "file for installation log " + cut},
      {escape, "open file \"" + shown(escape) + "\"", "file for installation log " + escape},
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
  ::close(reader);
  EXPECT_FALSE(fs::exists(default_log_) || fs::exists(dir_.file("plain.log")) ||
               fs::exists(dir_.file("install.log")));
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

TEST_F(LoggerTest, AMissingFileIsRecreatedButAMissingFolderIsNot) {
  Logger const log(dir_.file("sub/p.log"));
  fs::remove(dir_.file("sub/p.log"));
  logger::append_message(std::string("recreated"));
  EXPECT_EQ(log_of(dir_.file("sub/p.log")), "(T) recreated\n");
  fs::remove_all(dir_.file("sub"));
  logger::append_message(std::string("folder gone"));
  EXPECT_FALSE(fs::exists(dir_.file("sub")));
}

// A handler that logs again neither waits for the log's lock nor gets its own drops back, and
// what it throws stays inside append_message.
TEST_F(LoggerTest, EachDroppedEntryIsTracedWithItsReasonAndHandedToTheHandler) {
  if (auto const lacking = without_linux_files()) GTEST_SKIP() << *lacking;  // /dev/full
  std::vector<Failure> seen;
  auto const previous = logger::set_write_failure_handler([&seen](Failure const& failure) {
    seen.push_back(failure);
    seen.back().entry = untimed(failure.entry);
    logger::append_message(u"from the handler");
    throw std::runtime_error("handler failed");
  });
  Deadline const deadline(10);
  {
    Logger const gone(dir_.file("sub/p.log"));
    fs::remove_all(dir_.file("sub"));
    logger::append_message(std::string("folder gone"));
  }
  {
    Logger const full(std::string("/dev/full"));
    logger::append_message(std::string("device full"));
  }
  Logger const log(x_);
  fs::remove(x_);
  int const reader = ::open(dir_.fifo("x.log").c_str(), O_RDONLY | O_NONBLOCK);
  logger::append_message(std::string("a FIFO"));
  ::close(reader);
  EXPECT_TRUE(logger::set_write_failure_handler(previous));
  auto const path = [](std::string const& file) { return fl::filesystem::make_path(file); };
  EXPECT_EQ(seen, (std::vector<Failure>{{path(dir_.file("sub/p.log")), Failure::Step::open, ENOENT,
                                         0, entry_size("folder gone"), "(T) folder gone"},
                                        {path("/dev/full"), Failure::Step::write, ENOSPC, 0,
                                         entry_size("device full"), "(T) device full"},
                                        {path(x_), Failure::Step::open, ENXIO, 0,
                                         entry_size("a FIFO"), "(T) a FIFO"}}));
  Lines const dropped = trace_.lines("failed");
  ASSERT_EQ(dropped.size(), 12U);  // each entry and each of the handler's: text, then reason
  EXPECT_EQ(Lines(dropped.begin(), dropped.begin() + 2),
            (Lines{"4failed to open destination_file for u8msg (T) folder gone",
                   "4failed entry: No such file or directory (errno 2), 0 of 36 bytes written to " +
                       dir_.file("sub/p.log")}));
  EXPECT_EQ(dropped[4], "4failed to write destination_file for u8msg (T) device full");
  EXPECT_EQ(dropped[9].substr(0, 40), "4failed entry: it is not a regular file ");
  EXPECT_EQ(trace_.lines("write failure handler threw: "),
            Lines(3, "4write failure handler threw: handler failed"));
}

TEST_F(LoggerTest, APlantedDefaultFileIsNeverWrittenOrWaitedFor) {
  fs::create_symlink(dir_.write("x.log", "secret\n"), default_log_);
  logger::append_message(std::string("planted link"));
  // Made the destination to be kept bounded, it is opened as carefully.
  EXPECT_EQ(what_of<std::runtime_error>([] {
              Logger const log(logger::RetentionPolicy{1, 1, {}});
            }),
            "Install Logger: Cannot open file \"" + default_log_ + "\"");
  EXPECT_EQ(read_file(x_), "secret\n");
  fs::remove(default_log_);
  dir_.fifo(default_log_);
  Deadline const deadline(10);
  logger::append_message(std::string("fifo"));
  EXPECT_EQ(trace_.lines("failed to"),
            (Lines{"4failed to open destination_file for u8msg (T) planted link",
                   "4failed to open destination_file for u8msg (T) fifo"}));
}

// In a folder that other users can write, only the caller's own file with one link is a
// destination, as for the default log; in the caller's own folder links are followed.
TEST_F(LoggerTest, InASharedFolderALinkOrAnotherUsersFileIsNoDestination) {
  std::string const victim = dir_.write("victim", "keep\n");
  for (std::string const folder : {"shared", "own"}) {
    bool const shared = folder == "shared";
    fs::create_directory(dir_.file(folder));
    fs::permissions(dir_.file(folder),
                    shared ? fs::perms::owner_all | fs::perms::others_all | fs::perms::sticky_bit
                           : fs::perms::owner_all);
    fs::create_symlink(victim, dir_.file(folder + "/link.log"));
    fs::create_hard_link(victim, dir_.file(folder + "/hard.log"));
    for (char const* name : {"/link.log", "/hard.log"}) {
      EXPECT_EQ(
          what_of<std::runtime_error>([&] { Logger const planted(dir_.file(folder + name)); }),
          shared ? "Install Logger: Cannot open file \"" + dir_.file(folder + name) + "\""
                 : "no exception");
    }
  }
  EXPECT_EQ(read_file(victim), "keep\n");
  std::string const mine = dir_.file("shared/install.log");
  Logger const log(mine);
  EXPECT_EQ(fs::status(mine).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  if (geteuid() == 0 && chown(mine.c_str(), 4321, 4321) == 0) {
    logger::append_message(std::string("to another user's file"));
    EXPECT_EQ(read_file(mine), "");
  }
  fs::remove(mine);
  fs::create_symlink(victim, mine);
  logger::append_message(std::string("through a link planted later"));
  EXPECT_EQ(read_file(victim), "keep\n");
}

// The folders a name really leads through decide, once, and the entries keep to them: a link
// planted where "home/link/.." really is, a folder swapped for a link after a Logger was made in
// a folder others can write, and a change of the working folder redirect nothing.
TEST_F(LoggerTest, ADestinationIsJudgedByTheFoldersItLeadsThroughAndEntriesKeepToThem) {
  std::string const victim = dir_.write("mine/install.log", "keep\n");
  InFolder const here(dir_.path());
  for (auto const& [folder, mode] : {std::pair{"home", fs::perms::owner_all},
                                     {"own", fs::perms::owner_all},
                                     {"shared", fs::perms::all | fs::perms::sticky_bit},
                                     {"shared/sub", fs::perms::owner_all},
                                     {"open", fs::perms::all},
                                     {"open/logs", fs::perms::owner_all}}) {
    fs::create_directory(folder);
    fs::permissions(folder, mode);
  }
  fs::create_symlink("../shared/sub", "home/link");
  fs::create_symlink(victim, "shared/install.log");
  EXPECT_EQ(what_of<std::runtime_error>([] { Logger const log("home/link/../install.log"); }),
            "Install Logger: Cannot open file \"home/link/../install.log\"");
  {
    Logger const log(dir_.file("open/logs/install.log"));
    logger::append_message(std::string("before the swap"));
    fs::rename("open/logs", "open/old");
    fs::create_symlink(dir_.file("mine"), "open/logs");
    logger::append_message(std::string("after the swap"));
  }
  EXPECT_EQ(log_of("open/old/install.log"), "(T) before the swap\n");
  {
    std::optional<InFolder> moved(std::in_place, "own");
    Logger const log("install.log");
    moved.emplace("shared");
    logger::append_message(std::string("after a change of folder"));
    EXPECT_EQ(destinations(), "install.log|" + dir_.file("open/logs/install.log"));
  }
  EXPECT_EQ(log_of("own/install.log"), "(T) after a change of folder\n");
  EXPECT_EQ(read_file(victim), "keep\n");
}

// A log the caller may write but not read ends in a fragment: its last byte is unknown, so the
// entry starts with a line feed, unless this process wrote that byte. Root reads every file, so
// another user writes.
TEST_F(LoggerTest, AnEntryInALogTheCallerCannotReadStandsApart) {
  std::string const log = dir_.write("w.log", "fragment");
  if (chown(log.c_str(), 4321, 4321) != 0 || chmod(log.c_str(), 0200) != 0 ||
      chmod(dir_.path().c_str(), 0711) != 0)
    GTEST_SKIP() << "cannot give a file to another user here";
  int const status = in_child([&log] {
    if (!qx::test::become_user(4321)) return 3;
    Logger const destination(log);
    logger::append_message(std::string("next"));
    logger::append_message(std::string("last"));
    return 0;
  });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(log_of(log), "fragment\n(T) next\n(T) last\n");
}

// A Boost.Log sink that logs what the log traces while it holds its lock: such an entry is
// dropped (EDEADLK) rather than waited for, and reported once the lock is free.
TEST_F(LoggerTest, ATraceSinkThatLogsIsNeverMadeToWaitForTheLogsLock) {
  std::vector<int> seen;
  std::string lost;
  auto const previous = logger::set_write_failure_handler([&](Failure const& failure) {
    (void)logger::get_destination();  // would wait for ever under the lock
    seen.push_back(failure.error);
    if (seen.size() == 1) lost = untimed(failure.entry);
  });
  TraceCapture const sink("install::cpputil::logger", 4U, [](std::string const& message) {
    if (!message.starts_with(" msg=")) logger::append_message("traced: " + message);
  });
  Deadline const deadline(10);
  std::optional<Logger> log(std::in_place, dir_.file("sub/p.log"));
  EXPECT_EQ(seen, std::vector<int>{EDEADLK});  // reported as the constructor returns
  EXPECT_EQ(lost, "(T) traced:  destination_file.string()=" + dir_.file("sub/p.log"));
  fs::remove_all(dir_.file("sub"));
  logger::append_message(std::string("lost"));
  std::vector<int> const before_reset = seen;
  log.reset();
  logger::set_write_failure_handler(previous);
  EXPECT_EQ(before_reset, (std::vector<int>{EDEADLK, EDEADLK, EDEADLK, ENOENT}));
  EXPECT_THAT(read_file(default_log_), testing::HasSubstr(") traced: set destination"));
}

// A 64 KB file system filled up behind a fragment that a crash left: the next entry starts on
// a line of its own, only part of it fits, and it is reported with what it left; once there is
// room again the entry after it stands apart too.
TEST_F(LoggerTest, OnAFullDiskAPartialEntryStandsApart) {
  fs::create_directory(dir_.file("small"));
  if (auto const refused = mount_small_disk(dir_.file("small"), "64k")) GTEST_SKIP() << *refused;
  std::vector<Failure> seen;
  auto const previous =
      logger::set_write_failure_handler([&seen](Failure const& f) { seen.push_back(f); });
  std::string const fragment(4000, 'f'), entry(300, 's');
  std::string const log = dir_.write("small/install.log", fragment);  // 96 bytes left in its page
  Logger const destination(log);
  {
    std::ofstream filler(dir_.file("small/filler"));
    while (filler << std::string(4096, 'x') << std::flush) {
    }
  }
  logger::append_message(entry);
  fs::remove(dir_.file("small/filler"));
  logger::append_message(std::string("room again"));
  logger::set_write_failure_handler(previous);
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(std::tuple(seen[0].step, seen[0].error, seen[0].size),
            std::tuple(Failure::Step::write, ENOSPC, entry_size(entry)));
  ASSERT_GT(seen[0].written, 0U);
  EXPECT_EQ(untimed(seen[0].entry), "(T) " + entry);
  EXPECT_EQ(log_of(log), fragment + "\n" + untimed(read_file(log).substr(4001, seen[0].written)) +
                             "\n(T) room again\n");
}

// A writer killed in the middle of an entry leaves a fragment; the next entry, from another
// process, does not glue onto it.
TEST_F(LoggerTest, AnEntryCutByAKilledWriterStandsApart) {
  std::string const big(64U << 20, 'k');
  Deadline const deadline(60);
  for (int const signal : {SIGTERM, SIGKILL}) {
    fs::remove(x_);
    pid_t const child = fork();
    if (child == 0) {
      Logger const log(x_);
      logger::append_message(big);
      _exit(0);
    }
    while (!fs::exists(x_) || fs::file_size(x_) == 0) std::this_thread::yield();
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    std::uintmax_t const left = fs::file_size(x_);
    if (left == entry_size(big)) GTEST_SKIP() << "the entry was written before the signal landed";
    Logger const log(x_);
    logger::append_message(std::string("next"));
    std::string const content = read_file(x_);
    EXPECT_EQ(content.size(), left + 1 + entry_size("next")) << signal;
    EXPECT_EQ(untimed(content.substr(left)), "\n(T) next\n") << signal;
  }
}

// Past the file-size limit (ulimit -f) an entry is dropped with EFBIG and leaves nothing: the
// process is not killed by SIGXFSZ.
TEST_F(LoggerTest, AnEntryPastTheFileSizeLimitFailsWithoutKillingTheProcess) {
  dir_.write("x.log", std::string(4000, 'o') + "\n");
  int const status = in_child([this] {
    rlimit const limit{4096, 4096};
    std::optional<Failure> seen;
    logger::set_write_failure_handler([&seen](Failure const& f) { seen = f; });
    Logger const log(x_);
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;
    logger::append_message(std::string(200, 'S'));
    return seen && seen->error == EFBIG && seen->written == 0 ? 0 : 2;
  });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(fs::file_size(x_), 4001U);
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
    logger::append_file(fl::filesystem::make_path(file));
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
  trace_.clear();
  logger::append_file_redacted(fl::i18n::utf8_to_ustring(y_),
                               {"password", " Licence_Key ", "API", "Platform"});
  EXPECT_EQ(log_of(x_),
            "(T) Content of the file " + y_ + "\n" + logged + "End of the file " + y_ + "\n");
  std::string traced;
  for (auto const& line : trace_.lines(" line=")) traced += line.substr(7) + "\n";
  EXPECT_EQ(traced, logged);
}

// What the parser cannot read as text cannot be redacted: its content is withheld.
TEST_F(LoggerTest, AFileThatIsNotTextIsWithheldFromARedactedCopy) {
  Logger const log(x_);
  std::string const cases[][2] = {
      {"\xFF\xFEp\0=\0h\0\n\0"s, "begins with a UTF-16 byte-order mark"},
      {"\xFE\xFF\0p\0=\0h\n"s, "begins with a UTF-16 byte-order mark"},
      {"\xFF\xFE\0\0p\0\0\0"s, "begins with a UTF-32 byte-order mark"},
      {"password=hunter2\nx=1\0\n"s, "holds a NUL byte"},
      {"installmode = typical\rpassword = hunter2\r"s,
       "uses a carriage return without a line feed as a line end"}};
  for (auto const& [content, reason] : cases) {
    fs::remove(x_);
    logger::append_file_redacted(fl::i18n::utf8_to_ustring(dir_.write("in", content)),
                                 {"password"});
    EXPECT_EQ(log_of(x_), "(T) Content of the file " + dir_.file("in") +
                              "\nContent withheld: the file " + reason +
                              ", so the values to redact cannot be found in it\nEnd of the file " +
                              dir_.file("in") + "\n");
  }
}
