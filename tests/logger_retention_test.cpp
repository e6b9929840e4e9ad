// Logs kept bounded when a run starts: rotation by size, old siblings removed by count and age,
// runs that start together or go on meanwhile, rotations that fail, and folders others share.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <algorithm>
#include <chrono>
#include <ctime>
#include <fstream>
#include <regex>
#include <set>

#include "install/cpputil/logger.hpp"
#include "support/support.hpp"

namespace logger = install::cpputil::logger;
namespace fs = std::filesystem;
using logger::Logger;
using logger::RetentionPolicy;
using logger::WriteFailure;
using namespace qx::test;
using namespace std::chrono_literals;

namespace {

std::string utf8(fl::filesystem::basic_path const& path) {
  return fl::i18n::ustring_to_utf8(path.string());
}

// The library stamps by the precise clock; time() reads a coarse one that can lag a tick behind.
std::time_t seconds_now() {
  return std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
}

// The last change of `path` (a link itself, not its target) goes `days` back.
void age(std::string const& path, int days) {
  timespec const when{seconds_now() - days * 86400L, 0};
  timespec const times[2] = {when, when};
  if (utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
    throw std::runtime_error("cannot set the times of " + path);
}

std::vector<std::string> split(std::string const& text, char separator) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
  return parts;
}

// "2026-11-25T08-05-35Z" for `time`.
std::string stamp_of(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  char text[32];
  return std::string(text, std::strftime(text, sizeof text, "%Y-%m-%dT%H-%M-%SZ", &utc));
}

// The folder as name:bytes in byte order; a stamp of the seconds from `since` to now is <now>.
std::string listing(fs::path const& folder, std::time_t since, std::string const& run = {}) {
  std::vector<std::string> names;
  for (auto const& entry : fs::directory_iterator(folder)) {
    std::string name = entry.path().filename().string();
    for (std::time_t t = since; t <= seconds_now() && name != run; ++t) {
      if (auto const at = name.find(stamp_of(t)); at != std::string::npos)
        name.replace(at, 20, "<now>");
    }
    if (name == run) name = "<run>";
    names.push_back(name + ":" + std::to_string(fs::file_size(entry.path())));
  }
  std::sort(names.begin(), names.end());
  std::string joined;
  for (auto const& name : names) joined += (joined.empty() ? "" : "|") + name;
  return joined;
}

// Processes that each start a run on a log once start() is called, write `entries` entries
// ("run R entry E"), say so, and end their runs when end() is called.
class Runs {
 public:
  Runs(std::vector<std::string> const& logs, RetentionPolicy const& policy, int entries) {
    if (pipe(start_) != 0 || pipe(ready_) != 0 || pipe(release_) != 0)
      throw std::runtime_error("pipe failed");
    for (std::size_t r = 0; r < logs.size(); ++r) {
      pid_t const child = fork();
      if (child != 0) {
        children_.push_back(child);
        continue;
      }
      ::close(start_[1]);
      ::close(release_[1]);
      char byte = 0;
      int code = read(start_[0], &byte, 1) == 0 ? 0 : 2;
      try {
        Logger const run(logs[r], policy);
        for (int e = 0; e < entries; ++e)
          logger::append_message("run " + std::to_string(r) + " entry " + std::to_string(e));
        code = code != 0 || write(ready_[1], "r", 1) != 1 ? 2 : code;
        code = read(release_[0], &byte, 1) == 0 ? code : 2;
      } catch (...) {
        code = 1;
      }
      _exit(code);
    }
  }
  Runs(Runs const&) = delete;
  Runs& operator=(Runs const&) = delete;
  ~Runs() {
    static_cast<void>(end());
    for (int* fd : {&start_[0], &ready_[0], &ready_[1], &release_[0]}) close_once(*fd);
  }

  // Every run starts, and every one has written its entries on return.
  void start() {
    close_once(start_[1]);
    char byte = 0;
    for (std::size_t i = 0; i < children_.size(); ++i) {
      if (read(ready_[0], &byte, 1) != 1) break;
    }
  }
  // Every run ends; true when each process ended as it should.
  bool end() {
    close_once(start_[1]);
    close_once(release_[1]);
    bool fine = true;
    for (pid_t const child : children_) {
      int status = 0;
      fine = waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
             fine;
    }
    children_.clear();
    return fine;
  }

 private:
  static void close_once(int& fd) {
    if (fd >= 0) ::close(fd);
    fd = -1;
  }
  int start_[2] = {-1, -1}, ready_[2] = {-1, -1}, release_[2] = {-1, -1};
  std::vector<pid_t> children_;
};

}  // namespace

QX_TABLE_TEST(LoggerRetention, KeepsTheLogBoundedBySizeCountAndAge, "logger_retention.tsv") {
  Row const& row = GetParam();
  TempDir const dir;
  for (std::string const& file : split(row["files"], '|')) {
    auto const fields = split(file, ':');
    std::string const content = std::string(std::stoul(fields[1]) - 1, 'o') + "\n";
    age(dir.write(fields[0], content), std::stoi(fields[2]));
  }
  std::istringstream numbers(row["policy"]);
  RetentionPolicy policy;
  int days = 0;
  numbers >> policy.max_bytes >> policy.max_files >> days;
  policy.max_age = std::chrono::days(days);
  std::string const log =
      row["log"] == "<run>"
          ? utf8(logger::run_log_path(fl::filesystem::make_path(dir.path().string()),
                                      std::string("install")))
          : dir.file(row["log"]);
  std::time_t const since = seconds_now();
  {
    Logger const run(log, policy);
    logger::append_message(std::string("entry"));
  }
  EXPECT_EQ(listing(dir.path(), since, row["log"] == "<run>" ? fs::path(log).filename() : ""),
            row["kept"]);
  EXPECT_TRUE(untimed(read_file(log)).ends_with("(T) entry\n"));
}

TEST(LoggerRetention, ARunLogIsNamedByItsTimeAndProcess) {
  std::string const pid = std::to_string(getpid());
  std::regex const shape("logs/install-\\d{4}-\\d\\d-\\d\\dT\\d\\d-\\d\\d-\\d\\dZ-" + pid +
                         "\\.log");
  for (char const* folder : {"logs", "logs/"})
    EXPECT_TRUE(std::regex_match(
        utf8(logger::run_log_path(fl::filesystem::make_path(folder), u"install")), shape));
  EXPECT_TRUE(std::regex_match(
      "logs/" + utf8(logger::run_log_path(fl::filesystem::basic_path(), std::string("install"))),
      shape));
}

// Rotations within one second take the next free name; the history lists them in order.
TEST(LoggerRetention, RotatedLogsNeverReplaceOneAnotherAndReadBackInOrder) {
  TempDir const dir;
  std::string const log = dir.file("install.log");
  for (int round = 0; round < 3; ++round) {
    std::ofstream(log, std::ios::app) << "round " << round << std::string(200, '.') << '\n';
    Logger const run(log, RetentionPolicy{100, 0, 0s});
  }
  auto const history = logger::log_history(fl::filesystem::make_path(log));
  ASSERT_EQ(history.size(), 4U);
  for (int round = 0; round < 3; ++round)
    EXPECT_EQ(read_file(utf8(history[round])).substr(0, 7), "round " + std::to_string(round));
  EXPECT_EQ(utf8(history[3]), log);
  EXPECT_EQ(read_file(log), "");
}

// Two runs start on a log over its limit at the same moment, 200 times: it is rotated once each
// time, and every entry of both runs is in the new log.
TEST(LoggerRetention, RunsStartingTogetherRotateOnceAndLoseNoEntry) {
  std::string const old = std::string(150, 'o') + "\n";
  for (int attempt = 0; attempt < 200; ++attempt) {
    TempDir const dir;
    std::string const log = dir.write("install.log", old);
    std::time_t const since = seconds_now();
    Runs runs({log, log}, RetentionPolicy{100, 0, 0s}, 3);
    runs.start();
    ASSERT_TRUE(runs.end());
    std::string const files = listing(dir.path(), since);
    ASSERT_TRUE(
        std::regex_match(files, std::regex("install\\.<now>\\.log:151\\|install\\.log:\\d+")))
        << "attempt " << attempt << ": " << files;
    std::string const entries = untimed(read_file(log));
    for (std::string const run : {"0", "1"}) {
      for (std::string const entry : {"0", "1", "2"})
        ASSERT_NE(entries.find("(T) run " + run + " entry " + entry + "\n"), std::string::npos)
            << "attempt " << attempt << ": " << entries;
    }
  }
}

// A log another process's run holds is not rotated, nor removed as an old sibling, nor the
// destination this process has set; once those runs end, the next run does both.
TEST(LoggerRetention, NothingRotatesOrGoesWhileARunIsGoingOn) {
  TempDir const dir;
  std::string const log = dir.write("install.log", std::string(200, 'o'));
  std::string const other = dir.write("install-2026-01-01T00-00-00Z-1.log", "x");
  RetentionPolicy const policy{100, 0, std::chrono::days(30)};
  auto const names = [&dir](std::time_t since) {
    return std::regex_replace(listing(dir.path(), since), std::regex(":\\d+"), "");
  };
  std::time_t const since = seconds_now();
  {
    Logger const first(log);
    Logger const same(log, policy);
  }
  EXPECT_EQ(names(since), "install-2026-01-01T00-00-00Z-1.log|install.log");
  {
    Runs holding({log, other}, RetentionPolicy{}, 0);
    holding.start();
    age(other, 40);
    { Logger const run(log, policy); }
    EXPECT_EQ(names(since), "install-2026-01-01T00-00-00Z-1.log|install.log");
    EXPECT_TRUE(holding.end());
  }
  Logger const run(log, policy);
  EXPECT_EQ(names(since), "install.<now>.log|install.log");
}

// A rotation that cannot be made is reported with its errno once the Logger is set, and the
// run goes on in the log as it was: a folder the caller may not write (a run of another user),
// and a disk with no room for one more file.
TEST(LoggerRetention, ARotationThatFailsIsReportedAndTheRunGoesOnInTheLog) {
  TempDir const dir;
  std::string const old(200, 'o');
  auto const run_in = [&old](std::string const& log) {
    std::vector<WriteFailure> seen;
    auto const previous = logger::set_write_failure_handler([&seen](WriteFailure const& failure) {
      seen.push_back(failure);
      logger::append_message(std::string("noted"));
    });
    {
      Logger const run(log, RetentionPolicy{100, 0, 0s});
      logger::append_message(std::string("entry"));
    }
    logger::set_write_failure_handler(previous);
    bool const kept = untimed(read_file(log)) == old + "\n(T) noted\n(T) entry\n";
    return seen.size() == 1 && seen[0].step == WriteFailure::Step::rotate && kept &&
                   utf8(seen[0].file) == log && seen[0].entry.empty()
               ? seen[0].error
               : -1;
  };
  std::string const readonly = dir.write("readonly/install.log", old);
  if (chown(readonly.c_str(), 4321, 4321) != 0 || chown(dir.file("readonly").c_str(), 4321, 0) ||
      chmod(dir.file("readonly").c_str(), 0555) != 0 || chmod(dir.path().c_str(), 0711) != 0)
    GTEST_SKIP() << "cannot give a folder to another user here";
  int const status = in_child([&] { return become_user(4321) ? run_in(readonly) : 99; });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == EACCES) << status;
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.file("readonly")), {}), 1);

  fs::create_directory(dir.file("full"));
  if (auto const refused = mount_small_disk(dir.file("full"), "64k,nr_inodes=3"))
    GTEST_SKIP() << *refused;
  std::string const log = dir.write("full/install.log", old);
  { std::ofstream(dir.file("full/filler")) << std::string(16384, 'f'); }
  EXPECT_EQ(run_in(log), ENOSPC);
  EXPECT_EQ(std::distance(fs::directory_iterator(dir.file("full")), {}), 2);
}

// Where others may write, nothing but the caller's own files with one link is touched: a link
// is neither followed nor removed, nor is another user's file or one with a second link; a link
// planted at the name a rotation would take is not replaced.
TEST(LoggerRetention, InASharedFolderOnlyTheCallersOwnFilesAreRotatedOrRemoved) {
  TempDir const dir;
  std::string const victim = dir.write("victim", "keep\n");
  fs::create_directory(dir.file("shared"));
  fs::permissions(dir.file("shared"), fs::perms::all | fs::perms::sticky_bit);
  std::string const log = dir.file("shared/install.log");
  { std::ofstream(log) << std::string(200, 'o'); }
  chmod(log.c_str(), 0600);
  auto const sibling = [&dir](std::string const& stamp) {
    return dir.file("shared/install." + stamp + ".log");
  };
  std::string const own = dir.write("shared/install.2026-01-01T00-00-00Z.log", "own"),
                    other = dir.write("shared/install.2026-01-02T00-00-00Z.log", "other"),
                    linked = sibling("2026-01-03T00-00-00Z"),
                    hard = sibling("2026-01-04T00-00-00Z");
  fs::create_symlink(victim, linked);
  fs::create_hard_link(dir.write("elsewhere", "hard"), hard);
  if (chown(other.c_str(), 4321, 4321) != 0) GTEST_SKIP() << "cannot give a file to another user";
  std::time_t const now = seconds_now();
  for (std::time_t t = now; t < now + 3; ++t) fs::create_symlink(victim, sibling(stamp_of(t)));
  for (auto const& file : {own, other, linked, hard}) age(file, 40);
  std::vector<WriteFailure> seen;  // what is not the caller's to touch is passed over in silence
  auto const previous =
      logger::set_write_failure_handler([&seen](WriteFailure const& f) { seen.push_back(f); });
  {
    Logger const run(log, RetentionPolicy{100, 0, std::chrono::days(30)});
    logger::append_message(std::string("entry"));
  }
  logger::set_write_failure_handler(previous);
  EXPECT_TRUE(seen.empty());
  EXPECT_FALSE(fs::exists(own));
  for (auto const& file : {other, linked, hard}) EXPECT_TRUE(fs::exists(fs::symlink_status(file)));
  EXPECT_EQ(read_file(victim), "keep\n");
  std::set<std::string> rotated;
  for (auto const& entry : fs::directory_iterator(dir.file("shared"))) {
    if (!entry.is_symlink() && read_file(entry.path()) == std::string(200, 'o'))
      rotated.insert(entry.path().filename().string());
  }
  EXPECT_THAT(rotated,
              testing::ElementsAre(testing::MatchesRegex("install\\.[-0-9T]*Z(-[1-9])?\\.log")));
  EXPECT_EQ(fs::status(log).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(untimed(read_file(log)), "(T) entry\n");
}
