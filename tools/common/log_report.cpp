#include "log_report.hpp"

#include <charconv>

#include "escape.hpp"

namespace qx::tools {
namespace {

namespace cpputil = install::cpputil;
using cpputil::LogRunSummary;

std::string number(double value) {
  char text[32];
  return std::string(text, std::to_chars(text, text + sizeof text, value).ptr);
}

// A quoted message on one line: its first line, escaped, and how many lines follow it.
void append_message_line(std::string& out, std::string_view message) {
  std::size_t const end = message.find('\n');
  append_escaped(out, message.substr(0, end));
  if (end == std::string_view::npos) return;
  std::size_t more = 0;
  for (char const c : message.substr(end)) more += c == '\n' ? 1 : 0;
  out += " [+" + std::to_string(more) + (more == 1 ? " line]" : " lines]");
}

void append_time_text(std::string& out, std::string const& text,
                      std::optional<std::chrono::sys_seconds> utc, std::string const& zone) {
  if (text.empty()) {
    out += "unknown";
    return;
  }
  out += text;
  if (!utc) return;
  out += " (";
  append_escaped(out, zone);
  out += ", ";
  std::string iso = iso_time(std::chrono::local_seconds(utc->time_since_epoch()), std::nullopt);
  iso[10] = ' ';
  out += iso + " UTC)";
}

void append_run_text(std::string& out, std::size_t index, LogRunSummary const& run) {
  out += "  run " + std::to_string(index) + ", lines " + std::to_string(run.first_line) + "-" +
         std::to_string(run.last_line) + ": " + cpputil::toString(run.outcome) + "\n";
  out += "    product:  ";
  if (run.start.product.empty() && run.start.version.empty() && run.start.process.empty()) {
    out += "unknown (the run has no start entry)";
  } else {
    append_escaped(out, run.start.product);
    out += ' ';
    append_escaped(out, run.start.version);
  }
  out += "\n    start:    ";
  append_time_text(out, run.start_text, run.start_utc, run.start.zone);
  out += "\n    end:      ";
  append_time_text(out, run.end_text, run.end_utc, run.start.zone);
  out += "\n    duration: " + (run.duration_s ? duration_text(*run.duration_s) : "unknown");
  out += "\n    entries:  " + std::to_string(run.entries) + "\n";
  if (run.lost_entries > 0) {
    out += "    lost entries: " + std::to_string(run.lost_entries) + ", the last: ";
    append_escaped(out, run.last_loss);
    out += '\n';
  }
  if (!run.first_failure) {
    out += "    failures: none\n";
  } else {
    out += "    first failure, line " + std::to_string(run.first_failure->line) + ": ";
    append_message_line(out, run.first_failure->message);
    out += '\n';
    if (!run.context.empty()) out += "      the entries before it:\n";
    for (auto const& before : run.context) {
      out += "        line " + std::to_string(before.line) + ": ";
      append_message_line(out, before.message);
      out += '\n';
    }
    if (run.failures.size() > 1) out += "    other failures:\n";
    for (std::size_t i = 1; i < run.failures.size(); ++i) {
      out += "      line " + std::to_string(run.failures[i].line) + ": ";
      append_message_line(out, run.failures[i].message);
      out += '\n';
    }
  }
  if (!run.gaps.empty()) {
    out += "    longest gaps:";
    for (std::size_t i = 0; i < run.gaps.size(); ++i) {
      out += (i == 0 ? " " : "; ") + duration_text(static_cast<double>(run.gaps[i].seconds)) +
             " after line " + std::to_string(run.gaps[i].after_line);
    }
    out += '\n';
  }
  if (!run.files.empty()) out += "    files copied in:\n";
  for (auto const& file : run.files) {
    out += "      line " + std::to_string(file.line) + ": ";
    append_escaped(out, file.copy.path);
    out += ", " + std::to_string(file.copy.bytes) + " bytes";
    if (file.copy.withheld)
      out += ", content withheld";
    else if (file.copy.redacted)
      out += ", redacted";
    if (!file.copy.complete) out += ", cut short (no end line)";
    out += '\n';
  }
  if (!run.leaks.empty()) out += "    secrets leaked:\n";
  for (auto const& leak : run.leaks) {
    out += "      line " + std::to_string(leak.line) + ": the value of ";
    append_escaped(out, leak.key);
    out += '\n';
  }
}

// The members of one JSON object, written in order: `separator` goes before each but the first.
class JsonMembers {
 public:
  JsonMembers(std::string& out, std::string_view separator) : out_(out), separator_(separator) {}

  JsonMembers& text(char const* name, std::string_view value) {
    append_json_string(start(name), value);
    return *this;
  }
  JsonMembers& number(char const* name, std::string_view value) {
    start(name) += value;
    return *this;
  }
  JsonMembers& number(char const* name, std::uint64_t value) {
    return number(name, std::to_string(value));
  }
  // An array of objects, one a line at `indent`, each written by `item(members, element)`.
  template <class Items, class Item>
  JsonMembers& array(char const* name, Items const& items, Item&& item, std::string_view indent) {
    std::string& out = start(name);
    out += '[';
    bool first = true;
    for (auto const& each : items) {
      out += first ? "\n" : ",\n";
      out += indent;
      out += "  {";
      JsonMembers members(out, ", ");
      item(members, each);
      out += '}';
      first = false;
    }
    if (!first) out += "\n" + std::string(indent);
    out += ']';
    return *this;
  }

 private:
  std::string& start(char const* name) {
    if (!first_) out_ += separator_;
    first_ = false;
    out_ += '"';
    out_ += name;
    out_ += "\": ";
    return out_;
  }

  std::string& out_;
  std::string_view separator_;
  bool first_ = true;
};

void append_run_json(std::string& out, LogRunSummary const& run) {
  constexpr std::string_view indent = "          ";
  auto const time = [](std::optional<std::chrono::local_seconds> local,
                       std::optional<std::chrono::sys_seconds> utc) {
    std::string text;
    if (local)
      append_json_string(text, iso_time(*local, utc));
    else
      text = "null";
    return text;
  };
  bool const started =
      !run.start.product.empty() || !run.start.version.empty() || !run.start.process.empty();
  auto const named = [started](JsonMembers& members, char const* name, std::string const& value) {
    if (started)
      members.text(name, value);
    else
      members.number(name, "null");
  };
  out += "        {\n";
  out += indent;
  JsonMembers members(out, ",\n          ");
  members.number("start", time(run.start_local, run.start_utc))
      .number("end", time(run.end_local, run.end_utc))
      .number("duration_s", run.duration_s ? number(*run.duration_s) : "null")
      .text("outcome", cpputil::toString(run.outcome));
  named(members, "product", run.start.product);
  named(members, "version", run.start.version);
  members.number("entries", run.entries);
  if (run.lost_entries > 0)
    members.number("lost_entries", run.lost_entries).text("last_loss", run.last_loss);
  if (!run.first_failure) {
    members.number("first_failure", "null");
  } else {
    std::string failure = "{";
    JsonMembers(failure, ", ")
        .number("line", run.first_failure->line)
        .text("message", run.first_failure->message)
        .array(
            "context", run.context,
            [](JsonMembers& item, cpputil::LogQuote const& quote) {
              item.number("line", quote.line).text("message", quote.message);
            },
            indent);
    members.number("first_failure", failure + '}');
  }
  members
      .array(
          "failures", run.failures,
          [](JsonMembers& item, cpputil::LogFailure const& failure) {
            item.number("line", failure.line)
                .text("message", failure.message)
                .text("kind", cpputil::toString(failure.kind));
          },
          indent)
      .array(
          "gaps", run.gaps,
          [](JsonMembers& item, cpputil::LogGap const& gap) {
            item.number("after_line", gap.after_line)
                .number("seconds", std::to_string(gap.seconds));
          },
          indent)
      .array(
          "files", run.files,
          [](JsonMembers& item, cpputil::LogCopiedFile const& file) {
            item.number("line", file.line)
                .text("path", file.copy.path)
                .number("bytes", file.copy.bytes)
                .number("redacted", file.copy.redacted || file.copy.withheld ? "true" : "false");
          },
          indent)
      .array(
          "leaks", run.leaks,
          [](JsonMembers& item, cpputil::LogLeak const& leak) {
            item.number("line", leak.line).text("key", leak.key);
          },
          indent);
  out += "\n        }";
}

bool is_word(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool is_hex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

}  // namespace

bool log_passed(cpputil::LogSummary const& summary) {
  for (LogRunSummary const& run : summary.runs) {
    if (run.outcome != cpputil::LogRunOutcome::succeeded || !run.leaks.empty()) return false;
  }
  return true;
}

std::string duration_text(double seconds) {
  char text[32];
  std::string out(
      text, std::to_chars(text, text + sizeof text, seconds, std::chars_format::fixed,
                          seconds == static_cast<double>(static_cast<long long>(seconds)) ? 0 : 3)
                .ptr);
  out += " s";
  if (seconds >= 60) {
    auto const whole = static_cast<long long>(seconds);
    out += " (";
    if (whole >= 3600) out += std::to_string(whole / 3600) + " h ";
    out += std::to_string(whole / 60 % 60) + " min " + std::to_string(whole % 60) + " s)";
  }
  return out;
}

std::string iso_time(std::chrono::local_seconds local,
                     std::optional<std::chrono::sys_seconds> utc) {
  auto const days = std::chrono::floor<std::chrono::days>(local);
  std::chrono::year_month_day const date{days};
  std::chrono::hh_mm_ss const clock{local - days};
  // Written digit by digit: a report of a fleet writes two times per run.
  std::string text = "0000-00-00T00:00:00";
  auto const put = [&text](std::size_t at, long long value, std::size_t digits) {
    for (std::size_t i = digits; i-- > 0; value /= 10)
      text[at + i] = static_cast<char>('0' + value % 10);
  };
  auto const year = static_cast<int>(date.year());
  if (year >= 0 && year <= 9999)
    put(0, year, 4);
  else  // only a UTC time next to a stamp's own limits
    text = std::to_string(year) + text.substr(4);
  std::size_t const day = text.size() - 11;
  put(day - 3, static_cast<unsigned>(date.month()), 2);
  put(day, static_cast<unsigned>(date.day()), 2);
  put(day + 3, clock.hours().count(), 2);
  put(day + 6, clock.minutes().count(), 2);
  put(day + 9, clock.seconds().count(), 2);
  if (utc) {
    auto const offset = std::chrono::duration_cast<std::chrono::minutes>(local.time_since_epoch() -
                                                                         utc->time_since_epoch());
    auto const minutes = offset.count() < 0 ? -offset.count() : offset.count();
    text += offset.count() < 0 ? "-00:00" : "+00:00";
    put(text.size() - 5, minutes / 60 % 100, 2);
    put(text.size() - 2, minutes % 60, 2);
  }
  return text;
}

void append_log_text(std::string& out, std::string_view path, cpputil::LogSummary const& summary) {
  append_escaped(out, path);
  out += ": " + std::to_string(summary.runs.size()) +
         (summary.runs.size() == 1 ? " run in " : " runs in ") + std::to_string(summary.lines) +
         (summary.lines == 1 ? " line" : " lines");
  if (summary.outside_lines > 0)
    out += ", " + std::to_string(summary.outside_lines) + " of them outside any entry";
  out += '\n';
  for (std::size_t i = 0; i < summary.runs.size(); ++i)
    append_run_text(out, i + 1, summary.runs[i]);
}

void append_log_json(std::string& out, std::string_view path, cpputil::LogSummary const& summary) {
  out += "    {\n      ";
  JsonMembers(out, ",\n      ").text("path", path);
  out += ",\n      \"runs\": [";
  for (std::size_t i = 0; i < summary.runs.size(); ++i) {
    out += i == 0 ? "\n" : ",\n";
    append_run_json(out, summary.runs[i]);
  }
  out += summary.runs.empty() ? "]\n    }" : "\n      ]\n    }";
}

std::string failure_signature(std::string_view message) {
  std::string_view const line = message.substr(0, message.find('\n'));
  std::string out;
  std::size_t i = 0;
  while (i < line.size() && out.size() < 200) {
    char const c = line[i];
    bool const starts_token = i == 0 || is_blank(line[i - 1]);
    bool const after_word = i > 0 && is_word(line[i - 1]);
    if ((c == '\'' || c == '"') && !after_word) {
      std::size_t close = line.find(c, i + 1);
      while (close != std::string_view::npos && close + 1 < line.size() && is_word(line[close + 1]))
        close = line.find(c, close + 1);
      if (close != std::string_view::npos) {
        out += c;
        out += "<text>";
        out += c;
        i = close + 1;
        continue;
      }
    }
    if (starts_token) {
      std::size_t end = i;
      while (end < line.size() && !is_blank(line[end])) ++end;
      std::size_t kept = end;  // punctuation after a path is no part of it
      while (kept > i &&
             std::string_view(".,:;)]'\"").find(line[kept - 1]) != std::string_view::npos)
        --kept;
      std::string_view const token = line.substr(i, kept - i);
      if (token.find('/') != std::string_view::npos || token.find('\\') != std::string_view::npos) {
        out += "<path>";
        i = kept;
        continue;
      }
    }
    if (is_hex(c) && (i == 0 || !is_word(line[i - 1]))) {
      std::size_t end = i;
      bool const prefixed = c == '0' && i + 2 < line.size() &&
                            (line[i + 1] == 'x' || line[i + 1] == 'X') && is_hex(line[i + 2]);
      if (prefixed) end += 2;
      bool digit = false;
      bool letter = false;
      while (end < line.size() && is_hex(line[end])) {
        (line[end] <= '9' ? digit : letter) = true;
        ++end;
      }
      if ((end == line.size() || !is_word(line[end])) &&
          (prefixed || (end - i >= 4 && digit && letter))) {
        out += "<hex>";
        i = end;
        continue;
      }
    }
    if (c >= '0' && c <= '9') {
      std::size_t end = i + 1;
      while (end < line.size() &&
             ((line[end] >= '0' && line[end] <= '9') ||
              (std::string_view(".,:").find(line[end]) != std::string_view::npos &&
               end + 1 < line.size() && line[end + 1] >= '0' && line[end + 1] <= '9')))
        ++end;
      out += "<n>";
      i = end;
      continue;
    }
    out += c;
    ++i;
  }
  if (out.size() > 200) {
    std::size_t cut = 200;
    while (cut > 0 && (static_cast<unsigned char>(out[cut]) & 0xC0) == 0x80) --cut;
    out.resize(cut);
  }
  return out;
}

}  // namespace qx::tools
