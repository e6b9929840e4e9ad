// summarizeLog: one pass of the reader over a log, each run summarised as its entries come.
#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <variant>

#include "fl/filesystem.hpp"
#include "inputfile/input_lines.hpp"
#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/log_reader.hpp"
#include "logger/failure_words.hpp"
#include "logger/log_secrets.hpp"
#include "logger/log_text.hpp"

namespace install::cpputil {
namespace {

using log_text::Secrets;

// The values of the secret keys in the answer file: the secrets a line must not hold.
std::vector<std::pair<std::string, std::string>> secret_values(LogSummaryOptions const& options) {
  std::vector<std::pair<std::string, std::string>> values;
  if (options.answer_file.empty() || options.secret_keys.empty()) return values;
  PropertyMap const answers = InputFileParser().parse(options.answer_file);
  auto const add = [&values](ustring const& value, std::string const& key) {
    std::string text = fl::i18n::ustring_to_utf8(value);
    // Shorter values would be found in ordinary text; the mask is no secret.
    if (text.size() >= 4 && text != log_text::secret_mask)
      values.emplace_back(std::move(text), key);
  };
  for (std::string const& key : options.secret_keys) {
    auto const found = answers.find(fl::i18n::utf8_to_ustring(input_lines::key_of(key)));
    if (found == answers.end()) continue;
    if (auto const* single = std::get_if<ustring>(&found->second)) {
      add(*single, key);
    } else {
      for (ustring const& entry : std::get<std::vector<ustring>>(found->second)) add(entry, key);
    }
  }
  return values;
}

// The matcher of `list`: made once per thread for the list last asked for, since a fleet of
// logs is summarised with the same words.
log_text::FailureWords const& failure_words(std::vector<std::string> const& list) {
  thread_local std::vector<std::string> made_for;
  thread_local std::optional<log_text::FailureWords> made;
  if (!made || made_for != list) {
    made.emplace(list);
    made_for = list;
  }
  return *made;
}

LogRunOutcome outcome_of(std::string_view text) {
  if (text == "succeeded") return LogRunOutcome::succeeded;
  if (text == "cancelled") return LogRunOutcome::cancelled;
  return LogRunOutcome::failed;  // an end entry that says anything else did not succeed
}

bool reports_failure(log_text::ScannedEntry const& entry, log_text::EntryScanner const& scanner) {
  switch (entry.kind) {
    case LogEntryKind::destination_failure:
    case LogEntryKind::file_rule_failure:
    case LogEntryKind::launch_failure:
      return true;
    case LogEntryKind::run_end:
      return outcome_of(scanner.run_end().outcome) == LogRunOutcome::failed;
    case LogEntryKind::installer:
      return scanner.holds_failure_word(entry);
    default:
      return false;
  }
}

[[noreturn]] void cannot_read(std::error_code error) {
  try {
    throw std::system_error(error);
  } catch (...) {
    std::throw_with_nested(std::runtime_error("cannot read the log"));
  }
}

// The summary of one run as its entries come.
class RunBuilder {
 public:
  RunBuilder(LogSummaryOptions const& options, Secrets const& secrets)
      : options_(options), secrets_(secrets) {
    keep_ = options.quote_bytes + secrets.longest_value() + 1;
  }

  [[nodiscard]] bool open() const noexcept { return open_; }
  [[nodiscard]] std::uint64_t entries() const noexcept { return run_.entries; }

  void start(std::uint64_t line) {
    run_ = LogRunSummary{};
    run_.first_line = line;
    open_ = true;
    ring_.clear();
    ring_next_ = 0;
    previous_time_.reset();
  }

  LogRunSummary finish() {
    open_ = false;
    if (run_.end_local) run_.end_text.assign(end_text_.data(), end_text_.size());
    if (!run_.duration_s && run_.start_local && run_.end_local)
      run_.duration_s = static_cast<double>((*run_.end_local - *run_.start_local).count());
    return std::move(run_);
  }

  // Adds an entry; `failure` when it reports one. Its message is kept as a view until pin().
  void add(log_text::ScannedEntry const& entry, log_text::EntryScanner const& scanner,
           bool failure) {
    run_.last_line = entry.line + entry.line_count - 1;
    if (entry.kind != LogEntryKind::outside) note_time(entry);
    switch (entry.kind) {
      case LogEntryKind::run_start:
        run_.start = scanner.run_start();
        break;
      case LogEntryKind::run_end: {
        LoggedRunEnd const& end = scanner.run_end();
        run_.outcome = outcome_of(end.outcome);
        run_.duration_s = end.duration_s;
        run_.lost_entries = end.lost_entries;
        run_.last_loss = end.last_loss;
        break;
      }
      case LogEntryKind::file_copy:
        run_.files.push_back({entry.line, scanner.copy()});
        break;
      default:
        break;
    }
    if (failure) {
      LogFailure found{entry.line, quote(entry.message, entry.message.size()), entry.kind};
      if (!run_.first_failure) {
        run_.first_failure = found;
        std::size_t const held = ring_.size();
        for (std::size_t i = 0; i < held; ++i) {
          Held const& before = ring_[(ring_next_ + i) % held];
          run_.context.push_back({before.line, quote(before.message(), before.size)});
        }
        ring_.clear();
      }
      run_.failures.push_back(std::move(found));
    }
    if (!secrets_.empty())
      find_leaks(entry, entry.kind == LogEntryKind::file_copy && scanner.copy().redacted);
    if (!failure && !run_.first_failure && options_.context > 0) hold(entry);
  }

  // Copies what the entries held before a failure view: the scanner is about to move them.
  void pin() {
    for (Held& held : ring_) {
      if (held.pinned) continue;
      held.owned.assign(held.text.substr(0, keep_));
      held.pinned = true;
    }
  }

 private:
  struct Held {
    std::uint64_t line = 0;
    std::string_view text;  // the message in the scanner's buffer, until pinned
    std::string owned;      // once pinned, as much of the message as a quote keeps
    bool pinned = false;
    std::size_t size = 0;  // the whole message's

    // (Held objects move within the ring: a view of `owned` would not follow.)
    [[nodiscard]] std::string_view message() const noexcept {
      return pinned ? std::string_view(owned) : text;
    }
  };

  void note_time(log_text::ScannedEntry const& entry) {
    ++run_.entries;
    if (!run_.start_local) {
      run_.start_text = entry.time_text;
      run_.start_local = entry.local_time;
      run_.start_utc = entry.utc_time;
    }
    if (run_.end_local != entry.local_time)  // once a second; a string only when the run ends
      std::memcpy(end_text_.data(), entry.time_text.data(), end_text_.size());
    run_.end_local = entry.local_time;
    run_.end_utc = entry.utc_time;
    // Gaps in UTC where the run gave its zone: a change of daylight saving time is no gap.
    std::int64_t const now = entry.utc_time ? entry.utc_time->time_since_epoch().count()
                                            : entry.local_time->time_since_epoch().count();
    if (previous_time_ && now > *previous_time_ && options_.gaps > 0) {
      LogGap const gap{previous_line_, now - *previous_time_};
      auto& gaps = run_.gaps;
      if (gaps.size() < options_.gaps || gap.seconds > gaps.back().seconds) {
        auto const at = std::upper_bound(gaps.begin(), gaps.end(), gap,
                                         [](auto& a, auto& b) { return a.seconds > b.seconds; });
        gaps.insert(at, gap);
        if (gaps.size() > options_.gaps) gaps.pop_back();
      }
    }
    previous_time_ = now;
    previous_line_ = entry.line;
  }

  // Keeps the entry among the last `context` before a failure: a view of its message, copied
  // only when the scanner moves its bytes.
  void hold(log_text::ScannedEntry const& entry) {
    Held* slot = nullptr;
    if (ring_.size() < options_.context) {
      slot = &ring_.emplace_back();  // the oldest stays first until the ring is full
    } else {
      slot = &ring_[ring_next_];
      if (++ring_next_ == ring_.size()) ring_next_ = 0;
    }
    slot->line = entry.line;
    slot->size = entry.message.size();
    slot->text = entry.message;
    slot->pinned = false;
  }

  // `text` (the first bytes of a message of `size` bytes) masked and cut for a quote.
  [[nodiscard]] std::string quote(std::string_view text, std::size_t size) const {
    std::string quoted = secrets_.empty() ? std::string(text.substr(0, keep_))
                                          : secrets_.mask(text.substr(0, keep_));
    if (quoted.size() <= options_.quote_bytes && size <= text.size()) return quoted;
    std::size_t cut = std::min(options_.quote_bytes, quoted.size());
    while (cut > 0 && (static_cast<unsigned char>(quoted[cut]) & 0xC0) == 0x80) --cut;
    quoted.resize(cut);
    quoted += " [... " + std::to_string(size) + " bytes]";
    return quoted;
  }

  void find_leaks(log_text::ScannedEntry const& entry, bool redacted_copy) {
    // Inside a redacted copy a key's value is the mask or the copy's own business; values are
    // looked for on every line.
    bool const by_key = !redacted_copy;
    std::uint64_t line = entry.line;
    log_text::for_each_line(entry.message, [&](std::string_view text) {
      secrets_.scan(text, by_key, leaked_);
      for (std::size_t const k : leaked_) run_.leaks.push_back({line, secrets_.key(k)});
      ++line;
    });
  }

  LogSummaryOptions const& options_;
  Secrets const& secrets_;
  std::size_t keep_ = 0;
  LogRunSummary run_;
  bool open_ = false;
  std::vector<Held> ring_;
  std::size_t ring_next_ = 0;  // the oldest held entry once the ring is full
  std::array<char, log_text::stamp_size - 3> end_text_{};  // the last entry's time text
  std::optional<std::int64_t> previous_time_;
  std::uint64_t previous_line_ = 0;
  std::vector<std::size_t> leaked_;
};

}  // namespace

char const* toString(LogRunOutcome outcome) noexcept {
  switch (outcome) {
    case LogRunOutcome::succeeded:
      return "succeeded";
    case LogRunOutcome::failed:
      return "failed";
    case LogRunOutcome::cancelled:
      return "cancelled";
    case LogRunOutcome::unfinished:
      return "unfinished";
  }
  return "unfinished";
}

std::vector<std::string> const& defaultLogFailureWords() {
  static std::vector<std::string> const words = {"error",  "failed",   "failure",   "cannot",
                                                 "can't",  "unable",   "exception", "fatal",
                                                 "denied", "not found"};
  return words;
}

LogSummary summarizeLog(fl::filesystem::basic_path const& path, LogSummaryOptions const& options) {
  log_text::FailureWords const& words =
      failure_words(options.failure_words ? *options.failure_words : defaultLogFailureWords());
  Secrets const secrets(options.secret_keys, secret_values(options));
  log_text::EntryScanner scanner(path, &words);
  if (!scanner.is_open()) cannot_read(scanner.error());

  LogSummary summary;
  RunBuilder run(options, secrets);
  scanner.on_move([&run] { run.pin(); });
  log_text::ScannedEntry entry;
  while (scanner.next(entry)) {
    bool const outside = entry.kind == LogEntryKind::outside;
    if (outside) summary.outside_lines += entry.line_count;
    // A run starts at its start entry, unless only text outside any entry came before it in
    // the run: then that text joins it.
    if (entry.kind == LogEntryKind::run_start && run.open() && run.entries() > 0)
      summary.runs.push_back(run.finish());
    if (!run.open()) run.start(entry.line);
    run.add(entry, scanner, !outside && reports_failure(entry, scanner));
    if (entry.kind == LogEntryKind::run_end) summary.runs.push_back(run.finish());
  }
  if (scanner.error()) cannot_read(scanner.error());
  if (run.open()) summary.runs.push_back(run.finish());
  summary.lines = scanner.lines();
  return summary;
}

}  // namespace install::cpputil
