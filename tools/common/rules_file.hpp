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

/// The rules of a file of "key = rule" lines, as validate_args takes them. A leading UTF-8
/// byte-order mark is skipped, lines are trimmed, and blank lines and '#' comments are skipped
/// as in an input file. Keys keep their case: validate_args compares them exactly with the
/// input file's lower-cased keys, so a key such as "Port" never matches there, and
/// checkInputFile reports it rather than the tool hiding it. Throws RulesFileError naming the
/// file (and the line), each shown as an excerpt.
[[nodiscard]] std::map<std::string, std::string> read_rules_file(std::string const& path);

}  // namespace qx::tools
