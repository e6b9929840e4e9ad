#pragma once

/// \file
/// Validation of argument values against rule texts; rules read from a file, and answers read
/// from an input file turned into the arguments that validation takes.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "install/cpputil/export.hpp"
#include "install/cpputil/input_file_parser.hpp"

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

/// A mistake in a rules file.
struct RulesFileFinding {
  /// 1-based, counting every physical line of the file; 0 for the file as a whole.
  std::size_t line = 0;
  /// English, one line: what is wrong and what to write instead. Text from the file is shown
  /// escaped (control characters, bytes that are not UTF-8) and cut after 200 bytes.
  std::string message;

  /// Equal when every field is.
  friend bool operator==(RulesFileFinding const&, RulesFileFinding const&) = default;
};

/// A rules file as read: its rules and every mistake in it.
struct RulesFile {
  /// Key to rule text, as validate_args and checkInputFile take them.
  std::map<std::string, std::string> rules;
  /// Every mistake, in line order; each is an error, and a caller that goes on despite one
  /// checks against rules other than the file's author meant.
  std::vector<RulesFileFinding> findings;
  /// The errno of the open or read that failed (the file missing, a folder, no permission);
  /// 0 when the file was read whole.
  int error = 0;

  /// Equal when every field is.
  friend bool operator==(RulesFile const&, RulesFile const&) = default;
};

/// Reads a rules file: one "key = rule" per line. Lines are trimmed of the whitespace that
/// input-file lines are trimmed of; blank lines and lines whose first character is '#' are
/// skipped, and so is a UTF-8 byte-order mark at the start of the file. The key is the text
/// before the first '=', trimmed and kept as written, case included (checkInputFile reports a
/// rule key that no input key can equal); the rule is the text after that '=', trimmed.
/// Findings: a line without '=' or without a key (`expected key=rule, found "<line>"`: the line
/// is skipped, the lines after it are read); a key given a second rule ("key 'port' has the
/// rule 'intval' on line 1 and 'boolval' on line 2: give it one rule", on the second line: the
/// later rule is kept, as a map assignment would); a file saved as UTF-16 or UTF-32 (line 0:
/// no rules are kept); a file that cannot be read, or not to its end (line 0, "cannot be
/// read: <the system's reason>", the errno in RulesFile::error, the rules read before the
/// failure kept). Never throws but for allocation.
[[nodiscard]] QX_CPPUTIL_API RulesFile readRulesFile(ustring const& fileName);

/// The single values of `properties` as validate_args takes them: key to value, both in UTF-8
/// (an unpaired surrogate as U+FFFD). List values (the keys product and platform) are left
/// out: validate_args takes one text per key, and no kind of rule checks a list, so a rule
/// given for a list key checks nothing.
[[nodiscard]] QX_CPPUTIL_API std::map<std::string, std::string> toValidationArguments(
    PropertyMap const& properties);

}  // namespace install::cpputil
