#pragma once

/// \file
/// The installation log read back: its entries one by one, and a summary of its runs for the
/// support engineer who reads the log of a failed installation.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fl/i18n.hpp"
#include "fl/path.hpp"
#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// What an entry of the installation log is. The library's notices are told by their fixed
/// texts; everything else with a time stamp is the installer's.
enum class LogEntryKind {
  installer,            ///< a message of the installer
  destination_switch,   ///< "Reset destination file log A to B"
  destination_failure,  ///< "Unable to create specified folder (or file) for installation log P"
  file_rule_failure,    ///< "Error reading file P", then "File 'P' does not exist or it's empty"
  launch_failure,       ///< "Unable to open U", with the opener's exit status when it had one
  file_copy,            ///< "Content of the file P", the file's lines, "End of the file P"
  run_start,            ///< the entry of logger::begin_run
  run_end,              ///< the entry of logger::end_run
  outside,              ///< text outside any entry (see LogEntry)
};

/// "installer", "destination-switch", "destination-failure", "file-rule-failure",
/// "launch-failure", "file-copy", "run-start", "run-end" or "outside".
[[nodiscard]] QX_CPPUTIL_API char const* toString(LogEntryKind kind) noexcept;

/// A framed copy of a file (logger::append_file, append_file_redacted).
struct LoggedFileCopy {
  /// The file's path, as the frame lines give it.
  std::string path;
  /// The bytes of the copied lines, each with its line feed.
  std::uint64_t bytes = 0;
  /// A value or list entry of the copy is the mask "********" (append_file_redacted).
  bool redacted = false;
  /// The content was withheld: its one line starts "Content withheld: ".
  bool withheld = false;
  /// False when the copy's last line "End of the file P" never came: the log ends first, or a
  /// line with a later time stamp than the copy's own starts the next entry (a write that
  /// failed part-way cut it short).
  bool complete = true;
};

/// What the entry of logger::begin_run says. A fact it does not give is empty.
struct LoggedRunStart {
  std::string product;  ///< as RunInfo gave it
  std::string version;  ///< as RunInfo gave it
  std::string process;  ///< the process id, in decimal
  std::string user;     ///< the user's login name
  std::string host;     ///< the host name
  std::string zone;     ///< the local time zone, "+09:00 JST"
  std::string log;      ///< the log's path
  /// The zone's offset from UTC, when `zone` starts with one (+HH:MM or -HH:MM).
  std::optional<std::chrono::seconds> utc_offset;
};

/// What the entry of logger::end_run says.
struct LoggedRunEnd {
  /// "succeeded", "failed" or "cancelled", as the entry says.
  std::string outcome;
  /// The run's duration in seconds, when the entry gives it.
  std::optional<double> duration_s;
  /// How many of the run's entries the process lost.
  std::uint64_t lost_entries = 0;
  /// The system's reason for the last of them; empty when none was lost.
  std::string last_loss;
};

/// One entry of the log, as LogReader gives it.
///
/// An entry starts at a line that begins with a time stamp, "(Nov 16, 2026 14:50:09) " (the
/// fixed format of the writer, read strictly), and takes the lines after it up to the next
/// such line: a message of several lines. A framed copy runs to its last line, whatever the
/// copied lines hold. Two entries make one failed file rule. Lines that belong to no entry are
/// an entry of kind `outside`: the lines before the first time stamp, the lines after a framed
/// copy's last line, and a line that holds only the start of a time stamp (a write that was
/// cut short), each with the lines that follow it up to the next entry.
struct LogEntry {
  /// The entry's first line, counted from 1.
  std::uint64_t line = 0;
  /// How many lines it takes.
  std::uint64_t line_count = 0;
  /// Its time as the log writes it, "Nov 16, 2026 14:50:09"; empty for `outside`.
  std::string time_text;
  /// That time, as the clock of the writing process showed it; none for `outside`.
  std::optional<std::chrono::local_seconds> local_time;
  /// The same time in UTC, when the run's start entry gave its zone.
  std::optional<std::chrono::sys_seconds> utc_time;
  /// The message: its lines without the time stamp, joined by line feeds (a carriage return
  /// before a line feed stays). For a failed file rule, both messages; for `outside`, the lines.
  std::string message;
  /// What it is.
  LogEntryKind kind = LogEntryKind::installer;
  /// What a notice names: the old destination of a switch, the folder or file that could not
  /// be made, the file of a failed rule, the URL that did not open; empty for other kinds.
  std::string subject;
  /// The new destination of a switch; the exit status of a failed launch ("" when it had none).
  std::string detail;
  /// For `file_copy`. The facts of the other kinds keep their defaults for an entry that is not
  /// of their kind (the reader resets them by the kind the entry had).
  LoggedFileCopy copy;
  /// For `run_start`.
  LoggedRunStart run_start;
  /// For `run_end`.
  LoggedRunEnd run_end;
};

/// Reads an installation log entry by entry, in one pass. It holds one entry (two for a failed
/// file rule) and a buffer of the longest line, never the file: a log of any size is read in
/// bounded memory. Bytes that are not UTF-8, NUL bytes, CR LF line ends and lines of any length
/// are read as they are; nothing in the text stops it before the end of the file.
class QX_CPPUTIL_API LogReader {
 public:
  /// Opens `path` as the platform's streams do (a regular file only; nothing blocks).
  explicit LogReader(fl::filesystem::basic_path const& path);
  ~LogReader();
  LogReader(LogReader const&) = delete;
  LogReader& operator=(LogReader const&) = delete;

  /// True when the file opened.
  [[nodiscard]] bool is_open() const noexcept;
  /// The errno of the open or of a read that failed; 0 while nothing failed.
  [[nodiscard]] int error() const noexcept;
  /// Puts the next entry into `entry` (its strings keep their capacity, so reading a log into
  /// one LogEntry allocates little) and returns true; false at the end of the file, after a read
  /// that failed (error() tells) and when the file did not open.
  bool next(LogEntry& entry);
  /// The lines read so far; at the end, the file's lines.
  [[nodiscard]] std::uint64_t lines() const noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

/// How a run ended, as its summary tells it.
enum class LogRunOutcome {
  succeeded,   ///< its end entry says so
  failed,      ///< its end entry says so
  cancelled,   ///< its end entry says so
  unfinished,  ///< it has no end entry: a crash, a kill, or a program that never calls end_run
};

/// "succeeded", "failed", "cancelled" or "unfinished".
[[nodiscard]] QX_CPPUTIL_API char const* toString(LogRunOutcome outcome) noexcept;

/// A line the summary quotes: where it is and what it says, secrets masked.
struct LogQuote {
  /// The line of the entry (its first line).
  std::uint64_t line = 0;
  /// Its message, with every secret found masked as "********"; cut after
  /// LogSummaryOptions::quote_bytes bytes (at a character's start), then " [... N bytes]".
  std::string message;
};

/// A failure of a run.
struct LogFailure {
  /// The entry's first line.
  std::uint64_t line = 0;
  /// Its message, as a LogQuote's.
  std::string message;
  /// A notice of the library (destination_failure, file_rule_failure, launch_failure), an end
  /// entry that says failed (run_end), or an installer entry that holds a failure word.
  LogEntryKind kind = LogEntryKind::installer;
};

/// A time between two consecutive entries of a run.
struct LogGap {
  /// The first line of the entry after which nothing was written for `seconds`.
  std::uint64_t after_line = 0;
  /// In whole seconds, as the time stamps give them.
  std::int64_t seconds = 0;
};

/// A file copied into the log.
struct LogCopiedFile {
  std::uint64_t line = 0;  ///< the first line of the copy
  LoggedFileCopy copy;     ///< what it copied
};

/// A secret found in the log. It never holds the secret itself.
struct LogLeak {
  /// The line that holds it.
  std::uint64_t line = 0;
  /// The secret key it belongs to, as LogSummaryOptions gave it.
  std::string key;
};

/// One run: from its start entry (or the file's start, or the end of the previous run) to its
/// end entry (or the entry before the next start, or the file's end).
struct LogRunSummary {
  /// The first line of the run's entries.
  std::uint64_t first_line = 0;
  /// The last line of the run's entries.
  std::uint64_t last_line = 0;
  /// Its time-stamped entries, a failed file rule counted once.
  std::uint64_t entries = 0;
  /// The time of its first entry, as the log writes it.
  std::string start_text;
  /// The time of its last entry, as the log writes it.
  std::string end_text;
  /// start_text read, as local time.
  std::optional<std::chrono::local_seconds> start_local;
  /// end_text read, as local time.
  std::optional<std::chrono::local_seconds> end_local;
  /// start_text in UTC, when the start entry gave the zone.
  std::optional<std::chrono::sys_seconds> start_utc;
  /// end_text in UTC, when the start entry gave the zone.
  std::optional<std::chrono::sys_seconds> end_utc;
  /// The end entry's duration; else the time from the first entry to the last.
  std::optional<double> duration_s;
  /// How it ended.
  LogRunOutcome outcome = LogRunOutcome::unfinished;
  /// What the start entry says (all empty without one).
  LoggedRunStart start;
  /// How many entries the end entry says were lost (0 without one).
  std::uint64_t lost_entries = 0;
  /// The reason of the last loss the end entry gives ("" without one).
  std::string last_loss;
  /// The first failure.
  std::optional<LogFailure> first_failure;
  /// The entries before the first failure (at most LogSummaryOptions::context, oldest first,
  /// within the run).
  std::vector<LogQuote> context;
  /// Every failure, the first included, in log order.
  std::vector<LogFailure> failures;
  /// The longest gaps between consecutive entries, longest first (ties: earlier first).
  std::vector<LogGap> gaps;
  /// The files copied in, in log order.
  std::vector<LogCopiedFile> files;
  /// The secrets found, in line order.
  std::vector<LogLeak> leaks;
};

/// A log's runs, in file order.
struct LogSummary {
  /// Each run, in file order.
  std::vector<LogRunSummary> runs;
  /// The lines of the file.
  std::uint64_t lines = 0;
  /// Lines outside any entry (LogEntry, kind `outside`).
  std::uint64_t outside_lines = 0;
};

/// What summarizeLog looks for.
struct LogSummaryOptions {
  /// The words and phrases that make an installer entry a failure, matched as whole words in
  /// any ASCII case (a phrase: its words separated by blanks or tabs); none given: the default
  /// list (defaultLogFailureWords).
  std::optional<std::vector<std::string>> failure_words;
  /// Secret keys: a line outside a redacted copy where one of them (a whole word, any case) is
  /// followed by '=' or ':' and a value other than the mask "********" leaks it.
  std::vector<std::string> secret_keys;
  /// An installer input file whose values of the secret keys are the secrets: every line that
  /// holds one (4 bytes or longer; shorter ones would match ordinary text) leaks it. Empty: none.
  ustring answer_file;
  /// How many entries before the first failure are quoted.
  std::size_t context = 5;
  /// How many of the longest gaps are kept.
  std::size_t gaps = 3;
  /// How much of a message a quote keeps.
  std::size_t quote_bytes = 1000;
};

/// error, failed, failure, cannot, can't, unable, exception, fatal, denied, not found.
[[nodiscard]] QX_CPPUTIL_API std::vector<std::string> const& defaultLogFailureWords();

/// Reads the log at `path` in one pass and summarises each run: its times, outcome, product,
/// failures (the first with the entries before it), longest gaps, copied files and leaked
/// secrets. Memory grows with what it reports, not with the file. Throws std::runtime_error
/// "cannot read the log" (the system's reason nested) when the log cannot be read, and what
/// InputFileParser::parse throws for an answer file that cannot be.
[[nodiscard]] QX_CPPUTIL_API LogSummary summarizeLog(fl::filesystem::basic_path const& path,
                                                     LogSummaryOptions const& options = {});

}  // namespace install::cpputil
