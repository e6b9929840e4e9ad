#include "install/cpputil/input_file_diagnostics.hpp"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <string_view>
#include <utility>

#include <boost/unordered/unordered_flat_map.hpp>

#include "inputfile/input_lines.hpp"
#include "inputfile/rule_kinds.hpp"
#include "inputfile/suggestion.hpp"

namespace install::cpputil {
namespace {

namespace lines = input_lines;
using fl::i18n::ustring_to_utf8;
using Severity = DiagnosticSeverity;
using namespace std::string_view_literals;

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::size_t npos = std::string_view::npos;

// `text` with every control byte escaped, so that no message carries one to a terminal.
std::string shown(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (char const c : text) {
    auto const byte = static_cast<unsigned char>(c);
    if (byte >= 0x20 && byte != 0x7F) {
      out.push_back(c);
    } else if (c == '\t' || c == '\n' || c == '\r') {
      out.append(c == '\t' ? "\\t" : c == '\n' ? "\\n" : "\\r");
    } else {
      std::array<char, 5> hex{};
      std::snprintf(hex.data(), hex.size(), "\\x%02X", byte);
      out.append(hex.data());
    }
  }
  return out;
}

std::string quoted(std::string_view text) {
  std::string out(1, '\'');  // built in place: GCC 12 -O3 misreads "'" + std::string
  out.append(shown(text)).push_back('\'');
  return out;
}

std::string did_you_mean(std::string_view found) {
  return found.empty() ? std::string() : "; did you mean " + shown(found) + "?";
}

// What the file was saved as when it is not UTF-8, judged by its first bytes: a UTF-16 or
// UTF-32 byte-order mark, or NUL bytes where ASCII text in those encodings has them (every
// other byte, or three bytes of four); nullptr otherwise.
char const* foreign_encoding(std::string_view head) {
  if (head.starts_with("\xFF\xFE\0\0"sv)) return "UTF-32 little-endian";
  if (head.starts_with("\0\0\xFE\xFF"sv)) return "UTF-32 big-endian";
  if (head.starts_with("\xFF\xFE"sv)) return "UTF-16 little-endian";
  if (head.starts_with("\xFE\xFF"sv)) return "UTF-16 big-endian";
  if (head.size() < 4) return nullptr;
  std::array<std::size_t, 4> zeros{}, bytes{};
  for (std::size_t i = 0; i < head.size(); ++i) {
    ++bytes[i % 4];
    zeros[i % 4] += head[i] == '\0' ? 1 : 0;
  }
  auto const nul = [&](std::size_t i) { return 4 * zeros[i] >= 3 * bytes[i]; };
  auto const text = [&](std::size_t i) { return 4 * zeros[i] <= bytes[i]; };
  if (text(0) && nul(1) && nul(2) && nul(3)) return "UTF-32 little-endian";
  if (nul(0) && nul(1) && nul(2) && text(3)) return "UTF-32 big-endian";
  if (text(0) && nul(1) && text(2) && nul(3)) return "UTF-16 little-endian";
  if (nul(0) && text(1) && nul(2) && text(3)) return "UTF-16 big-endian";
  return nullptr;
}

// Whether `text` reads as a line of its own: an assignment, a list line or a comment.
bool looks_like_a_line(std::string_view text) {
  return text.find('=') != npos || text.starts_with('#') ||
         std::any_of(lines::list_keys.begin(), lines::list_keys.end(),
                     [text](auto key) { return text.find(std::string(key) + '.') != npos; });
}

// Where a key and its value stand: the line and the columns where each begins.
struct Place {
  std::size_t line = 0;
  std::size_t key = 0;
  std::size_t value = 0;
};

class Reader {
 public:
  explicit Reader(std::map<std::string, std::string> const& rules) : rules_(rules) {}

  void read_line(std::string_view physical) {
    ++line_;
    physical_ = physical;
    if (!decided_) sample(physical);
    std::string_view const text = lines::trim(physical);
    if (!lines::is_content(text)) return;
    if (auto const mark = physical.find(byte_order_mark); mark != npos) byte_order_mark_at(mark);
    if (auto const valid = fl::i18n::valid_utf8_length(text); valid != text.size())
      add(column(text.data() + valid), Severity::warning, "invalid-utf8",
          "line holds bytes that are not UTF-8: they become U+FFFD in the map");
    if (auto const cr = text.find('\r'); cr != npos) carriage_return(text, cr);
    PropertyMap::iterator node;
    switch (lines::apply_line(report_.properties, text, &node)) {
      case lines::effect::set:
        return assigned(text, node);
      case lines::effect::appended:
        return appended(text, node);
      case lines::effect::no_shape:
        return ignored(text);
      case lines::effect::empty_key:
        return add(column(text.data() + text.find('=')), Severity::error, "empty-key",
                   "assignment without a key: line ignored");
      case lines::effect::list_key_assignment: {
        std::size_t const eq = text.find('=');
        std::string const key = lines::ascii_lower(lines::trim(text.substr(0, eq)));
        return add(key_column(text, eq), Severity::error, "list-key-assignment",
                   "assignment to the list key " + quoted(key) +
                       " is ignored; list entries are written as " + key + ".<entry>");
      }
      case lines::effect::list_on_single:
        return add(key_column(text, text.find('.')), Severity::error, "list-line-ignored",
                   "list line for " + quoted(ustring_to_utf8(node->first)) +
                       ", which holds the single value of line " +
                       std::to_string(place_of_[&*node].line) + ": line ignored");
    }
  }

  // The file did not open, or a read failed part-way.
  void unreadable(int error) {
    add_at(0, 0, Severity::error, "unreadable-file",
           (line_ == 0 ? "the file cannot be read: " : "the file cannot be read to its end: ") +
               fl::filesystem::failure_reason(error));
  }

  InputFileReport finish() && {
    if (!decided_) decide();
    for (auto const& [place, entry] : overridden_)
      add_at(place.line, place.key, Severity::warning, "duplicate-key",
             "key " + quoted(ustring_to_utf8(entry->first)) + " is assigned again on line " +
                 std::to_string(place_of_[entry].line) + ", which wins: this value is ignored");
    if (!rules_.empty() && foreign_ == nullptr) check_rules();
    sort_by_line();
    return std::move(report_);
  }

 private:
  static constexpr std::size_t head_size = 256;

  // Line order, each line's findings in the order they were made. Rule findings come in key
  // order: a counting sort by line puts them in place in time linear in findings and lines.
  void sort_by_line() {
    auto& found = report_.diagnostics;
    if (std::is_sorted(found.begin(), found.end(),
                       [](auto const& a, auto const& b) { return a.line < b.line; }))
      return;
    std::vector<std::size_t> next(line_ + 2, 0);
    for (auto const& finding : found) ++next[finding.line + 1];
    std::partial_sum(next.begin(), next.end(), next.begin());
    std::vector<InputFileDiagnostic> sorted(found.size());
    for (auto& finding : found) sorted[next[finding.line]++] = std::move(finding);
    found = std::move(sorted);
  }

  void add(std::size_t column, Severity severity, std::string_view code, std::string message) {
    add_at(line_, column, severity, code, std::move(message));
  }
  void add_at(std::size_t line, std::size_t column, Severity severity, std::string_view code,
              std::string message) {
    if (foreign_ != nullptr) return;  // the one finding of such a file is its encoding
    report_.diagnostics.push_back({line, column, severity, std::string(code), std::move(message)});
  }

  // The 1-based column of `at`, a position in the current physical line.
  [[nodiscard]] std::size_t column(char const* at) const {
    return static_cast<std::size_t>(at - physical_.data()) + 1;
  }
  // The column where the key before `separator` begins (the separator's, for an empty key).
  [[nodiscard]] std::size_t key_column(std::string_view text, std::size_t separator) const {
    std::string_view const key = lines::trim(text.substr(0, separator));
    return column(key.empty() ? text.data() + separator : key.data());
  }
  // The column where the value after `separator` begins (the separator's, for an empty value).
  [[nodiscard]] std::size_t value_column(std::string_view text, std::size_t separator) const {
    std::string_view const value = lines::value_text(text, separator);
    return column(value.empty() ? text.data() + separator : value.data());
  }

  // The first bytes of the file, as read, until they tell its encoding.
  void sample(std::string_view physical) {
    if (line_ > 1) head_.push_back('\n');
    head_.append(physical.substr(0, head_size - std::min(head_size, head_.size())));
    if (head_.size() >= head_size) decide();
  }
  void decide() {
    decided_ = true;
    foreign_ = foreign_encoding(head_);
    head_ = std::string();
    if (foreign_ == nullptr) return;
    report_.diagnostics.assign(
        {{0, 0, Severity::error, "not-utf8",
          "the file is " + std::string(foreign_) + " text; save it as UTF-8"}});
  }

  void byte_order_mark_at(std::size_t mark) {
    if (line_ == 1 && mark == 0)
      return add(1, Severity::warning, "byte-order-mark",
                 "the file starts with a UTF-8 byte-order mark: its first line is never read "
                 "as a comment or a key");
    add(mark + 1, Severity::warning, "stray-byte-order-mark",
        "UTF-8 byte-order mark (EF BB BF) inside the file, as left by joining two files: it "
        "is read as part of the line; delete it");
  }

  void carriage_return(std::string_view text, std::size_t cr) {
    std::string_view const rest = text.substr(cr + 1);
    std::string_view const next = lines::trim(rest.substr(0, rest.find('\r')));
    if (looks_like_a_line(next))
      return add(column(text.data() + cr), Severity::error, "carriage-return",
                 "carriage return used as a line end (old Mac line ends): " + quoted(next) +
                     " after it is read as part of this line; save the file with LF or CR LF "
                     "line ends");
    add(column(text.data() + cr), Severity::warning, "carriage-return",
        "carriage return (\\r) inside the line: it stays part of the key or value; delete it");
  }

  void assigned(std::string_view text, PropertyMap::iterator node) {
    std::size_t const eq = text.find('=');
    Place const place{line_, key_column(text, eq), value_column(text, eq)};
    auto const [slot, first] = place_of_.try_emplace(&*node, place);
    if (!first) {
      overridden_.emplace_back(slot->second, &*node);
      slot->second = place;
    }
    bracket_in_key(text, eq, node->first);
    comment_in_value(text, eq, "value", node->first);
  }

  void appended(std::string_view text, PropertyMap::iterator node) {
    std::size_t const dot = text.find('.');
    place_of_.try_emplace(&*node, Place{line_, key_column(text, dot), value_column(text, dot)});
    bracket_in_key(text, dot, node->first);
    if (lines::value_text(text, dot).empty()) {
      std::string const key = ustring_to_utf8(node->first);
      return add(column(text.data() + dot), Severity::warning, "empty-list-entry",
                 "list line " + quoted(text) +
                     " has no name after the dot: an empty entry is "
                     "added to the list " +
                     quoted(key) + "; write " + shown(key) + ".<name>");
    }
    comment_in_value(text, dot, "list entry", node->first);
  }

  void bracket_in_key(std::string_view text, std::size_t separator, ustring const& key) {
    std::size_t const bracket = text.substr(0, separator).find_first_of("[]");
    if (bracket == npos) return;
    add(column(text.data() + bracket), Severity::warning, "bracket-in-key",
        "key " + quoted(ustring_to_utf8(key)) +
            " holds '[' or ']': it is an ordinary key, neither a list nor a section; list "
            "entries are written as product.<name> or platform.<name>");
  }

  void comment_in_value(std::string_view text, std::size_t separator, std::string_view what,
                        ustring const& key) {
    std::string_view const value = lines::value_text(text, separator);
    std::size_t const comment = value.find(" #");
    if (comment == npos) return;
    add(column(value.data() + comment + 1), Severity::note, "comment-in-value",
        std::string(what) + " " + quoted(value) + " of key " + quoted(ustring_to_utf8(key)) +
            " contains \" #\": the text after '#' stays part of it");
  }

  void ignored(std::string_view text) {
    if (text.starts_with('[') && text.ends_with(']'))
      return add(column(text.data()), Severity::error, "section-header",
                 quoted(text) +
                     " is a section header, but answer files have none: line "
                     "ignored; delete it (the keys after it are read all the same)");
    if (std::size_t const colon = text.find(':'); colon != npos) {
      std::string_view const key = lines::trim(text.substr(0, colon));
      if (!key.empty() && std::none_of(key.begin(), key.end(), lines::is_whitespace<char>))
        return add(
            column(text.data() + colon), Severity::error, "colon-separator",
            "':' where '=' belongs: line ignored; did you mean " +
                quoted(std::string(key) + " = " + std::string(lines::value_text(text, colon))) +
                "?");
    }
    std::string message =
        "line is neither key=value nor a product. or platform. list line: ignored";
    std::string const lowered = lines::ascii_lower(text);
    if (lowered.find("product.") != npos || lowered.find("platform.") != npos)
      message += "; list lines need lower-case product. or platform.";
    add(0, Severity::error, "ignored-line", std::move(message));
  }

  // Keys are read trimmed and lower-cased, so a rule key that is not stays unused.
  static bool unmatchable(std::string_view key) {
    return lines::trim(key) != key || lines::ascii_lower(key) != key;
  }

  void check_rules() {
    std::vector<std::string_view> matchable, kinds;
    for (auto const& entry : rules_)
      if (!unmatchable(entry.first)) matchable.emplace_back(entry.first);
    for (auto const& kind : rule_kinds::kinds) kinds.push_back(kind.name);
    suggestion::Candidates const keys(std::move(matchable)), kind_names(std::move(kinds));
    for (auto const& entry : report_.properties) {
      auto const* single = std::get_if<ustring>(&entry.second);
      if (single == nullptr) continue;  // list values are not validated
      std::string const name = ustring_to_utf8(entry.first);
      Place const place = place_of_[&entry];
      auto const rule = rules_.find(name);
      if (rule == rules_.end())
        add_at(place.line, place.key, Severity::warning, "unknown-key",
               "key " + quoted(name) + " has no rule: its value is never checked" +
                   did_you_mean(keys.nearest(name)));
      else
        check_value(name, ustring_to_utf8(*single), rule->second, place);
    }
    for (auto const& [name, rule] : rules_) {
      auto const entry = report_.properties.find(fl::i18n::utf8_to_ustring(name));
      Place const place = entry == report_.properties.end() ? Place{} : place_of_[&*entry];
      std::string_view const kind = rule_kinds::split(rule).first;
      if (rule_kinds::find(kind) == nullptr)
        add_at(place.line, place.key, Severity::warning, "unknown-rule",
               "rule " + quoted(rule) + " of key " + quoted(name) + " has the unknown kind " +
                   quoted(kind) + ": the value is never checked" +
                   did_you_mean(kind_names.nearest(kind)));
      if (unmatchable(name)) {
        std::string const usable = lines::ascii_lower(lines::trim(name));
        add_at(0, 0, Severity::warning, "unmatchable-rule-key",
               "rule key " + quoted(name) +
                   " never matches, since keys are read trimmed and "
                   "lower-cased: its rule " +
                   quoted(rule) + " is never applied; write " + quoted(usable));
      } else if (entry == report_.properties.end()) {
        add_at(0, 0, Severity::note, "missing-key",
               "key " + quoted(name) + " has the rule " + quoted(rule) +
                   " but never appears in the file");
      }
    }
  }

  void check_value(std::string const& name, std::string const& value, std::string const& rule,
                   Place const& place) {
    auto const [kind, parameter_view] = rule_kinds::split(rule);
    auto const* const row = rule_kinds::find(kind);
    if (row == nullptr) return;
    std::string const parameter(parameter_view);
    if (row->accepts(value, parameter)) {
      if (kind == "intval") trailing_text(name, value, rule, place);
      return;
    }
    std::string const failed =
        "value " + quoted(value) + " of key " + quoted(name) + " fails its rule " + quoted(rule);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front() && row->accepts(value.substr(1, value.size() - 2), parameter))
      return add_at(place.line, place.value, Severity::error, "quoted-value",
                    failed + ": the quotes are part of the value; write " + shown(name) + " = " +
                        shown(value.substr(1, value.size() - 2)));
    std::string hint;
    if (kind == "strval") {
      hint = did_you_mean(
          suggestion::Candidates(rule_kinds::allowed_values(parameter_view)).nearest(value));
    } else if (kind == "boolval") {
      hint = "; boolval accepts true, false, yes or no, in any case";
    } else if (kind == "intval") {
      hint =
          "; intval accepts a value that starts with a whole number from -2147483648 to "
          "2147483647";
    }
    add_at(place.line, place.value, Severity::error, "rule-failed", failed + hint);
  }

  // intval reads only the leading number of a value and ignores what follows it.
  void trailing_text(std::string const& name, std::string const& value, std::string const& rule,
                     Place const& place) {
    std::size_t read = 0;
    int const number = std::stoi(value, &read, 10);
    if (read == value.size()) return;
    add_at(place.line, place.value + read, Severity::warning, "trailing-text",
           "value " + quoted(value) + " of key " + quoted(name) + " is read as " +
               std::to_string(number) + " by its rule " + quoted(rule) + ": the text " +
               quoted(value.substr(read)) + " after the number is ignored; write " + shown(name) +
               " = " + std::to_string(number));
  }

  std::map<std::string, std::string> const& rules_;
  InputFileReport report_;
  std::size_t line_ = 0;
  std::string_view physical_;
  std::string head_;
  bool decided_ = false;
  char const* foreign_ = nullptr;  // the encoding of a file that is not UTF-8
  // Where each entry's latest assignment stands, or its first list line; map nodes are stable.
  // A flat table: one allocation per growth instead of one per key.
  boost::unordered_flat_map<PropertyMap::value_type const*, Place> place_of_;
  // Assignments that a later one of the same key replaced: where they stand, and the entry.
  std::vector<std::pair<Place, PropertyMap::value_type const*>> overridden_;
};

}  // namespace

InputFileReport checkInputFile(ustring const& fileName,
                               std::map<std::string, std::string> const& rules) {
  Reader reader(rules);
  int const error =
      lines::read_lines(fileName, [&reader](std::string_view line) { reader.read_line(line); });
  if (error != 0) reader.unreadable(error);
  return std::move(reader).finish();
}

char const* toString(DiagnosticSeverity severity) noexcept {
  switch (severity) {
    case DiagnosticSeverity::error:
      return "error";
    case DiagnosticSeverity::warning:
      return "warning";
    case DiagnosticSeverity::note:
      return "note";
  }
  return "error";
}

}  // namespace install::cpputil
