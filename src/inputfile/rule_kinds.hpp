#pragma once

// The kinds of validation rule, in one table: for each kind its predicate, the exception a
// failed value raises, the lines it logs first, and what the checker and the template say of
// it. A new kind is one row here, plus its predicate and its test. Internal to the library; the
// fuzz target checks against it too.

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "install/cpputil/validation.hpp"

namespace install::cpputil::rule_kinds {

/// The exception a failed value raises.
enum class failure { invalid_argument, runtime_error };

/// A line logged after a failed value: `before` + the value + `after`.
struct log_line {
  std::string_view before;
  std::string_view after;
};

/// The part of a value that a rule reads, when it reads less than the whole value: its length
/// in bytes, what it is read as, and what to call it ("number").
struct read_part {
  std::size_t length;
  std::string as;
  std::string_view noun;
};

/// One kind of rule.
struct rule_kind {
  std::string_view name;
  bool (*accepts)(std::string const& value, std::string const& parameter);
  failure raises;
  std::span<log_line const> logged;
  /// What a valid value is, in plain words for an answer file's comments; for a kind that
  /// names its allowed values, the words before them.
  std::string_view description;
  /// Whether the parameter is the ','-separated list of allowed values.
  bool names_values = false;
  /// What the checker adds to a failed value of this kind ("; boolval accepts ..."); a kind
  /// that names its values suggests the nearest one instead.
  std::string_view hint = {};
  /// For an accepted value, the part the rule reads when it ignores the rest of the value;
  /// nullopt when the whole value counts. Null for a kind that always reads the whole value.
  std::optional<read_part> (*reads)(std::string const& value) = nullptr;
};

/// What std::stoi, and so intval, reads of an accepted value: its leading number.
[[nodiscard]] inline std::optional<read_part> leading_number(std::string const& value) {
  std::size_t length = 0;
  int const number = std::stoi(value, &length, 10);
  if (length == value.size()) return std::nullopt;
  return read_part{length, std::to_string(number), "number"};
}

inline constexpr log_line file_rule_lines[] = {
    {"Error reading file ", ""},
    {"File '", "' does not exist or it's empty"},
};

inline constexpr rule_kind kinds[] = {
    {"strval",
     [](std::string const& value, std::string const& list) { return validate_strval(value, list); },
     failure::invalid_argument,
     {},
     "one of: ",
     true},
    {"boolval",
     [](std::string const& value, std::string const&) { return validate_boolval(value); },
     failure::invalid_argument,
     {},
     "yes, no, true or false",
     false,
     "; boolval accepts true, false, yes or no, in any case"},
    {"intval",
     [](std::string const& value, std::string const&) { return validate_intval(value); },
     failure::invalid_argument,
     {},
     "a whole number",
     false,
     "; intval accepts a value that starts with a whole number from -2147483648 to 2147483647",
     leading_number},
    {"rfile", [](std::string const& path, std::string const&) { return validate_rfile(path); },
     failure::runtime_error, file_rule_lines, "the path of an existing, non-empty file"},
};

/// The row of `kind` (compared exactly), or nullptr for a kind that checks nothing.
[[nodiscard]] inline rule_kind const* find(std::string_view kind) noexcept {
  for (rule_kind const& row : kinds) {
    if (row.name == kind) return &row;
  }
  return nullptr;
}

/// The entries of a strval list, as validate_strval reads them: split at every ',', empty
/// entries included (the empty list is one empty entry).
[[nodiscard]] inline std::vector<std::string_view> allowed_values(std::string_view list) {
  std::vector<std::string_view> values;
  for (std::size_t start = 0, comma = 0; comma != std::string_view::npos; start = comma + 1) {
    comma = list.find(',', start);
    values.push_back(list.substr(start, comma - start));
  }
  return values;
}

/// A rule text's kind (the text before the first ':', or all of it) and its parameter (the
/// text after the first ':', or all of it when there is no ':').
[[nodiscard]] inline std::pair<std::string_view, std::string_view> split(
    std::string_view rule) noexcept {
  auto const colon = rule.find(':');
  if (colon == std::string_view::npos) return {rule, rule};
  return {rule.substr(0, colon), rule.substr(colon + 1)};
}

}  // namespace install::cpputil::rule_kinds
