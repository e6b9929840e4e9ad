#include "install/cpputil/log_reader.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "fl/filesystem.hpp"
#include "install/cpputil/logger.hpp"
#include "logger/byte_lanes.hpp"
#include "logger/failure_words.hpp"
#include "logger/log_text.hpp"

namespace install::cpputil {
namespace {

using namespace std::string_view_literals;
using std::chrono::local_seconds;

constexpr std::array<std::string_view, 12> month_names = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// The stamp "(Mmm DD, YYYY HH:MM:SS) " by the class of each byte: 'A' an upper-case and 'a' a
// lower-case letter, '9' a digit, anything else itself.
constexpr std::string_view stamp_shape = "(Aaa 99, 9999 99:99:99) ";

bool fits_shape(char c, char shape) {
  switch (shape) {
    case 'A':
      return c >= 'A' && c <= 'Z';
    case 'a':
      return c >= 'a' && c <= 'z';
    case '9':
      return c >= '0' && c <= '9';
    default:
      return c == shape;
  }
}

int two_digits(char const* at) {
  return (at[0] - '0') * 10 + (at[1] - '0');
}

// The message prefix a library notice starts with, by its kind.
constexpr std::string_view switch_prefix = "Reset destination file log ";
constexpr std::string_view folder_failure_prefix =
    "Unable to create specified folder for installation log ";
constexpr std::string_view file_failure_prefix =
    "Unable to create specified file for installation log ";
constexpr std::string_view rule_failure_prefix = "Error reading file ";
constexpr std::string_view launch_failure_prefix = "Unable to open ";
constexpr std::string_view copy_header = "Content of the file ";
constexpr std::string_view copy_footer = "End of the file ";
constexpr std::string_view withheld_prefix = "Content withheld: ";
constexpr std::string_view run_started = "Installation run started";
constexpr std::string_view run_ended = "Installation run ended: ";

std::string_view first_line(std::string_view text) {
  return text.substr(0, text.find('\n'));
}

// "+09:00" (or "-05:30", "+0900") at the start of `zone` as an offset from UTC.
std::optional<std::chrono::seconds> zone_offset(std::string_view zone) {
  if (zone.size() < 5 || (zone[0] != '+' && zone[0] != '-')) return std::nullopt;
  std::string_view digits = zone.substr(1);
  for (std::size_t i = 0; i < 2; ++i)
    if (!fits_shape(digits[i], '9')) return std::nullopt;
  std::size_t minutes_at = digits[2] == ':' ? 3 : 2;
  if (digits.size() < minutes_at + 2 || !fits_shape(digits[minutes_at], '9') ||
      !fits_shape(digits[minutes_at + 1], '9'))
    return std::nullopt;
  int const hours = two_digits(digits.data());
  int const minutes = two_digits(digits.data() + minutes_at);
  if (hours > 23 || minutes > 59) return std::nullopt;
  std::chrono::seconds const offset = std::chrono::hours(hours) + std::chrono::minutes(minutes);
  return zone[0] == '-' ? -offset : offset;
}

std::uint64_t decimal(std::string_view text) {
  std::uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

// "12.345" as end_run writes a duration: whole seconds, a '.', and digits of a fraction (the
// C++ libraries of some systems read no floating-point number with from_chars).
std::optional<double> seconds_of(std::string_view text) {
  std::size_t const point = text.find('.');
  std::string_view const whole = text.substr(0, point);
  std::string_view const fraction =
      point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
  auto const digits = [](std::string_view part) {
    return part.size() <= 15 &&
           std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; });
  };
  if (whole.empty() || !digits(whole) || !digits(fraction)) return std::nullopt;
  return static_cast<double>(decimal(whole)) +
         static_cast<double>(decimal(fraction)) / std::pow(10.0, fraction.size());
}

// A line of a redacted copy whose value (or list entry) is the mask: what
// append_file_redacted writes is the line up to its value, the mask, then the line's end.
bool is_masked_line(std::string_view line) {
  constexpr std::string_view mask = "********";
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t'))
    line.remove_suffix(1);
  if (!line.ends_with(mask)) return false;
  line.remove_suffix(mask.size());
  while (!line.empty() && (line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
  return !line.empty() && (line.back() == '=' || line.back() == '.');
}

}  // namespace

bool log_text::StampReader::read_date(std::string_view line) noexcept {
  char const* const text = line.data();
  if (text[4] != ' ' || text[7] != ',' || text[8] != ' ') return false;
  for (std::size_t const at : {5, 6, 9, 10, 11, 12})
    if (static_cast<unsigned char>(text[at] - '0') > 9) return false;
  std::string_view const name = line.substr(1, 3);
  unsigned month = 0;
  while (month < month_names.size() && month_names[month] != name) ++month;
  if (month == month_names.size()) return false;
  int const year = two_digits(text + 9) * 100 + two_digits(text + 11);
  std::chrono::year_month_day const date{
      std::chrono::year(year), std::chrono::month(month + 1),
      std::chrono::day(static_cast<unsigned>(two_digits(text + 5)))};
  if (!date.ok()) return false;
  days_ = std::chrono::local_days(date);
  std::memcpy(&head_, text + 1, sizeof head_);
  std::memcpy(&tail_, text + 1 + sizeof head_, sizeof tail_);
  have_date_ = true;
  return true;
}

bool log_text::is_cut_stamp(std::string_view line) noexcept {
  if (line.size() < 2 || line.size() >= stamp_size) return false;
  for (std::size_t i = 0; i < line.size(); ++i)
    if (!fits_shape(line[i], stamp_shape[i])) return false;
  std::string_view const name = line.substr(1, std::min<std::size_t>(3, line.size() - 1));
  for (std::string_view const month : month_names)
    if (month.starts_with(name)) return true;
  return false;
}

char const* toString(LogEntryKind kind) noexcept {
  switch (kind) {
    case LogEntryKind::installer:
      return "installer";
    case LogEntryKind::destination_switch:
      return "destination-switch";
    case LogEntryKind::destination_failure:
      return "destination-failure";
    case LogEntryKind::file_rule_failure:
      return "file-rule-failure";
    case LogEntryKind::launch_failure:
      return "launch-failure";
    case LogEntryKind::file_copy:
      return "file-copy";
    case LogEntryKind::run_start:
      return "run-start";
    case LogEntryKind::run_end:
      return "run-end";
    case LogEntryKind::outside:
      return "outside";
  }
  return "installer";
}

void log_text::read_run_start(std::string_view message, LoggedRunStart& start) {
  log_text::for_each_line(message, [&start](std::string_view line) {
    std::size_t const colon = line.find(": ");
    if (colon == std::string_view::npos) return;
    std::string_view const name = line.substr(0, colon);
    std::string_view const value = line.substr(colon + 2);
    for (auto [fact, text] : {std::pair{"product", &start.product},
                              {"version", &start.version},
                              {"process", &start.process},
                              {"user", &start.user},
                              {"host", &start.host},
                              {"time zone", &start.zone},
                              {"log", &start.log}})
      if (name == fact) *text = value;
  });
  start.utc_offset = zone_offset(start.zone);
}

void log_text::read_run_end(std::string_view message, LoggedRunEnd& end) {
  bool first = true;
  log_text::for_each_line(message, [&end, &first](std::string_view line) {
    if (std::exchange(first, false)) {
      end.outcome = line.substr(run_ended.size());
    } else if (line.starts_with("duration: ")) {
      line.remove_prefix("duration: "sv.size());
      end.duration_s = seconds_of(line.substr(0, line.find(' ')));
    } else if (line.starts_with("lost entries: ")) {
      line.remove_prefix("lost entries: "sv.size());
      end.lost_entries = decimal(line);
      if (std::size_t const reason = line.find(", the last: "); reason != std::string_view::npos)
        end.last_loss = line.substr(reason + ", the last: "sv.size());
    }
  });
}

namespace {

// The kind of a time-stamped entry that is no copy, by its message.
LogEntryKind kind_of(std::string_view message) noexcept {
  switch (message.empty() ? '\0' : message[0]) {
    case 'R':
      if (message.starts_with(switch_prefix) &&
          message.find(" to ", switch_prefix.size()) != std::string_view::npos)
        return LogEntryKind::destination_switch;
      return LogEntryKind::installer;
    case 'U':
      if (message.starts_with(folder_failure_prefix) || message.starts_with(file_failure_prefix))
        return LogEntryKind::destination_failure;
      if (message.starts_with(launch_failure_prefix)) return LogEntryKind::launch_failure;
      return LogEntryKind::installer;
    case 'I':
      if (first_line(message) == run_started) return LogEntryKind::run_start;
      if (message.starts_with(run_ended)) return LogEntryKind::run_end;
      return LogEntryKind::installer;
    default:
      return LogEntryKind::installer;
  }
}

// The second entry of a failed file rule: "File 'P' does not exist or it's empty".
constexpr std::string_view rule_opening = "File '";
constexpr std::string_view rule_closing = "' does not exist or it's empty";

// What a notice names, in `subject` and `detail`, read from its message.
void describe(LogEntry& entry) {
  std::string_view const message = entry.message;
  auto const rest = [&](std::string_view prefix) { return message.substr(prefix.size()); };
  switch (entry.kind) {
    case LogEntryKind::destination_switch: {
      std::string_view const names = rest(switch_prefix);
      std::size_t const to = names.find(" to ");
      entry.subject = names.substr(0, to);
      entry.detail = names.substr(to + 4);
      return;
    }
    case LogEntryKind::destination_failure:
      entry.subject = rest(message.starts_with(folder_failure_prefix) ? folder_failure_prefix
                                                                      : file_failure_prefix);
      return;
    case LogEntryKind::file_rule_failure: {
      // "Error reading file P\nFile 'P' does not exist or it's empty": P twice.
      std::size_t const twice = message.size() - rule_failure_prefix.size() - 1 -
                                rule_opening.size() - rule_closing.size();
      entry.subject = message.substr(rule_failure_prefix.size(), twice / 2);
      return;
    }
    case LogEntryKind::launch_failure: {
      std::string_view url = rest(launch_failure_prefix);
      // The opener's exit status follows the URL after a blank; a URL holds none.
      if (std::size_t const blank = url.rfind(' '); blank != std::string_view::npos) {
        std::string_view const status = url.substr(blank + 1);
        std::string_view const digits = status.starts_with('-') ? status.substr(1) : status;
        if (!digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos) {
          entry.detail = status;
          url = url.substr(0, blank);
        }
      }
      entry.subject = url;
      return;
    }
    default:
      return;
  }
}

}  // namespace

log_text::EntryScanner::EntryScanner(fl::filesystem::basic_path const& path,
                                     FailureWords const* words)
    : blocks_(path, 128 * 1024),
      words_(words),
      marks_words_(words != nullptr && words->can_mark()) {}

log_text::EntryScanner::~EntryScanner() = default;

bool log_text::EntryScanner::is_open() const noexcept {
  return blocks_.is_open();
}

std::error_code log_text::EntryScanner::error() const noexcept {
  return blocks_.error();
}

// Makes room and reads on. The bytes from keep_ on stay; those before it, which the entries
// handed out view, are dropped, and every byte may move: whoever keeps views is told first.
void log_text::EntryScanner::refill() {
  auto const drop = static_cast<std::size_t>(keep_ - base_);
  std::size_t const held = blocks_.size() - drop;
  if (pin_) pin_();
  blocks_.read_more(drop);
  base_ = keep_;
  std::size_t from = drop > 0 ? 0 : held;  // the bytes that did not move are marked already
  if (blocks_.capacity() / 64 + 1 > bit_words_) {
    bit_words_ = blocks_.capacity() / 64 + 1;
    feeds_ = std::make_unique_for_overwrite<std::uint64_t[]>(bit_words_);
    if (marks_words_) starts_ = std::make_unique_for_overwrite<std::uint64_t[]>(bit_words_);
    from = 0;
  }
  mark(from);
}

// Marks the bytes from `from` on (from the start of its 64-byte block).
void log_text::EntryScanner::mark(std::size_t from) {
  std::size_t const start = from / 64 * 64;
  auto const* const data = reinterpret_cast<unsigned char const*>(blocks_.data());
  mark_block(data + start, blocks_.size() - start, start > 0 && is_word_byte(data[start - 1]),
             marks_words_ ? &words_->word_starts() : nullptr, feeds_.get() + start / 64,
             marks_words_ ? starts_.get() + start / 64 : nullptr);
}

bool log_text::EntryScanner::holds_unmarked_word(std::string_view message) const {
  return words_->matches(message);
}

bool log_text::EntryScanner::holds_marked_word(std::string_view message, std::size_t offset) const {
  return words_->matches_marked(message, starts_.get(), offset);
}

bool log_text::EntryScanner::read_line_end(std::uint64_t at, std::uint64_t& end) {
  for (std::uint64_t scanned = base_ + blocks_.size();; scanned = base_ + blocks_.size()) {
    if (blocks_.drained()) {
      end = scanned;  // the last line, without a line feed
      return at < end;
    }
    refill();
    std::size_t const feed =
        next_bit(feeds_.get(), static_cast<std::size_t>(scanned - base_), blocks_.size());
    if (feed < blocks_.size()) {
      end = base_ + feed;
      return true;
    }
  }
}

[[gnu::always_inline]] inline void log_text::EntryScanner::consume(std::uint64_t end) noexcept {
  ++lines_;
  at_ = end < base_ + blocks_.size() ? end + 1 : end;
}

// Ends the entry at the line to scan next: its message runs up to its last line feed.
[[gnu::always_inline]] inline void log_text::EntryScanner::close(Raw& raw) const noexcept {
  raw.end = at_;
  raw.message = raw.time ? raw.begin + stamp_size : raw.begin;
  raw.message_end = raw.end;
  if (raw.message_end > raw.message && blocks_.data()[raw.message_end - 1 - base_] == '\n')
    --raw.message_end;
  raw.line_count = lines_ - raw.line + 1;
}

[[gnu::always_inline]] inline bool log_text::EntryScanner::scan(Raw& raw) {
  std::uint64_t end = at_end_;
  if (!at_parsed_ && !line_end(at_, end)) return false;
  raw.begin = at_;
  raw.line = lines_ + 1;
  raw.time = at_parsed_ ? at_time_ : stamps_.parse(view(at_, end));
  at_parsed_ = false;
  consume(end);
  std::string_view const first = raw.time ? view(raw.begin + stamp_size, end) : std::string_view();
  if (first.starts_with('C') && first.starts_with(copy_header)) {
    scan_copy(raw, first.substr(copy_header.size()));
    close(raw);
  } else {
    scan_message();
    close(raw);
    raw.kind = raw.time ? kind_of(message_of(raw)) : LogEntryKind::outside;
  }
  return true;
}

// The lines up to the next that starts an entry: a time stamp, or a stamp cut short.
[[gnu::always_inline]] inline void log_text::EntryScanner::scan_message() {
  std::uint64_t end = 0;
  while (line_end(at_, end)) {
    std::string_view const line = view(at_, end);
    at_time_ = stamps_.parse(line);
    if (at_time_ || is_cut_stamp(line)) {
      at_parsed_ = true;
      at_end_ = end;
      return;
    }
    consume(end);
  }
}

// A framed copy runs to its last line, whatever the copied lines look like, unless a line with
// a later time than the copy's own shows that the copy was cut short.
void log_text::EntryScanner::scan_copy(Raw& raw, std::string_view path) {
  raw.kind = LogEntryKind::file_copy;
  copy_.path.assign(path);  // the buffer may move while the copy is read
  copy_.bytes = 0;
  copy_.redacted = copy_.withheld = copy_.complete = false;
  bool first = true;
  std::uint64_t end = 0;
  while (line_end(at_, end)) {
    std::string_view const line = view(at_, end);
    if (line.starts_with(copy_footer) && line.substr(copy_footer.size()) == copy_.path) {
      copy_.complete = true;
      consume(end);
      return;
    }
    if (std::optional<local_seconds> const next = stamps_.parse(line); next && *next > *raw.time) {
      at_time_ = next;
      at_parsed_ = true;
      at_end_ = end;
      return;
    }
    copy_.withheld = first && line.starts_with(withheld_prefix);
    first = false;
    copy_.redacted = copy_.redacted || is_masked_line(line);
    copy_.bytes += line.size() + 1;
    consume(end);
  }
}

[[gnu::always_inline]] inline void log_text::EntryScanner::hand_out(Raw const& raw,
                                                                    ScannedEntry& entry) {
  entry.line = raw.line;
  entry.line_count = raw.line_count;
  entry.kind = raw.kind;
  entry.local_time = raw.time;
  entry.time_text = raw.time ? view(raw.begin + 1, raw.begin + stamp_size - 2) : std::string_view();
  entry.message = message_of(raw);
  lines_out_ = raw.line + raw.line_count - 1;
  if (raw.kind == LogEntryKind::run_start) {
    run_start_ = {};
    read_run_start(entry.message, run_start_);
    zone_ = run_start_.utc_offset;
  }
  entry.utc_time.reset();
  if (zone_ && raw.time)
    entry.utc_time = std::chrono::sys_seconds((*raw.time - *zone_).time_since_epoch());
  if (raw.kind == LogEntryKind::run_end) {
    run_end_ = {};
    read_run_end(entry.message, run_end_);
    zone_.reset();
  }
}

namespace {

// Whether a message that starts at `text` (eight bytes readable) may be a notice of the library,
// a copy or a run's start or end: by its first eight bytes, which tell them from most others.
bool may_be_special(char const* text) noexcept {
  auto const head = [](std::string_view prefix) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, prefix.data(), sizeof bytes);
    return bytes;
  };
  static std::array<std::uint64_t, 5> const heads = {
      head(copy_header), head(run_started), head(switch_prefix), head(launch_failure_prefix),
      head(rule_failure_prefix)};
  static_assert(folder_failure_prefix.starts_with("Unable t") &&
                file_failure_prefix.starts_with("Unable t") && run_ended.starts_with("Installa"));
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, text, sizeof bytes);
  return std::find(heads.begin(), heads.end(), bytes) != heads.end();
}

}  // namespace

// The common entry without the general steps: a line with a time stamp, whose message starts
// like no special entry, followed by a line with a time stamp, both in the buffer. False, with
// nothing changed, for any other entry.
[[gnu::always_inline]] inline bool log_text::EntryScanner::quick(ScannedEntry& entry) {
  if (has_ahead_ || !at_parsed_ || !at_time_) return false;
  char const* const data = blocks_.data();
  auto const begin = static_cast<std::size_t>(at_ - base_);
  auto const end = static_cast<std::size_t>(at_end_ - base_);
  std::size_t const held = blocks_.size();
  if (end >= held || may_be_special(data + begin + stamp_size)) return false;
  std::size_t const next = end + 1;
  std::size_t const next_end = next_bit(feeds_.get(), next, held);
  if (next_end == held) return false;
  std::optional<local_seconds> const time = stamps_.parse({data + next, next_end - next});
  if (!time) return false;
  entry.line = lines_out_ = ++lines_;
  entry.line_count = 1;
  entry.kind = LogEntryKind::installer;
  entry.local_time = at_time_;
  entry.utc_time.reset();
  if (zone_) entry.utc_time = std::chrono::sys_seconds((*at_time_ - *zone_).time_since_epoch());
  entry.time_text = {data + begin + 1, stamp_size - 3};
  entry.message = {data + begin + stamp_size, end - begin - stamp_size};
  at_ = base_ + next;
  at_end_ = base_ + next_end;
  at_time_ = time;
  return true;
}

bool log_text::EntryScanner::next(ScannedEntry& entry) {
  if (quick(entry)) return true;
  Raw raw;
  if (has_ahead_) {
    raw = ahead_;
    has_ahead_ = false;
  } else {
    keep_ = at_;
    if (!scan(raw)) return false;
  }
  // A failed file rule is two entries: "Error reading file P", then "File 'P' does not exist or
  // it's empty". The second joins the first when it follows it.
  if (raw.kind == LogEntryKind::installer && message_of(raw).starts_with('E') &&
      message_of(raw).starts_with(rule_failure_prefix)) {
    keep_ = raw.begin;
    if (scan(ahead_)) {
      has_ahead_ = true;
      std::string_view const first = message_of(raw);  // the buffer may have moved
      std::string_view const path = first.substr(rule_failure_prefix.size());
      std::string_view const second = message_of(ahead_);
      if (ahead_.kind == LogEntryKind::installer &&
          second.size() == rule_opening.size() + path.size() + rule_closing.size() &&
          second.starts_with(rule_opening) && second.ends_with(rule_closing) &&
          second.substr(rule_opening.size(), path.size()) == path) {
        has_ahead_ = false;
        joined_.assign(first);
        joined_ += '\n';
        joined_ += second;
        raw.kind = LogEntryKind::file_rule_failure;
        raw.line_count += ahead_.line_count;
        hand_out(raw, entry);
        entry.message = joined_;
        return true;
      }
    }
  }
  hand_out(raw, entry);
  return true;
}

struct LogReader::State {
  explicit State(fl::filesystem::basic_path const& path) : scanner(path) {}

  log_text::EntryScanner scanner;
  log_text::ScannedEntry scanned;

  // Empties the entry's texts without giving their memory back. The facts of a copy or of a
  // run's start or end are set only for an entry of that kind, so only those are reset.
  static void clear(LogEntry& entry) {
    entry.subject.clear();
    entry.detail.clear();
    switch (entry.kind) {
      case LogEntryKind::file_copy:
        entry.copy.path.clear();
        entry.copy.bytes = 0;
        entry.copy.redacted = entry.copy.withheld = false;
        entry.copy.complete = true;
        break;
      case LogEntryKind::run_start: {
        LoggedRunStart& start = entry.run_start;
        for (std::string* fact : {&start.product, &start.version, &start.process, &start.user,
                                  &start.host, &start.zone, &start.log})
          fact->clear();
        start.utc_offset.reset();
        break;
      }
      case LogEntryKind::run_end:
        entry.run_end.outcome.clear();
        entry.run_end.duration_s.reset();
        entry.run_end.lost_entries = 0;
        entry.run_end.last_loss.clear();
        break;
      default:
        break;
    }
  }
};

LogReader::LogReader(fl::filesystem::basic_path const& path)
    : state_(std::make_unique<State>(path)) {}

LogReader::~LogReader() = default;

bool LogReader::is_open() const noexcept {
  return state_->scanner.is_open();
}

int LogReader::error() const noexcept {
  return state_->scanner.error().value();
}

std::uint64_t LogReader::lines() const noexcept {
  return state_->scanner.lines();
}

bool LogReader::next(LogEntry& entry) {
  State& state = *state_;
  log_text::ScannedEntry const& scanned = state.scanned;
  if (!state.scanner.next(state.scanned)) return false;
  State::clear(entry);
  entry.line = scanned.line;
  entry.line_count = scanned.line_count;
  entry.time_text.assign(scanned.time_text);
  entry.local_time = scanned.local_time;
  entry.utc_time = scanned.utc_time;
  entry.message.assign(scanned.message);
  entry.kind = scanned.kind;
  switch (entry.kind) {
    case LogEntryKind::file_copy:
      entry.copy = state.scanner.copy();
      break;
    case LogEntryKind::run_start:
      entry.run_start = state.scanner.run_start();
      break;
    case LogEntryKind::run_end:
      entry.run_end = state.scanner.run_end();
      break;
    default:
      describe(entry);
      break;
  }
  return true;
}

}  // namespace install::cpputil
