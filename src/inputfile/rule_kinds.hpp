#pragma once

// The kinds of validation rule, in one table: for each kind its predicate, the exception a
// failed value raises and the lines it logs first. A new kind is one row here, plus its
// predicate and its test. Internal to the library; the fuzz target checks against it too.

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
};

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
     "yes, no, true or false"},
    {"intval",
     [](std::string const& value, std::string const&) { return validate_intval(value); },
     failure::invalid_argument,
     {},
     "a whole number"},
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
