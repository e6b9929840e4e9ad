#include "install/cpputil/input_file_diagnostics.hpp"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include <boost/unordered/unordered_flat_map.hpp>

#include "inputfile/input_lines.hpp"
#include "inputfile/rule_kinds.hpp"

namespace install::cpputil {
namespace {

namespace lines = input_lines;
using fl::i18n::ustring_to_utf8;
using Severity = DiagnosticSeverity;

constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

std::string quoted(std::string_view text) {
  std::string out(1, '\'');  // built in place: GCC 12 -O3 misreads "'" + std::string
  out.append(text).push_back('\'');
  return out;
}

std::size_t edit_distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t const substitution = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, substitution});
    }
  }
  return row.back();
}

// "; did you mean <candidate>?" when exactly one candidate lies within an edit distance of 2
// and of a third of `word`'s length, compared in ASCII lower case; otherwise nothing, since a
// wrong suggestion misleads more than none.
std::string suggestion(std::string_view word, std::vector<std::string_view> const& candidates) {
  std::string const lowered = lines::ascii_lower(word);
  std::string_view found;
  int matches = 0;
  for (std::string_view const candidate : candidates) {
    std::size_t const distance = edit_distance(lowered, lines::ascii_lower(candidate));
    if (distance <= 2 && distance * 3 <= word.size() && ++matches == 1) found = candidate;
  }
  return matches == 1 ? "; did you mean " + std::string(found) + "?" : std::string();
}

bool is_utf8(std::string_view text) {
  bool const ascii = std::all_of(text.begin(), text.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii) return true;
  ustring wide;
  fl::i18n::append_utf16(wide, text);
  return ustring_to_utf8(wide) == text;
}

class Reader {
 public:
  explicit Reader(std::map<std::string, std::string> const& rules) : rules_(rules) {}

  void read_line(std::string_view physical) {
    ++line_;
    if (line_ == 1 && physical.starts_with(byte_order_mark))
      add(Severity::warning, "byte-order-mark",
          "the file starts with a UTF-8 byte-order mark: its first line is never read as a "
          "comment or a key");
    std::string_view const text = lines::trim(physical);
    if (!lines::is_content(text)) return;
    if (!is_utf8(text))
      add(Severity::warning, "invalid-utf8",
          "line holds bytes that are not UTF-8: they become U+FFFD in the map");
    PropertyMap::iterator node;
    switch (lines::apply_line(report_.properties, text, &node)) {
      case lines::effect::set:
        return assigned(text, node);
      case lines::effect::appended:
        comment_in_value(text, text.find('.'), "list entry", node->first);
        line_of_.try_emplace(&*node, line_);
        return;
      case lines::effect::no_shape:
        return ignored(text);
      case lines::effect::empty_key:
        return add(Severity::error, "empty-key", "assignment without a key: line ignored");
      case lines::effect::list_key_assignment: {
        std::string const key = lines::ascii_lower(lines::trim(text.substr(0, text.find('='))));
        return add(Severity::error, "list-key-assignment",
                   "assignment to the list key " + quoted(key) +
                       " is ignored; list entries are written as " + key + ".<entry>");
      }
      case lines::effect::list_on_single:
        return add(Severity::error, "list-line-ignored",
                   "list line for " + quoted(ustring_to_utf8(node->first)) +
                       ", which holds the single value of line " +
                       std::to_string(line_of_[&*node]) + ": line ignored");
    }
  }

  // The file did not open, or a read failed part-way.
  void unreadable(int error) {
    add_at(0, Severity::error, "unreadable-file",
           (line_ == 0 ? "the file cannot be read: " : "the file cannot be read to its end: ") +
               fl::filesystem::failure_reason(error));
  }

  InputFileReport finish() && {
    for (auto const& [line, entry] : overridden_)
      add_at(line, Severity::warning, "duplicate-key",
             "key " + quoted(ustring_to_utf8(entry->first)) + " is assigned again on line " +
                 std::to_string(line_of_[entry]) + ", which wins: this value is ignored");
    if (!rules_.empty()) check_rules();
    std::stable_sort(report_.diagnostics.begin(), report_.diagnostics.end(),
                     [](auto const& a, auto const& b) { return a.line < b.line; });
    return std::move(report_);
  }

 private:
  void add(Severity severity, std::string_view code, std::string message) {
    add_at(line_, severity, code, std::move(message));
  }
  void add_at(std::size_t line, Severity severity, std::string_view code, std::string message) {
    report_.diagnostics.push_back({line, severity, std::string(code), std::move(message)});
  }

  void assigned(std::string_view text, PropertyMap::iterator node) {
    auto const [slot, first] = line_of_.try_emplace(&*node, line_);
    if (!first) {
      overridden_.emplace_back(slot->second, &*node);
      slot->second = line_;
    }
    comment_in_value(text, text.find('='), "value", node->first);
  }

  void comment_in_value(std::string_view text, std::size_t separator, std::string_view what,
                        ustring const& key) {
    std::string_view const value = lines::value_text(text, separator);
    if (value.find(" #") == std::string_view::npos) return;
    add(Severity::note, "comment-in-value",
        std::string(what) + " " + quoted(value) + " of key " + quoted(ustring_to_utf8(key)) +
            " contains \" #\": the text after '#' stays part of it");
  }

  void ignored(std::string_view text) {
    std::string message =
        "line is neither key=value nor a product. or platform. list line: ignored";
    std::string const lowered = lines::ascii_lower(text);
    if (lowered.find("product.") != std::string::npos ||
        lowered.find("platform.") != std::string::npos)
      message += "; list lines need lower-case product. or platform.";
    add(Severity::error, "ignored-line", std::move(message));
  }

  void check_rules() {
    std::vector<std::string_view> ruled_keys, kinds;
    for (auto const& entry : rules_) ruled_keys.emplace_back(entry.first);
    for (auto const& kind : rule_kinds::kinds) kinds.push_back(kind.name);
    for (auto const& entry : report_.properties) {
      auto const* single = std::get_if<ustring>(&entry.second);
      if (single == nullptr) continue;  // list values are not validated
      std::string const name = ustring_to_utf8(entry.first), text = ustring_to_utf8(*single);
      std::size_t const line = line_of_[&entry];
      auto const rule = rules_.find(name);
      if (rule == rules_.end()) {
        add_at(line, Severity::warning, "unknown-key",
               "key " + quoted(name) + " has no rule: its value is never checked" +
                   suggestion(name, ruled_keys));
        continue;
      }
      auto const [kind, parameter] = rule_kinds::split(rule->second);
      auto const* const row = rule_kinds::find(kind);
      if (row != nullptr && !row->accepts(text, std::string(parameter)))
        add_at(line, Severity::error, "rule-failed",
               "value " + quoted(text) + " of key " + quoted(name) + " fails its rule " +
                   quoted(rule->second));
    }
    for (auto const& [name, rule] : rules_) {
      auto const entry = report_.properties.find(fl::i18n::utf8_to_ustring(name));
      std::size_t const at = entry == report_.properties.end() ? 0 : line_of_[&*entry];
      std::string_view const kind = rule_kinds::split(rule).first;
      if (rule_kinds::find(kind) == nullptr)
        add_at(at, Severity::warning, "unknown-rule",
               "rule " + quoted(rule) + " of key " + quoted(name) + " has the unknown kind " +
                   quoted(kind) + ": the value is never checked" + suggestion(kind, kinds));
      if (entry == report_.properties.end())
        add_at(0, Severity::note, "missing-key",
               "key " + quoted(name) + " has the rule " + quoted(rule) +
                   " but never appears in the file");
    }
  }

  std::map<std::string, std::string> const& rules_;
  InputFileReport report_;
  std::size_t line_ = 0;
  // The line of each entry's latest assignment, or of its first list line; map nodes are stable.
  // A flat table: one allocation per growth instead of one per key.
  boost::unordered_flat_map<PropertyMap::value_type const*, std::size_t> line_of_;
  // Assignments that a later one of the same key replaced: line and entry.
  std::vector<std::pair<std::size_t, PropertyMap::value_type const*>> overridden_;
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
