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

// The key of a line: the text before `separator`, trimmed, in UTF-16 and lower-cased.
// Lowering after the conversion gives the same text as lowering the bytes first: ASCII bytes
// become the same code units, and no other byte becomes an ASCII unit.
ustring key_before(std::string_view line, std::size_t separator) {
  ustring key = to_ustring(trim_view(line.substr(0, separator)));
  for (char16_t& c : key) {
    if (c >= u'A' && c <= u'Z') {
      c = static_cast<char16_t>(c - u'A' + u'a');
    }
  }
  return key;
}

// The value of a line: the text after the run of `mark` starting at `separator`, trimmed.
ustring value_after(std::string_view line, std::size_t separator, char mark) {
  auto const start = line.find_first_not_of(mark, separator);
  return start == std::string_view::npos ? ustring() : to_ustring(trim_view(line.substr(start)));
}

// Whether `line` holds `key` directly followed by '.', found without building that text.
bool holds_key_then_dot(std::string_view line, std::string_view key) {
  for (auto at = line.find(key); at != std::string_view::npos; at = line.find(key, at + 1)) {
    if (at + key.size() < line.size() && line[at + key.size()] == '.') return true;
  }
  return false;
}

bool is_list_line(std::string_view line) {
  return std::any_of(multiValueKeys.begin(), multiValueKeys.end(),
                     [line](std::string const& key) { return holds_key_then_dot(line, key); });
}

// A key converted from UTF-8 names a list key exactly when its UTF-8 form does.
bool is_list_key(std::u16string_view key) {
  return std::any_of(multiValueKeys.begin(), multiValueKeys.end(), [key](std::string const& name) {
    return std::equal(name.begin(), name.end(), key.begin(), key.end(),
                      [](char a, char16_t b) { return static_cast<unsigned char>(a) == b; });
  });
}

// Opens the file and hands each kept line, trimmed, to `keep` in file order. Throws for a
// missing file; a file that does not open gives no line.
template <class Keep>
void read_kept_lines(ustring const& fileName, Keep&& keep) {
  fl::filesystem::basic_path const path =
      fileName.empty()
          ? fl::filesystem::basic_path()
          : fl::filesystem::basic_path(fl::filesystem::detail::make_native_form(fileName, true));
  if (!fl::filesystem::exists(path)) {
    throw std::runtime_error("input file does not exist!");
  }
  fl::filesystem::basic_ifstream<char> in(path, std::ios_base::in);
  if (!in.is_open()) {
    return;
  }
  std::string line;
  while (std::getline(in, line)) {
    std::string_view const trimmed = trim_view(line);
    if (!should_append(trimmed)) {
      continue;
    }
    FL_TRACE(trace_channel, foundation::log::info_level, " line=", trimmed);
    keep(trimmed);
  }
  in.close();
}

// Applies one line (without its "\n") to the map: an assignment sets a single value, a
// list line appends to a list, anything else is ignored.
void add_line(install::cpputil::InputFileParser& parser, install::cpputil::PropertyMap& properties,
              std::string_view line) {
  using install::cpputil::PropertyValue;
  if (auto const eq = line.find('='); eq != std::string_view::npos) {
    ustring key = key_before(line, eq);
    if (key.empty() || is_list_key(key)) {
      return;
    }
    properties.insert_or_assign(std::move(key), PropertyValue(value_after(line, eq, '=')));
    return;
  }
  if (!is_list_line(line)) {
    return;
  }
  auto const dot = line.find('.');
  ustring value = value_after(line, dot, '.');
  parser.removeUnderscores(value);
  auto const slot = properties.try_emplace(key_before(line, dot), std::vector<ustring>{}).first;
  // A key that already holds a single value keeps it.
  if (auto* list = std::get_if<std::vector<ustring>>(&slot->second)) {
    list->push_back(std::move(value));
  }
}

}  // namespace

bool shouldAppend(std::string const& line) {
  return should_append(line);
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

// The same map as converting getUserInputsFromFile's text, built line by line as the file
// is read, so that the whole text is never held beside the map. The conversion writes no
// trace, so the trace lines come out as they would.
PropertyMap InputFileParser::parse(ustring const& fileName) {
  PropertyMap properties;
  read_kept_lines(
      fileName, [this, &properties](std::string_view line) { add_line(*this, properties, line); });
  return properties;
}

PropertyMap InputFileParser::convertInputsToPropertyMap(std::string const& inputs) {
  PropertyMap properties;
  std::string_view rest(inputs);
  // Text after the last "\n" is an unfinished line and is never read.
  for (auto end = rest.find('\n'); end != std::string_view::npos; end = rest.find('\n')) {
    add_line(*this, properties, rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
  return properties;
}

void InputFileParser::removeUnderscores(ustring& text) {
  boost::algorithm::replace_all(text, u"_", u" ");
}

}  // namespace install::cpputil
