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

void read_run_start(LogEntry& entry) {
  LoggedRunStart& start = entry.run_start;
  log_text::for_each_line(entry.message, [&start](std::string_view line) {
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

void read_run_end(LogEntry& entry) {
  LoggedRunEnd& end = entry.run_end;
  bool first = true;
  log_text::for_each_line(entry.message, [&end, &first](std::string_view line) {
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

std::optional<local_seconds> log_text::StampReader::parse(std::string_view line) noexcept {
  if (line.size() < stamp_size || line[0] != '(') return std::nullopt;
  char const* const text = line.data();
  // The date: most stamps repeat the last one read, which was checked then.
  if (!have_date_ || std::memcmp(text + 1, date_, sizeof date_) != 0) {
    if (text[4] != ' ' || text[7] != ',' || text[8] != ' ') return std::nullopt;
    for (std::size_t const at : {5, 6, 9, 10, 11, 12})
      if (static_cast<unsigned char>(text[at] - '0') > 9) return std::nullopt;
    std::string_view const name = line.substr(1, 3);
    unsigned month = 0;
    while (month < month_names.size() && month_names[month] != name) ++month;
    if (month == month_names.size()) return std::nullopt;
    int const year = two_digits(text + 9) * 100 + two_digits(text + 11);
    std::chrono::year_month_day const date{
        std::chrono::year(year), std::chrono::month(month + 1),
        std::chrono::day(static_cast<unsigned>(two_digits(text + 5)))};
    if (!date.ok()) return std::nullopt;
    days_ = std::chrono::local_days(date);
    std::memcpy(date_, text + 1, sizeof date_);
    have_date_ = true;
  }
  // " HH:MM:SS) ", the eight bytes of the clock tested at once (bytes in memory order).
  if (text[13] != ' ' || text[22] != ')' || text[23] != ' ') return std::nullopt;
  std::uint64_t clock = 0;
  std::memcpy(&clock, text + 14, sizeof clock);
  if constexpr (std::endian::native == std::endian::big) clock = __builtin_bswap64(clock);
  std::uint64_t const values = clock ^ 0x3030303030303030;  // a digit lane holds 0 to 9
  constexpr std::uint64_t digits = 0xFFFF00FFFF00FFFF;
  constexpr std::uint64_t colons = 0x0000FF0000FF0000;
  if ((clock & colons) != 0x00003A00003A0000 || (values & digits & 0xF0F0F0F0F0F0F0F0) != 0 ||
      ((values + 0x0606060606060606) & digits & 0x1010101010101010) != 0)
    return std::nullopt;
  auto const lane = [values](int at) { return static_cast<int>(values >> (8 * at) & 0xFF); };
  int const hour = lane(0) * 10 + lane(1);
  int const minute = lane(3) * 10 + lane(4);
  int const second = lane(6) * 10 + lane(7);
  if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
  return local_seconds(days_.time_since_epoch()) + std::chrono::hours(hour) +
         std::chrono::minutes(minute) + std::chrono::seconds(second);
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

struct LogReader::State {
  explicit State(fl::filesystem::basic_path const& path) : lines(path) {}

  fl::filesystem::line_reader lines;
  log_text::StampReader stamps;
  std::uint64_t line_number = 0;
  // The line that starts the next entry, read already; it views the reader's buffer, which
  // stays as it is until the next line is read.
  std::string_view pending;
  bool has_pending = false;
  std::optional<local_seconds> pending_time;
  // An entry read ahead to see whether it completes a failed file rule.
  LogEntry ahead;
  bool has_ahead = false;
  // The zone of the run being read, from its start entry.
  std::optional<std::chrono::seconds> zone;

  bool read_line(std::string_view& line) {
    if (!lines.next(line)) return false;
    ++line_number;
    return true;
  }

  // Leaves `line` as the start of the next entry.
  void hold(std::string_view line, std::optional<local_seconds> time) {
    pending = line;
    pending_time = time;
    has_pending = true;
  }

  // Empties the entry's texts without giving their memory back. The facts of a copy or of a
  // run's start or end are set only for an entry of that kind, so only those are reset.
  static void clear(LogEntry& entry) {
    entry.line_count = 0;
    entry.time_text.clear();
    entry.local_time.reset();
    entry.utc_time.reset();
    entry.message.clear();
    entry.subject.clear();
    entry.detail.clear();
    switch (std::exchange(entry.kind, LogEntryKind::installer)) {
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

  // Reads one entry as the lines give it: a failed file rule is still two.
  bool read_entry(LogEntry& entry) {
    std::string_view line;
    std::optional<local_seconds> time;
    std::uint64_t first = 0;
    if (has_pending) {
      line = pending;
      time = pending_time;
      has_pending = false;
      first = line_number;
    } else {
      if (!read_line(line)) return false;
      time = stamps.parse(line);
      first = line_number;
    }
    clear(entry);
    entry.line = first;
    if (!time) {
      entry.kind = LogEntryKind::outside;
      entry.message.assign(line);
    } else {
      entry.time_text.assign(line.substr(1, log_text::stamp_size - 3));
      entry.local_time = time;
      entry.message.assign(line.substr(log_text::stamp_size));
    }
    if (time && entry.message.starts_with(copy_header)) {
      read_copy(entry, *time);
    } else {
      while (read_line(line)) {
        if (std::optional<local_seconds> const next = stamps.parse(line)) {
          hold(line, next);
          break;
        }
        if (log_text::is_cut_stamp(line)) {
          hold(line, std::nullopt);
          break;
        }
        entry.message += '\n';
        entry.message += line;
      }
      if (time) classify(entry);
    }
    entry.line_count = (has_pending ? line_number - 1 : line_number) - first + 1;
    if (entry.kind == LogEntryKind::run_start) zone = entry.run_start.utc_offset;
    if (zone && entry.local_time)
      entry.utc_time = std::chrono::sys_seconds((*entry.local_time - *zone).time_since_epoch());
    if (entry.kind == LogEntryKind::run_end) zone.reset();
    return true;
  }

  // A framed copy runs to its last line, whatever the copied lines look like, unless a line with
  // a later time than the copy's own shows that the copy was cut short.
  void read_copy(LogEntry& entry, local_seconds time) {
    entry.kind = LogEntryKind::file_copy;
    LoggedFileCopy& copy = entry.copy;
    copy.path = entry.message.substr(copy_header.size());
    copy.complete = false;
    bool first = true;
    std::string_view line;
    while (read_line(line)) {
      if (line.starts_with(copy_footer) && line.substr(copy_footer.size()) == copy.path) {
        copy.complete = true;
        entry.message += '\n';
        entry.message += line;
        break;
      }
      if (std::optional<local_seconds> const next = stamps.parse(line); next && *next > time) {
        hold(line, next);
        break;
      }
      if (first && line.starts_with(withheld_prefix))
        copy.withheld = true;
      else
        copy.withheld = false;
      first = false;
      copy.redacted = copy.redacted || is_masked_line(line);
      copy.bytes += line.size() + 1;
      entry.message += '\n';
      entry.message += line;
    }
  }

  static void classify(LogEntry& entry) {
    std::string_view const message = entry.message;
    auto const rest = [&](std::string_view prefix) { return message.substr(prefix.size()); };
    switch (message.empty() ? '\0' : message[0]) {
      case 'R':
        if (message.starts_with(switch_prefix)) {
          std::string_view const names = rest(switch_prefix);
          std::size_t const to = names.find(" to ");
          if (to == std::string_view::npos) return;
          entry.kind = LogEntryKind::destination_switch;
          entry.subject = names.substr(0, to);
          entry.detail = names.substr(to + 4);
        }
        return;
      case 'U':
        if (message.starts_with(folder_failure_prefix)) {
          entry.kind = LogEntryKind::destination_failure;
          entry.subject = rest(folder_failure_prefix);
        } else if (message.starts_with(file_failure_prefix)) {
          entry.kind = LogEntryKind::destination_failure;
          entry.subject = rest(file_failure_prefix);
        } else if (message.starts_with(launch_failure_prefix)) {
          entry.kind = LogEntryKind::launch_failure;
          std::string_view url = rest(launch_failure_prefix);
          // The opener's exit status follows the URL after a blank; a URL holds none.
          if (std::size_t const blank = url.rfind(' '); blank != std::string_view::npos) {
            std::string_view const status = url.substr(blank + 1);
            std::string_view const digits = status.starts_with('-') ? status.substr(1) : status;
            if (!digits.empty() &&
                digits.find_first_not_of("0123456789") == std::string_view::npos) {
              entry.detail = status;
              url = url.substr(0, blank);
            }
          }
          entry.subject = url;
        }
        return;
      case 'I':
        if (first_line(message) == run_started) {
          entry.kind = LogEntryKind::run_start;
          read_run_start(entry);
        } else if (message.starts_with(run_ended)) {
          entry.kind = LogEntryKind::run_end;
          read_run_end(entry);
        }
        return;
      default:
        return;
    }
  }

  // A failed file rule is two entries: "Error reading file P", then "File 'P' does not exist or
  // it's empty". The second joins the first when it follows it.
  void join_rule_failure(LogEntry& entry) {
    std::string_view const message = entry.message;
    if (entry.kind != LogEntryKind::installer || !message.starts_with(rule_failure_prefix)) return;
    if (!read_entry(ahead)) return;
    has_ahead = true;
    std::string_view const path = message.substr(rule_failure_prefix.size());
    std::string_view const second = ahead.message;
    constexpr std::string_view opening = "File '";
    constexpr std::string_view closing = "' does not exist or it's empty";
    if (ahead.kind != LogEntryKind::installer ||
        second.size() != opening.size() + path.size() + closing.size() ||
        !second.starts_with(opening) || !second.ends_with(closing) ||
        second.substr(opening.size(), path.size()) != path)
      return;
    has_ahead = false;
    entry.kind = LogEntryKind::file_rule_failure;
    entry.subject = path;
    entry.message += '\n';
    entry.message += second;
    entry.line_count += ahead.line_count;
  }
};

LogReader::LogReader(fl::filesystem::basic_path const& path)
    : state_(std::make_unique<State>(path)) {}

LogReader::~LogReader() = default;

bool LogReader::is_open() const noexcept {
  return state_->lines.is_open();
}

int LogReader::error() const noexcept {
  return state_->lines.error();
}

std::uint64_t LogReader::lines() const noexcept {
  return state_->line_number;
}

bool LogReader::next(LogEntry& entry) {
  State& state = *state_;
  if (state.has_ahead) {
    std::swap(entry, state.ahead);
    state.has_ahead = false;
  } else if (!state.read_entry(entry)) {
    return false;
  }
  state.join_rule_failure(entry);
  return true;
}

}  // namespace install::cpputil
