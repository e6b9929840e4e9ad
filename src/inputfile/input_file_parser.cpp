#include "install/cpputil/input_file_parser.hpp"

#include <string_view>

#include "foundation/log/diagnostic_logger.hpp"
#include "inputfile/input_lines.hpp"

namespace {

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::InputFileParser");

namespace lines = install::cpputil::input_lines;

// Hands each kept line of the file, trimmed, to `keep` in file order, tracing it first. A file
// that cannot be read gives what was read of it, as an empty file would: no reason is kept.
template <class Keep>
void read_kept_lines(ustring const& fileName, Keep&& keep) {
  static_cast<void>(lines::read_lines(fileName, [&keep](std::string_view line) {
    std::string_view const trimmed = lines::trim(line);
    if (!lines::is_content(trimmed)) return;
    FL_TRACE(trace_channel, foundation::log::info_level, " line=", trimmed);
    keep(trimmed);
  }));
}

}  // namespace

bool shouldAppend(std::string const& line) {
  return lines::is_content(line);
}

namespace install::cpputil {

std::string InputFileParser::getUserInputsFromFile(ustring const& fileName) const {
  std::string inputs;
  read_kept_lines(fileName, [&inputs](std::string_view line) {
    inputs.append(line);
    inputs.push_back('\n');
  });
  return inputs;
}

std::string InputFileParser::trim(std::string const& text) const {
  return std::string(lines::trim(text));
}

std::string InputFileParser::ltrim(std::string const& text) const {
  return std::string(lines::ltrim(text));
}

std::string InputFileParser::rtrim(std::string const& text) const {
  return std::string(lines::rtrim(text));
}

std::string InputFileParser::stringToLowerCase(std::string const& text) const {
  return lines::ascii_lower(text);
}

// The same map as converting getUserInputsFromFile's text, built line by line as the file
// is read, so that the whole text is never held beside the map. The conversion writes no
// trace, so the trace lines come out as they would.
PropertyMap InputFileParser::parse(ustring const& fileName) {
  PropertyMap properties;
  read_kept_lines(fileName,
                  [&properties](std::string_view line) { lines::apply_line(properties, line); });
  return properties;
}

PropertyMap InputFileParser::convertInputsToPropertyMap(std::string const& inputs) {
  PropertyMap properties;
  std::string_view rest(inputs);
  // Text after the last "\n" is an unfinished line and is never read.
  for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    lines::apply_line(properties, rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  return properties;
}

void InputFileParser::removeUnderscores(ustring& text) {
  lines::remove_underscores(text);
}

}  // namespace install::cpputil
