#include "rules_file.hpp"

#include "escape.hpp"
#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "install/cpputil/input_file_parser.hpp"

namespace qx::tools {

std::map<std::string, std::string> read_rules_file(std::string const& path) {
  fl::filesystem::line_reader in(fl::filesystem::make_path(path));
  if (!in.is_open())
    throw RulesFileError(excerpt(path) +
                         ": cannot be read: " + fl::filesystem::failure_reason(in.error()));
  install::cpputil::InputFileParser const text;
  std::map<std::string, std::string> rules;
  std::string line;
  for (int number = 1; in.next(line); ++number) {
    line = text.trim(std::string(number == 1 ? fl::text::without_utf8_mark(line) : line));
    if (!shouldAppend(line)) continue;
    auto const equals = line.find('=');
    std::string const key =
        equals == std::string::npos ? std::string() : text.trim(line.substr(0, equals));
    if (key.empty()) {
      throw RulesFileError(excerpt(path) + ":" + std::to_string(number) +
                           ": expected key=rule, found \"" + excerpt(line) + "\"");
    }
    rules[key] = text.trim(line.substr(equals + 1));
  }
  if (in.error() != 0)
    throw RulesFileError(excerpt(path) + ": cannot be read to its end: " +
                         fl::filesystem::failure_reason(in.error()));
  return rules;
}

}  // namespace qx::tools
