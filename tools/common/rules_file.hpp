#pragma once

#include <map>
#include <stdexcept>
#include <string>

namespace qx::tools {

/// A rules file that cannot be read, or a line of it that is not key=rule.
class RulesFileError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The rules of a file of "key = rule" lines, as validate_args takes them. Lines are trimmed,
/// blank lines and '#' comments are skipped as in an input file, and keys are lower-cased
/// because the input file's keys are. Throws RulesFileError naming the file (and the line).
[[nodiscard]] std::map<std::string, std::string> read_rules_file(std::string const& path);

}  // namespace qx::tools
