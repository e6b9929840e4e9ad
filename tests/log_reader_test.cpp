#include "install/cpputil/log_reader.hpp"

#include <signal.h>
#include <sys/wait.h>

#include <regex>
#include <set>
#include <sstream>

#include "fl/filesystem.hpp"
#include "install/cpputil/logger.hpp"
#include "support/support.hpp"

namespace cpputil = install::cpputil;
namespace logger = install::cpputil::logger;
using namespace qx::test;
using cpputil::LogEntryKind;

namespace {

fl::filesystem::basic_path path_of(std::string const& file) {
  return fl::filesystem::make_path(file);
}

std::vector<cpputil::LogEntry> entries_of(std::string const& file) {
  cpputil::LogReader reader(path_of(file));
  std::vector<cpputil::LogEntry> entries;
  for (cpputil::LogEntry entry; reader.next(entry);) entries.push_back(entry);
  return entries;
}

std::string facts(cpputil::LoggedRunStart const& s) {
  return s.product + "|" + s.version + "|" + s.process + "|" + s.user + "|" + s.host + "|" +
         s.zone + "|" + s.log + "|" +
         (s.utc_offset ? std::to_string(s.utc_offset->count()) : std::string("none"));
}

// An entry as the table writes it (see log_reader_entries.tsv).
std::string described(cpputil::LogEntry const& e) {
  std::string text =
      std::to_string(e.line) + "+" + std::to_string(e.line_count) + " " + cpputil::toString(e.kind);
  switch (e.kind) {
    case LogEntryKind::installer:
    case LogEntryKind::outside:
      return text + " [" + e.message + "]";
    case LogEntryKind::file_copy:
      return text + " " + e.copy.path + " " + std::to_string(e.copy.bytes) + " bytes" +
             (e.copy.redacted ? " redacted" : "") + (e.copy.withheld ? " withheld" : "") +
             (e.copy.complete ? "" : " cut-short");
    case LogEntryKind::run_start:
      return text + " " + facts(e.run_start);
    case LogEntryKind::run_end: {
      auto const& end = e.run_end;
      std::ostringstream duration;
      if (end.duration_s) duration << *end.duration_s;
      return text + " " + end.outcome + "|" + (end.duration_s ? duration.str() : "none") + "|" +
             std::to_string(end.lost_entries) + "|" + end.last_loss;
    }
    default:
      return text + " " + e.subject + (e.detail.empty() ? "" : " " + e.detail);
  }
}

// The summary of a log of one entry with `message`.
cpputil::LogSummary summary_of_message(TempDir const& dir, std::string const& message,
                                       cpputil::LogSummaryOptions const& options) {
  return cpputil::summarizeLog(
      path_of(dir.write("one.log", "(Nov 16, 2026 14:50:09) " + message + "\n")), options);
}

}  // namespace

QX_TABLE_TEST(LogEntries, KindsLinesAndWhatTheySay, "log_reader_entries.tsv") {
  TempDir const dir;
  std::string const file = dir.write("install.log", GetParam()["log"]);
  std::string text;
  for (auto const& entry : entries_of(file)) text += (text.empty() ? "" : " | ") + described(entry);
  EXPECT_EQ(text, GetParam()["entries"]);
  // The entries cover the file's lines one after the other, none left out; each time-stamped
  // one carries the stamp of its first line, as written and read.
  std::vector<std::string> lines;
  std::istringstream in(GetParam()["log"]);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  using namespace std::chrono;
  cpputil::LogReader reader(path_of(file));
  std::uint64_t next_line = 1;
  for (cpputil::LogEntry entry; reader.next(entry); next_line = entry.line + entry.line_count) {
    EXPECT_EQ(entry.line, next_line);
    if (entry.kind == LogEntryKind::outside) continue;
    EXPECT_EQ("(" + entry.time_text + ")", lines.at(entry.line - 1).substr(0, 23));
    if (entry.time_text == "Nov 16, 2026 14:50:09") {
      EXPECT_EQ(entry.local_time, local_days(2026y / November / 16) + 14h + 50min + 9s);
    }
  }
  EXPECT_EQ(reader.lines(), next_line - 1);
}

QX_TABLE_TEST(FailureWords, WholeWordsInAnyCase, "log_reader_failure_words.tsv") {
  TempDir const dir;
  cpputil::LogSummaryOptions options;
  if (GetParam()["words"] != "default") {
    options.failure_words.emplace();
    std::istringstream words(GetParam()["words"]);
    for (std::string word; std::getline(words, word, ',');) options.failure_words->push_back(word);
  }
  auto const summary = summary_of_message(dir, GetParam()["message"], options);
  ASSERT_EQ(summary.runs.size(), 1U);
  EXPECT_EQ(summary.runs[0].failures.empty() ? "no" : "yes", GetParam()["failure"]);
}

QX_TABLE_TEST(Leaks, KeysAndValuesNeverTheSecret, "log_reader_leaks.tsv") {
  TempDir const dir;
  cpputil::LogSummaryOptions options;
  options.secret_keys = {"password", "API_Token", "pin"};
  options.answer_file = fl::i18n::utf8_to_ustring(
      dir.write("answers.txt", "password = hunter2secret\napi_token = tok-1234\npin = 12\n"));
  auto const summary = summary_of_message(dir, GetParam()["message"], options);
  std::string leaks;
  for (auto const& leak : summary.runs.at(0).leaks) {
    EXPECT_EQ(leak.line, 1U);
    leaks += (leaks.empty() ? "" : ",") + leak.key;
  }
  EXPECT_EQ(leaks, GetParam()["leaks"]);
}

// What the report quotes of the log never holds a secret it found: not in a failure, not in
// the entries before it; and a redacted copy is no leak, an unredacted one is.
TEST(Leaks, QuotesAreMaskedAndRedactedCopiesPass) {
  TempDir const dir;
  std::string const log =
      dir.write("install.log",
                "(Nov 16, 2026 14:50:00) using password=hunter2secret for the vault\n"
                "(Nov 16, 2026 14:50:01) Content of the file /a.txt\npassword = ********\n"
                "End of the file /a.txt\n"
                "(Nov 16, 2026 14:50:02) Content of the file /b.txt\npassword = hunter2secret\n"
                "End of the file /b.txt\n"
                "(Nov 16, 2026 14:50:03) token tok-1234 refused: access denied\n"
                "(Nov 16, 2026 14:50:04) error for hunter2secret again\n");
  cpputil::LogSummaryOptions options;
  options.secret_keys = {"password", "api_token"};
  options.answer_file = fl::i18n::utf8_to_ustring(
      dir.write("answers.txt", "password = hunter2secret\napi_token = tok-1234\n"));
  auto const summary = cpputil::summarizeLog(path_of(log), options);
  auto const& run = summary.runs.at(0);
  std::vector<std::pair<std::uint64_t, std::string>> leaks;
  for (auto const& leak : run.leaks) leaks.emplace_back(leak.line, leak.key);
  EXPECT_EQ(leaks,
            (decltype(leaks){{1, "password"}, {6, "password"}, {8, "api_token"}, {9, "password"}}));
  ASSERT_EQ(run.failures.size(), 2U);
  EXPECT_EQ(run.failures[0].message, "token ******** refused: access denied");
  EXPECT_EQ(run.failures[1].message, "error for ******** again");
  ASSERT_EQ(run.context.size(), 3U);
  EXPECT_EQ(run.context[0].message, "using password=********");
  EXPECT_EQ(run.context[2].message,
            "Content of the file /b.txt\npassword = ********\nEnd of the file /b.txt");
  ASSERT_EQ(run.files.size(), 2U);
  EXPECT_TRUE(run.files[0].copy.redacted);
  EXPECT_FALSE(run.files[1].copy.redacted);
}

// Several processes in several time zones append their runs to one log; one of them is killed
// before it ends its run. Each run reads back apart, in UTC where its start gave the zone.
TEST(Runs, SeveralProcessesAndTimeZonesInOneLog) {
  TempDir const dir;
  std::string const log = dir.file("install.log");
  auto const run_in_child = [&log](char const* zone, logger::RunOutcome outcome, bool killed) {
    return in_child([&] {
      setenv("TZ", zone, 1);
      tzset();
      logger::Logger const destination(log);
      logger::begin_run({"Kestra Studio", zone});
      logger::append_message(std::string("Copying files"));
      if (killed) raise(SIGKILL);
      logger::end_run(outcome);
      return 0;
    });
  };
  EXPECT_EQ(run_in_child("Asia/Tokyo", logger::RunOutcome::succeeded, false), 0);
  EXPECT_EQ(run_in_child("UTC", logger::RunOutcome::failed, false), 0);
  int const killed = run_in_child("America/St_Johns", {}, true);
  EXPECT_TRUE(WIFSIGNALED(killed));
  EXPECT_EQ(run_in_child("UTC", logger::RunOutcome::cancelled, false), 0);

  auto const summary = cpputil::summarizeLog(path_of(log));
  ASSERT_EQ(summary.runs.size(), 4U);
  std::vector<std::string> outcomes;
  std::set<std::string> processes;
  for (auto const& run : summary.runs) {
    outcomes.push_back(std::string(cpputil::toString(run.outcome)) + " " + run.start.version);
    processes.insert(run.start.process);
    EXPECT_EQ(run.start.product, "Kestra Studio");
    EXPECT_EQ(run.entries, run.outcome == cpputil::LogRunOutcome::unfinished ? 2U : 3U);
    ASSERT_TRUE(run.start_utc && run.start_local);
  }
  EXPECT_EQ(outcomes, (std::vector<std::string>{"succeeded Asia/Tokyo", "failed UTC",
                                                "unfinished America/St_Johns", "cancelled UTC"}));
  EXPECT_EQ(processes.size(), 4U);
  EXPECT_THAT(summary.runs[0].start.zone, testing::StartsWith("+09:00 "));
  EXPECT_THAT(summary.runs[2].start.zone, testing::MatchesRegex("-0[23]:30 N[DS]T"));
  // Local times nine hours apart, written within seconds of each other.
  auto const& tokyo = summary.runs[0];
  auto const& utc = summary.runs[1];
  EXPECT_NEAR(static_cast<double>((*tokyo.start_local - *utc.start_local).count()), 9 * 3600, 60);
  EXPECT_NEAR(static_cast<double>((*utc.start_utc - *tokyo.start_utc).count()), 0, 60);
  EXPECT_TRUE(utc.first_failure);  // its end entry says failed
  EXPECT_EQ(utc.failures.size(), 1U);
  EXPECT_FALSE(tokyo.first_failure);
}

// The fixed wording of a run's entries, read back by the reader; without begin_run no duration.
TEST(Runs, BeginAndEndRunEntries) {
  TempDir const dir;
  std::string const log = dir.file("install.log");
  EXPECT_EQ(in_child([&log] {
              logger::Logger const destination(log);
              logger::end_run(logger::RunOutcome::succeeded);
              logger::begin_run({"Kestra\nStudio", "2027.1"});
              logger::end_run(logger::RunOutcome::cancelled);
              return 0;
            }),
            0);
  std::string const text = untimed(read_file(log));
  std::regex const shape(
      "\\(T\\) Installation run ended: succeeded\nlost entries: 0\n"
      "\\(T\\) Installation run started\nproduct: Kestra\\\\nStudio\nversion: 2027\\.1\n"
      "process: [0-9]+\nuser: .+\nhost: .+\ntime zone: [-+][0-9]{2}:[0-9]{2} .*\nlog: "
      ".*install\\.log\n"
      "\\(T\\) Installation run ended: cancelled\nduration: [0-9]+\\.[0-9]{3} s\nlost entries: "
      "0\n");
  EXPECT_TRUE(std::regex_match(text, shape)) << text;
  auto const entries = entries_of(log);
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[1].run_start.product, "Kestra\\nStudio");
  EXPECT_EQ(entries[1].run_start.log, log);
  EXPECT_FALSE(entries[0].run_end.duration_s);
  EXPECT_TRUE(entries[2].run_end.duration_s);
  auto const summary = cpputil::summarizeLog(path_of(log));
  ASSERT_EQ(summary.runs.size(), 2U);  // an end without a start closes a run of its own
  EXPECT_EQ(summary.runs[0].outcome, cpputil::LogRunOutcome::succeeded);
  EXPECT_EQ(summary.runs[1].outcome, cpputil::LogRunOutcome::cancelled);
}

// Entries lost on a full disk are counted by the end of the run, with the system's reason.
TEST(Runs, EndRunCountsTheEntriesThisProcessLost) {
  TempDir const dir;
  std::string const folder = dir.file("small");
  std::filesystem::create_directory(folder);
  int const status = in_child([&folder] {
    if (mount_small_disk(folder, "64k")) return 77;
    std::string const log = folder + "/install.log";
    logger::Logger const destination(log);
    logger::begin_run({"Kestra Studio", "2027.1"});
    std::string const filler = folder + "/filler";
    std::FILE* const fill = std::fopen(filler.c_str(), "w");
    while (std::fputs(std::string(4096, 'x').c_str(), fill) >= 0 && std::fflush(fill) == 0) {
    }
    std::fclose(fill);
    for (int i = 0; i < 3; ++i) logger::append_message(std::string(9000, 'e'));
    std::remove(filler.c_str());
    logger::end_run(logger::RunOutcome::failed);
    auto const summary = cpputil::summarizeLog(path_of(log));
    bool const counted = summary.runs.size() == 1 && summary.runs[0].lost_entries == 3 &&
                         summary.runs[0].last_loss == "No space left on device";
    return counted ? 0 : 1;
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "no tmpfs may be mounted";
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

// Context, gaps and the run boundaries of a summary.
TEST(Summary, ContextGapsAndRuns) {
  TempDir const dir;
  std::string const log = dir.write(
      "install.log",
      "stray text before any entry\n"
      "(Nov 16, 2026 14:50:00) one\n(Nov 16, 2026 14:50:05) two\n(Nov 16, 2026 14:52:05) three\n"
      "(Nov 16, 2026 14:52:06) Error: four\n(Nov 16, 2026 14:52:36) five fails\n"
      "(Nov 16, 2026 14:52:36) Installation run started\nproduct: P\nversion: 1\n"
      "time zone: +01:00 CET\n(Nov 16, 2026 14:52:37) six\n");
  cpputil::LogSummaryOptions options;
  options.context = 3;
  options.gaps = 2;
  options.failure_words = std::vector<std::string>{"error", "fails"};
  auto const summary = cpputil::summarizeLog(path_of(log), options);
  EXPECT_EQ(summary.lines, 11U);
  EXPECT_EQ(summary.outside_lines, 1U);
  ASSERT_EQ(summary.runs.size(), 2U);
  auto const& first = summary.runs[0];
  EXPECT_EQ(first.first_line, 1U);  // the stray text joins the run that follows it
  EXPECT_EQ(first.last_line, 6U);
  EXPECT_EQ(first.entries, 5U);
  EXPECT_EQ(first.outcome, cpputil::LogRunOutcome::unfinished);
  ASSERT_TRUE(first.first_failure);
  EXPECT_EQ(first.first_failure->line, 5U);
  std::vector<std::uint64_t> context;
  for (auto const& quote : first.context) context.push_back(quote.line);
  EXPECT_EQ(context, (std::vector<std::uint64_t>{2, 3, 4}));
  EXPECT_EQ(first.failures.size(), 2U);
  ASSERT_EQ(first.gaps.size(), 2U);
  EXPECT_EQ(first.gaps[0].after_line, 3U);
  EXPECT_EQ(first.gaps[0].seconds, 120);
  EXPECT_EQ(first.gaps[1].after_line, 5U);
  EXPECT_EQ(first.gaps[1].seconds, 30);
  EXPECT_EQ(*first.duration_s, 156);
  auto const& second = summary.runs[1];
  EXPECT_EQ(second.first_line, 7U);
  EXPECT_EQ(second.start.product, "P");
  ASSERT_TRUE(second.start_utc);
  EXPECT_EQ(
      second.start_local->time_since_epoch().count() - second.start_utc->time_since_epoch().count(),
      3600);
}

TEST(Summary, UnreadableLogThrowsWithTheReason) {
  TempDir const dir;
  std::string const what = what_of<std::runtime_error>(
      [&dir] { (void)cpputil::summarizeLog(path_of(dir.file("missing.log"))); });
  EXPECT_EQ(what, "cannot read the log");
  try {
    (void)cpputil::summarizeLog(path_of(dir.path().string()));
    ADD_FAILURE() << "a folder was read";
  } catch (std::runtime_error const& error) {
    EXPECT_THROW(std::rethrow_if_nested(error), std::system_error);
  }
}

// A log of several blocks of the reader: entries that straddle a block's end, a line and a
// message longer than a block (the buffer grows), and runs whose first failure comes after its
// context was read, some across a block's end (the summary keeps it while the buffer moves).
// Each entry reads back as written.
TEST(Reader, EntriesAcrossBlocks) {
  std::vector<std::string> messages;
  for (std::size_t i = 0; i < 9000; ++i) {
    std::string message = "step " + std::to_string(i) + std::string(i * 7919 % 140, 'x');
    if (i % 97 == 95) message += " failed";
    if (i % 97 == 96) message = "Installation run ended: succeeded";
    if (i == 2522) message = "long line " + std::string(300'000, 'y');
    if (i == 4075)
      for (int line = 0; line < 400; ++line) message += "\n" + std::string(997, 'z');
    messages.push_back(message);
  }
  std::string text;
  for (std::string const& message : messages) text += "(Nov 16, 2026 14:50:09) " + message + "\n";
  TempDir const dir;
  std::string const log = dir.write("install.log", text);
  std::vector<std::string> read;
  for (auto const& entry : entries_of(log)) read.push_back(entry.message);
  EXPECT_TRUE(read == messages) << read.size() << " entries read";

  cpputil::LogSummaryOptions options;
  options.context = 90;
  auto const summary = cpputil::summarizeLog(path_of(log), options);
  EXPECT_EQ(summary.lines, messages.size() + 400);
  ASSERT_EQ(summary.runs.size(), messages.size() / 97 + 1);
  for (std::size_t r = 0; r < messages.size() / 97; ++r) {  // the last run has no failure
    auto const& run = summary.runs[r];
    ASSERT_EQ(run.context.size(), 90U) << "run " << r;
    for (std::size_t i = 0; i < 90; ++i)
      ASSERT_EQ(run.context[i].message, messages[r * 97 + 5 + i]) << "run " << r;
  }
}
