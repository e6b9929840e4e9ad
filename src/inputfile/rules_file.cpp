// Rules files, and input-file answers as the arguments that validation takes.
#include <string_view>
#include <utility>

#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "inputfile/input_lines.hpp"
#include "install/cpputil/validation.hpp"

namespace install::cpputil {
namespace {

namespace lines = input_lines;

std::string quoted(std::string_view text) {
  std::string out(1, '\'');  // built in place: GCC 12 -O3 misreads "'" + std::string
  out.append(fl::text::excerpt(text)).push_back('\'');
  return out;
}

}  // namespace

RulesFile readRulesFile(ustring const& fileName) {
  RulesFile file;
  fl::filesystem::line_reader in(fl::filesystem::make_path(fileName));
  lines::encoding_sniffer sniffer;
  bool sniffed = false;
  std::map<std::string, std::size_t, std::less<>> line_of;  // where each key got its rule
  std::string line;
  for (std::size_t number = 1; in.next(line); ++number) {
    sniffed = sniffed || sniffer.add(line);
    std::string_view text = line;
    if (number == 1) text = fl::text::without_utf8_mark(text);
    text = lines::trim(text);
    if (!lines::is_content(text)) continue;
    auto const equals = text.find('=');
    std::string_view const key = lines::trim(text.substr(0, equals));
    if (equals == std::string_view::npos || key.empty()) {
      file.findings.push_back({number, "expected key=rule, found \"" + fl::text::excerpt(text) +
                                           "\"; write the key, '=' and its rule"});
      continue;
    }
    std::string_view const rule = lines::trim(text.substr(equals + 1));
    auto const [given, first] = line_of.try_emplace(std::string(key), number);
    if (!first) {
      file.findings.push_back(
          {number, "key " + quoted(key) + " has the rule " + quoted(file.rules[given->first]) +
                       " on line " + std::to_string(given->second) + " and " + quoted(rule) +
                       " on line " + std::to_string(number) + ": give it one rule"});
      given->second = number;
    }
    file.rules.insert_or_assign(std::string(key), std::string(rule));
  }
  if (fl::text::encoding const form = sniffer.decide(); form != fl::text::encoding::utf8) {
    file.rules.clear();
    file.findings.assign(
        1, {0, "the file is " + std::string(fl::text::name_of(form)) + " text; save it as UTF-8"});
  }
  if (std::error_code const error = in.error()) {
    file.error = error.value();
    file.findings.insert(file.findings.begin(),
                         {0, (in.is_open() ? "cannot be read to its end: " : "cannot be read: ") +
                                 fl::filesystem::failure_reason(error)});
  }
  return file;
}

std::map<std::string, std::string> toValidationArguments(PropertyMap const& properties) {
  std::map<std::string, std::string> arguments;
  for (auto const& [key, value] : properties) {
    if (auto const* single = std::get_if<ustring>(&value))
      arguments.emplace_hint(arguments.end(), fl::i18n::ustring_to_utf8(key),
                             fl::i18n::ustring_to_utf8(*single));
  }
  return arguments;
}

}  // namespace install::cpputil
