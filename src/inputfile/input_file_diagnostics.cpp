#include "install/cpputil/input_file_diagnostics.hpp"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include <boost/unordered/unordered_flat_map.hpp>

#include "fl/text.hpp"
#include "inputfile/diagnostic_codes.hpp"
#include "inputfile/input_lines.hpp"
#include "inputfile/rule_kinds.hpp"
#include "inputfile/suggestion.hpp"

namespace install::cpputil {
namespace {

namespace lines = input_lines;
using fl::i18n::ustring_to_utf8;
using Severity = DiagnosticSeverity;
using namespace std::string_view_literals;

constexpr std::size_t npos = std::string_view::npos;
using diagnostic_codes::code_row;
using diagnostic_codes::row;

// `text` with every control character and bad byte escaped, so that no message carries one to
// a terminal or to a reader that splits lines at NEL.
std::string shown(std::string_view text) {
  return fl::text::escaped(text);
}

std::string quoted(std::string_view text) {
  std::string out(1, '\'');  // built in place: GCC 12 -O3 misreads "'" + std::string
  out.append(shown(text)).push_back('\'');
  return out;
}

std::string did_you_mean(std::string_view found) {
  return found.empty() ? std::string() : "; did you mean " + shown(found) + "?";
}

// Whether `text` reads as a line of its own: an assignment, a list line or a comment.
bool looks_like_a_line(std::string_view text) {
  return text.find('=') != npos || text.starts_with('#') || lines::holds_list_marker(text);
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
    if (auto const mark = physical.find(fl::text::utf8_mark); mark != npos)
      byte_order_mark_at(mark);
    if (auto const valid = fl::i18n::valid_utf8_length(text); valid != text.size())
      add(column(text.data() + valid), row("invalid-utf8"),
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
        return add(column(text.data() + text.find('=')), row("empty-key"),
                   "assignment without a key: line ignored");
      case lines::effect::list_key_assignment: {
        std::size_t const eq = text.find('=');
        std::string const key = lines::ascii_lower(lines::trim(text.substr(0, eq)));
        return add(key_column(text, eq), row("list-key-assignment"),
                   "assignment to the list key " + quoted(key) +
                       " is ignored; list entries are written as " + key + ".<entry>");
      }
      case lines::effect::list_on_single:
        return add(key_column(text, text.find('.')), row("list-line-ignored"),
                   "list line for " + quoted(ustring_to_utf8(node->first)) +
                       ", which holds the single value of line " +
                       std::to_string(place_of_[&*node].line) + ": line ignored");
    }
  }

  // The file did not open, or a read failed part-way.
  void unreadable(int error) {
    report_.error = error;
    add_at(0, 0, row("unreadable-file"),
           (line_ == 0 ? "the file cannot be read: " : "the file cannot be read to its end: ") +
               fl::filesystem::failure_reason(error));
  }

  InputFileReport finish() && {
    if (!decided_) decide();
    for (auto const& [place, entry] : overridden_)
      add_at(place.line, place.key, row("duplicate-key"),
             "key " + quoted(ustring_to_utf8(entry->first)) + " is assigned again on line " +
                 std::to_string(place_of_[entry].line) + ", which wins: this value is ignored");
    if (!rules_.empty() && !foreign_) check_rules();
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

  void add(std::size_t column, code_row const& kind, std::string message) {
    add_at(line_, column, kind, std::move(message));
  }
  void add_at(std::size_t line, std::size_t column, code_row const& kind, std::string message) {
    if (foreign_) return;  // the one finding of such a file is its encoding
    report_.diagnostics.push_back(
        {line, column, kind.severity, std::string(kind.code), std::move(message)});
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
    fl::text::encoding const form = fl::text::sniff_encoding(head_);
    head_ = std::string();
    if (form == fl::text::encoding::utf8) return;
    report_.diagnostics.clear();
    add_at(0, 0, row("not-utf8"),
           "the file is " + std::string(fl::text::name_of(form)) + " text; save it as UTF-8");
    foreign_ = true;
  }

  void byte_order_mark_at(std::size_t mark) {
    if (line_ == 1 && mark == 0)
      return add(1, row("byte-order-mark"),
                 "the file starts with a UTF-8 byte-order mark: its first line is never read "
                 "as a comment or a key");
    add(mark + 1, row("stray-byte-order-mark"),
        "UTF-8 byte-order mark (EF BB BF) inside the file, as left by joining two files: it "
        "is read as part of the line; delete it");
  }

  void carriage_return(std::string_view text, std::size_t cr) {
    std::string_view const rest = text.substr(cr + 1);
    std::string_view const next = lines::trim(rest.substr(0, rest.find('\r')));
    if (looks_like_a_line(next))
      return add(column(text.data() + cr), row("carriage-return-line-end"),
                 "carriage return used as a line end (old Mac line ends): " + quoted(next) +
                     " after it is read as part of this line; save the file with LF or CR LF "
                     "line ends");
    add(column(text.data() + cr), row("carriage-return"),
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
      return add(column(text.data() + dot), row("empty-list-entry"),
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
    add(column(text.data() + bracket), row("bracket-in-key"),
        "key " + quoted(ustring_to_utf8(key)) +
            " holds '[' or ']': it is an ordinary key, neither a list nor a section; list "
            "entries are written as product.<name> or platform.<name>");
  }

  void comment_in_value(std::string_view text, std::size_t separator, std::string_view what,
                        ustring const& key) {
    std::string_view const value = lines::value_text(text, separator);
    std::size_t const comment = value.find(" #");
    if (comment == npos) return;
    add(column(value.data() + comment + 1), row("comment-in-value"),
        std::string(what) + " " + quoted(value) + " of key " + quoted(ustring_to_utf8(key)) +
            " contains \" #\": the text after '#' stays part of it");
  }

  void ignored(std::string_view text) {
    if (text.starts_with('[') && text.ends_with(']'))
      return add(column(text.data()), row("section-header"),
                 quoted(text) +
                     " is a section header, but answer files have none: line "
                     "ignored; delete it (the keys after it are read all the same)");
    if (std::size_t const colon = text.find(':'); colon != npos) {
      std::string_view const key = lines::trim(text.substr(0, colon));
      if (!key.empty() && std::none_of(key.begin(), key.end(), lines::is_whitespace<char>))
        return add(
            column(text.data() + colon), row("colon-separator"),
            "':' where '=' belongs: line ignored; did you mean " +
                quoted(std::string(key) + " = " + std::string(lines::value_text(text, colon))) +
                "?");
    }
    std::string message =
        "line is neither key=value nor a product. or platform. list line: ignored";
    if (lines::holds_list_marker(lines::ascii_lower(text)))
      message += "; list lines need lower-case product. or platform.";
    add(0, row("ignored-line"), std::move(message));
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
        add_at(place.line, place.key, row("unknown-key"),
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
        add_at(place.line, place.key, row("unknown-rule"),
               "rule " + quoted(rule) + " of key " + quoted(name) + " has the unknown kind " +
                   quoted(kind) + ": the value is never checked" +
                   did_you_mean(kind_names.nearest(kind)));
      if (unmatchable(name)) {
        std::string const usable = lines::ascii_lower(lines::trim(name));
        add_at(0, 0, row("unmatchable-rule-key"),
               "rule key " + quoted(name) +
                   " never matches, since keys are read trimmed and "
                   "lower-cased: its rule " +
                   quoted(rule) + " is never applied; write " + quoted(usable));
      } else if (entry == report_.properties.end()) {
        add_at(0, 0, row("missing-key"),
               "key " + quoted(name) + " has the rule " + quoted(rule) +
                   " but never appears in the file");
      }
    }
  }

  void check_value(std::string const& name, std::string const& value, std::string const& rule,
                   Place const& place) {
    auto const [kind_name, parameter_view] = rule_kinds::split(rule);
    auto const* const kind = rule_kinds::find(kind_name);
    if (kind == nullptr) return;
    std::string const parameter(parameter_view);
    if (kind->accepts(value, parameter)) {
      if (kind->reads != nullptr) trailing_text(name, value, rule, place, *kind);
      return;
    }
    std::string const failed =
        "value " + quoted(value) + " of key " + quoted(name) + " fails its rule " + quoted(rule);
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
        value.back() == value.front() &&
        kind->accepts(value.substr(1, value.size() - 2), parameter))
      return add_at(place.line, place.value, row("quoted-value"),
                    failed + ": the quotes are part of the value; write " + shown(name) + " = " +
                        shown(value.substr(1, value.size() - 2)));
    std::string const hint =
        kind->names_values
            ? did_you_mean(
                  suggestion::Candidates(rule_kinds::allowed_values(parameter_view)).nearest(value))
            : std::string(kind->hint);
    add_at(place.line, place.value, row("rule-failed"), failed + hint);
  }

  // A rule that reads only the start of a value ignores what follows it.
  void trailing_text(std::string const& name, std::string const& value, std::string const& rule,
                     Place const& place, rule_kinds::rule_kind const& kind) {
    std::optional<rule_kinds::read_part> const part = kind.reads(value);
    if (!part) return;
    add_at(place.line, place.value + part->length, row("trailing-text"),
           "value " + quoted(value) + " of key " + quoted(name) + " is read as " + part->as +
               " by its rule " + quoted(rule) + ": the text " + quoted(value.substr(part->length)) +
               " after the " + std::string(part->noun) + " is ignored; write " + shown(name) +
               " = " + part->as);
  }

  std::map<std::string, std::string> const& rules_;
  InputFileReport report_;
  std::size_t line_ = 0;
  std::string_view physical_;
  std::string head_;
  bool decided_ = false;
  bool foreign_ = false;  // the file is not UTF-8: its one finding says so
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

std::vector<InputFileDiagnosticCode> inputFileDiagnosticCodes() {
  std::vector<InputFileDiagnosticCode> all;
  for (diagnostic_codes::code_row const& code : diagnostic_codes::codes)
    all.push_back({std::string(code.code), code.severity, std::string(code.meaning)});
  return all;
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
