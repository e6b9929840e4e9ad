#include "install/cpputil/input_file_parser.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>

#include <boost/algorithm/string/replace.hpp>

#include "fl/filesystem.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace {

foundation::log::basic_diagnostic_logger<char> trace_channel("install::cpputil::InputFileParser");

// Keys whose values are lists, tried in this order on lines without '='.
std::vector<std::string> const multiValueKeys{"product", "platform"};

// Exactly these six bytes; NUL, other control bytes and bytes from 0x80 up are content.
constexpr std::string_view whitespace = "\t\n\v\f\r ";

std::string_view ltrim_view(std::string_view text) {
  auto const first = text.find_first_not_of(whitespace);
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::string_view rtrim_view(std::string_view text) {
  auto const last = text.find_last_not_of(whitespace);
  return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

std::string_view trim_view(std::string_view text) {
  return rtrim_view(ltrim_view(text));
}

bool should_append(std::string_view line) {
  if (!line.empty() && line.front() == '#') {
    return false;
  }
  return line.find_first_not_of(whitespace) != std::string_view::npos;
}

// Only 'A'..'Z' change, whatever C locale the process has set.
std::string ascii_lower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return out;
}

ustring to_ustring(std::string_view utf8) {
  ustring out;
  fl::i18n::append_utf16(out, utf8);
  return out;
}

// The key of a line: the text before `separator`, trimmed and lower-cased.
std::string key_before(std::string_view line, std::size_t separator) {
  return ascii_lower(trim_view(line.substr(0, separator)));
}

// The value of a line: the text after the run of `mark` starting at `separator`, trimmed.
ustring value_after(std::string_view line, std::size_t separator, char mark) {
  auto const start = line.find_first_not_of(mark, separator);
  return start == std::string_view::npos ? ustring() : to_ustring(trim_view(line.substr(start)));
}

bool is_list_line(std::string_view line) {
  return std::any_of(multiValueKeys.begin(), multiValueKeys.end(), [line](std::string const& key) {
    std::string const marker = key + '.';
    return line.find(marker) != std::string_view::npos;
  });
}

bool is_list_key(std::string_view key) {
  return std::find(multiValueKeys.begin(), multiValueKeys.end(), key) != multiValueKeys.end();
}

}  // namespace

bool shouldAppend(std::string const& line) {
  return should_append(line);
}

namespace install::cpputil {

std::string InputFileParser::getUserInputsFromFile(ustring const& fileName) const {
  fl::filesystem::basic_path const path =
      fileName.empty()
          ? fl::filesystem::basic_path()
          : fl::filesystem::basic_path(fl::filesystem::detail::make_native_form(fileName, true));
  if (!fl::filesystem::exists(path)) {
    throw std::runtime_error("input file does not exist!");
  }
  fl::filesystem::basic_ifstream<char> in(path, std::ios_base::in);
  if (!in.is_open()) {
    return {};
  }
  std::string inputs;
  std::string line;
  while (std::getline(in, line)) {
    std::string_view const trimmed = trim_view(line);
    if (!should_append(trimmed)) {
      continue;
    }
    FL_TRACE(trace_channel, foundation::log::info_level, " line=", trimmed);
    inputs.append(trimmed);
    inputs.push_back('\n');
  }
  in.close();
  return inputs;
}

std::string InputFileParser::trim(std::string const& text) const {
  return std::string(trim_view(text));
}

std::string InputFileParser::ltrim(std::string const& text) const {
  return std::string(ltrim_view(text));
}

std::string InputFileParser::rtrim(std::string const& text) const {
  return std::string(rtrim_view(text));
}

std::string InputFileParser::stringToLowerCase(std::string const& text) const {
  return ascii_lower(text);
}

PropertyMap InputFileParser::parse(ustring const& fileName) {
  std::string const inputs = getUserInputsFromFile(fileName);
  if (inputs.empty()) {
    return {};
  }
  return convertInputsToPropertyMap(inputs);
}

PropertyMap InputFileParser::convertInputsToPropertyMap(std::string const& inputs) {
  PropertyMap properties;
  std::string_view rest(inputs);
  // Text after the last "\n" is an unfinished line and is never read.
  for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    std::string_view const line = rest.substr(0, end);
    rest.remove_prefix(end + 1);

    if (auto const eq = line.find('='); eq != std::string_view::npos) {
      std::string const key = key_before(line, eq);
      // Invalid UTF-8 never converts to ASCII, so comparing the bytes here matches
      // comparing the converted key.
      if (key.empty() || is_list_key(key)) {
        continue;
      }
      properties.insert_or_assign(to_ustring(key), PropertyValue(value_after(line, eq, '=')));
      continue;
    }
    if (!is_list_line(line)) {
      continue;
    }
    auto const dot = line.find('.');
    ustring value = value_after(line, dot, '.');
    removeUnderscores(value);
    auto const slot =
        properties.try_emplace(to_ustring(key_before(line, dot)), std::vector<ustring>{}).first;
    // A key that already holds a single value keeps it.
    if (auto* list = std::get_if<std::vector<ustring>>(&slot->second)) {
      list->push_back(std::move(value));
    }
  }
  return properties;
}

void InputFileParser::removeUnderscores(ustring& text) {
  boost::algorithm::replace_all(text, u"_", u" ");
}

}  // namespace install::cpputil
