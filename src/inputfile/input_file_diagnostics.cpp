#include "install/cpputil/input_file_diagnostics.hpp"

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

#include <boost/unordered/unordered_flat_map.hpp>

#include "fl/text.hpp"
#include "inputfile/diagnostic_codes.hpp"
#include "inputfile/input_lines.hpp"
#include "inputfile/rule_kinds.hpp"
#include "inputfile/suggestion.hpp"
#include "inputfile/text_check.hpp"

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

// Where a key and its value stand: the line, the columns where each begins, and the section
// header above it (an index into the headers seen; 0: none).
struct Place {
  std::size_t line = 0;
  std::size_t key = 0;
  std::size_t value = 0;
  std::size_t section = 0;
};

// What INI files, scripts and C-like formats start a comment with; here it starts a key.
std::string_view foreign_comment_marker(std::string_view text) {
  for (std::string_view const marker : {";"sv, "//"sv, "*"sv})
    if (text.starts_with(marker)) return marker;
  return {};
}

// The name of a section header, also of one that lost its '[' or its ']'; none for other lines.
std::optional<std::string_view> section_name(std::string_view text) {
  bool const opens = text.starts_with('['), closes = text.ends_with(']');
  if (opens && closes && text.size() >= 2) return text.substr(1, text.size() - 2);
  if (opens && text.find(']') == npos) return text.substr(1);
  if (closes && text.find('[') == npos) return text.substr(0, text.size() - 1);
  return std::nullopt;
}

// Characters no installer key holds but lines of other formats do: a blank between words, a
// quote, a path's slash.
// What a byte of a key says of its line: a bracket (a list or a section was meant), or a
// character no installer key holds but lines of other formats do (a blank between words, a
// quote, a path's slash). One table, so that a key is read once, a byte at a time.
enum key_byte : unsigned char { plain = 0, bracket = 1, unlikely = 2 };
constexpr std::array<unsigned char, 256> key_bytes = [] {
  std::array<unsigned char, 256> table{};
  for (unsigned char const c : std::string_view("[]")) table[c] = bracket;
  for (unsigned char const c : std::string_view(" \t\"'`/\\")) table[c] = unlikely;
  return table;
}();

// Most lines ignored, and at least this many: the file is of another format.
constexpr std::size_t foreign_format_lines = 5;

class Reader {
 public:
  explicit Reader(std::map<std::string, std::string> const& rules) : rules_(rules) {}

  void read_line(std::string_view physical) {
    ++line_;
    physical_ = physical;
    if (!decided_ && sniffer_.add(physical)) decide();
    std::string_view const text = lines::trim(physical);
    if (!lines::is_content(text)) return;
    ++content_lines_;
    bool const marked = line_ == 1 && physical.starts_with(fl::text::utf8_mark);
    if (auto const mark = physical.find(fl::text::utf8_mark, marked ? 1 : 0); mark != npos)
      add(mark + 1, row("stray-byte-order-mark"),
          "UTF-8 byte-order mark (EF BB BF) inside the file, as left by joining two files: it "
          "is read as part of the line; delete it");
    if (auto const valid = fl::i18n::valid_utf8_length(text); valid != text.size())
      add(column(text.data() + valid), row("invalid-utf8"),
          "line holds bytes that are not UTF-8, as a file saved as Latin-1 or in another legacy "
          "encoding does: they become U+FFFD in the map; save the file as UTF-8");
    if (auto const cr = text.find('\r'); cr != npos) carriage_return(text, cr);
    PropertyMap::iterator node;
    lines::effect const effect = lines::apply_line(report_.properties, text, &node);
    if (effect != lines::effect::set && effect != lines::effect::appended) {
      ++ignored_lines_;
      report_.ignored.push_back({line_, std::string(text)});
    }
    // A line already explained (its mark, its comment marker) gets no finding on its shape.
    bool explained = marked && leading_mark(text, effect, node);
    if (std::string_view const marker = foreign_comment_marker(text); !marker.empty())
      explained = foreign_comment(text, marker, effect, node);
    switch (effect) {
      case lines::effect::set:
        return assigned(text, node, explained);
      case lines::effect::appended:
        return appended(text, node, explained);
      case lines::effect::no_shape:
        if (!explained) ignored(marked ? text.substr(fl::text::utf8_mark.size()) : text);
        return;
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
  void unreadable(std::error_code error) {
    report_.error = error.value();
    add_at(0, 0, row("unreadable-file"),
           (line_ == 0 ? "the file cannot be read: " : "the file cannot be read to its end: ") +
               fl::filesystem::failure_reason(error));
  }

  InputFileReport finish() && {
    if (!decided_) decide();
    if (ignored_lines_ >= foreign_format_lines && 2 * ignored_lines_ > content_lines_)
      add_at(0, 0, row("not-an-answer-file"),
             "this does not look like an answer file: " + std::to_string(ignored_lines_) +
                 " of its " + std::to_string(content_lines_) +
                 " lines are ignored, neither key = value nor product. or platform. list lines "
                 "(an answer file holds lines such as installmode = typical); the findings of "
                 "each line follow");
    if (foreign_) report_.ignored.clear();  // its every line is, and its finding says why
    for (auto const& [place, entry] : overridden_) overridden(place, entry);
    if (!rules_.empty() && !foreign_) check_rules();
    sort_by_line();
    return std::move(report_);
  }

 private:
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

  void decide() {
    decided_ = true;
    fl::text::encoding const form = sniffer_.decide();
    if (form == fl::text::encoding::utf8) return;
    report_.diagnostics.clear();
    add_at(0, 0, row("not-utf8"),
           "the file is " + std::string(fl::text::name_of(form)) + " text; save it as UTF-8");
    foreign_ = true;
  }

  // The file starts with a UTF-8 byte-order mark, glued to the first key or line: what that
  // costs. True when that explains the whole line (a comment, or the mark alone, ignored).
  bool leading_mark(std::string_view text, lines::effect effect, PropertyMap::iterator node) {
    std::string_view const unmarked = text.substr(fl::text::utf8_mark.size());
    std::string const key = effect == lines::effect::set || effect == lines::effect::appended ||
                                    effect == lines::effect::list_on_single
                                ? ustring_to_utf8(node->first)
                                : std::string();
    std::string const meant(fl::text::without_utf8_mark(key));
    std::string cost;
    bool explained = false;
    if (unmarked.starts_with('#') || lines::trim(unmarked).empty()) {
      cost = "the first line is read as " + quoted(text) + ", not as " +
             (unmarked.starts_with('#') ? "a comment" : "a blank line");
      if (!key.empty()) cost += ": it sets the key " + quoted(key);
      explained = key.empty();
    } else if (effect == lines::effect::set) {
      cost = "the first key is read as " + quoted(key) +
             (meant.empty() ? std::string() : ", so " + quoted(meant) + " is not set");
    } else if (!key.empty()) {
      cost = "the first list key is read as " + quoted(key) + ", so " + quoted(meant) +
             " gets no entry from this line";
    } else {
      cost = "the first line is read as " + quoted(text);
    }
    add(1, row("byte-order-mark"), cost + "; save the file without a byte-order mark");
    return explained;
  }

  // A line that another format would take for a comment: what it does here instead.
  bool foreign_comment(std::string_view text, std::string_view marker, lines::effect effect,
                       PropertyMap::iterator node) {
    std::string does = "the line is ignored";
    if (effect == lines::effect::set)
      does = "this line sets the key " + quoted(ustring_to_utf8(node->first));
    else if (effect == lines::effect::appended)
      does = "this line adds an entry to the list " + quoted(ustring_to_utf8(node->first));
    add(column(text.data()), row("foreign-comment"),
        quoted(marker) + " does not start a comment here: " + does +
            "; write '#' to start a comment");
    return true;
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

  void assigned(std::string_view text, PropertyMap::iterator node, bool explained) {
    std::size_t const eq = text.find('=');
    Place const place{line_, key_column(text, eq), value_column(text, eq), sections_.size()};
    auto const [slot, first] = place_of_.try_emplace(&*node, place);
    if (!first) {
      overridden_.emplace_back(slot->second, &*node);
      slot->second = place;
    }
    if (!explained) key_shape(text, eq, node->first);
    comment_in_value(text, eq, "value", node->first);
  }

  void appended(std::string_view text, PropertyMap::iterator node, bool explained) {
    std::size_t const dot = text.find('.');
    place_of_.try_emplace(
        &*node, Place{line_, key_column(text, dot), value_column(text, dot), sections_.size()});
    if (!explained) key_shape(text, dot, node->first);
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

  // Characters in the key before `separator` that say the line was meant otherwise.
  void key_shape(std::string_view text, std::size_t separator, ustring const& key) {
    std::string_view const written = lines::trim(text.substr(0, separator));
    char const* first[3] = {nullptr, nullptr, nullptr};
    unsigned seen = 0;
    for (char const& c : written) {
      unsigned const kind = key_bytes[static_cast<unsigned char>(c)];
      if ((kind & ~seen) != 0) first[kind] = &c;
      seen |= kind;
    }
    if (first[bracket] != nullptr)
      add(column(first[bracket]), row("bracket-in-key"),
          "key " + quoted(ustring_to_utf8(key)) +
              " holds '[' or ']': it is an ordinary key, neither a list nor a section; list "
              "entries are written as product.<name> or platform.<name>");
    char const* const odd = first[unlikely];
    if (odd == nullptr) return;
    char const c = *odd;
    std::string const what = c == ' '                ? "a blank"
                             : c == '\t'             ? "a tab"
                             : c == '/' || c == '\\' ? "a slash"
                                                     : "a quote";
    add(column(odd), row("unlikely-key"),
        "key " + quoted(ustring_to_utf8(key)) + " holds " + what +
            ": installer keys are single words, so this line is likely of another format; "
            "write key = value, such as installmode = typical");
  }

  // An assignment that a later one of the same key replaced; says which section's value wins
  // when they stand under different ones.
  void overridden(Place const& place, PropertyMap::value_type const* entry) {
    Place const& winner = place_of_[entry];
    std::string const key = quoted(ustring_to_utf8(entry->first));
    if (place.section == winner.section)
      return add_at(place.line, place.key, row("duplicate-key"),
                    "key " + key + " is assigned again on line " + std::to_string(winner.line) +
                        ", which wins: this value is ignored");
    add_at(place.line, place.key, row("duplicate-key"),
           "key " + key + " of line " + std::to_string(place.line) + " " + under(place) +
               " is overridden by line " + std::to_string(winner.line) + " " + under(winner) +
               ": sections do not separate keys, the last value wins");
  }
  [[nodiscard]] std::string under(Place const& place) const {
    return place.section == 0 ? "(before any section)" : "under " + sections_[place.section - 1];
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
    if (auto const name = section_name(text)) {
      std::string const header = "[" + shown(*name) + "]";
      sections_.push_back(header);
      bool const whole = text.starts_with('[') && text.ends_with(']');
      return add(column(text.data()), row("section-header"),
                 quoted(text) + " is a section header" +
                     (whole ? std::string()
                            : " (" + header + " with its " +
                                  (text.starts_with('[') ? "']'" : "'['") + " missing)") +
                     ", but answer files have none: line ignored; delete it (the keys after it "
                     "are read all the same)");
    }
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
      // A key glued to a leading byte-order mark is suggested what it would be without it.
      if (rule == rules_.end())
        add_at(place.line, place.key, row("unknown-key"),
               "key " + quoted(name) + " has no rule: its value is never checked" +
                   did_you_mean(keys.nearest(fl::text::without_utf8_mark(name))));
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
  lines::encoding_sniffer sniffer_;
  bool decided_ = false;
  bool foreign_ = false;  // the file is not UTF-8: its one finding says so
  // Where each entry's latest assignment stands, or its first list line; map nodes are stable.
  // A flat table: one allocation per growth instead of one per key.
  boost::unordered_flat_map<PropertyMap::value_type const*, Place> place_of_;
  // Assignments that a later one of the same key replaced: where they stand, and the entry.
  std::vector<std::pair<Place, PropertyMap::value_type const*>> overridden_;
  // The section headers seen so far, as shown in messages ("[Options]").
  std::vector<std::string> sections_;
  std::size_t content_lines_ = 0;
  std::size_t ignored_lines_ = 0;
};

}  // namespace

InputFileReport checkInputFile(ustring const& fileName,
                               std::map<std::string, std::string> const& rules) {
  Reader reader(rules);
  std::error_code const error =
      lines::read_lines(fileName, [&reader](std::string_view line) { reader.read_line(line); });
  if (error) reader.unreadable(error);
  return std::move(reader).finish();
}

InputFileReport text_check::check_text(std::string_view text,
                                       std::map<std::string, std::string> const& rules) {
  Reader reader(rules);
  // Lines as a file's are read: split at line feeds, a last one without a line feed included.
  while (!text.empty()) {
    std::size_t const end = std::min(text.find('\n'), text.size());
    reader.read_line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
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
