#pragma once

/// \file
/// Validation of argument values against rule texts.

#include <map>
#include <string>
#include <vector>

#include "install/cpputil/export.hpp"

namespace install::cpputil {

/// True when `value` equals, byte for byte, one of the comma-separated entries of `list`;
/// entries may be empty (the empty list is one empty entry). Never throws.
[[nodiscard]] QX_CPPUTIL_API bool validate_strval(std::string const& value,
                                                  std::string const& list) noexcept;
/// True for "true", "false", "yes" or "no" in any case; false for anything else, blanks
/// around them included. Never throws.
[[nodiscard]] QX_CPPUTIL_API bool validate_boolval(std::string const& value);
/// True when std::stoi accepts `value` (leading digits in int range; a trailing rest is
/// ignored); false when it throws. Never throws.
[[nodiscard]] QX_CPPUTIL_API bool validate_intval(std::string const& value) noexcept;
/// True when `path` (UTF-8) names an existing file holding at least one byte; false for an
/// empty file, a missing path or a failing existence test.
[[nodiscard]] QX_CPPUTIL_API bool validate_rfile(std::string const& path);

/// Checks `value` against `rule` ("strval:a,b", "boolval", "intval", "rfile"; other kinds
/// pass). Throws std::invalid_argument "key='k' value='v' rule='r'" for a failed value rule,
/// and std::runtime_error with that text for a failed "rfile", after logging two lines.
QX_CPPUTIL_API void validate_arg(std::string const& key, std::string const& value,
                                 std::string const& rule);
/// Applies validate_arg to every argument that has a rule, in key order, and throws on the
/// first failure; arguments without a rule and rules without an argument are skipped.
QX_CPPUTIL_API void validate_args(std::map<std::string, std::string> const& args,
                                  std::map<std::string, std::string> const& rules);

/// One kind of rule that validate_arg checks, for help texts and editors.
struct ValidationRuleKind {
  /// The kind as a rule text starts with it, such as "intval".
  std::string name;
  /// What a value must be to pass, in plain English, such as "a whole number". For a kind
  /// that takes its allowed values, the words that come before them ("one of: ").
  std::string accepts;
  /// Whether the rule text goes on with ':' and the comma-separated allowed values
  /// ("strval:typical,custom").
  bool takes_values = false;
};

/// Every kind of rule that validate_arg checks, in a fixed order; a rule of any other kind
/// accepts every value. A kind added to the validator is listed here by itself. Never throws
/// but for allocation.
[[nodiscard]] QX_CPPUTIL_API std::vector<ValidationRuleKind> validation_rule_kinds();

}  // namespace install::cpputil
