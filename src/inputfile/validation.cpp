#include "install/cpputil/validation.hpp"

#include <locale>
#include <stdexcept>
#include <string_view>

#include <boost/algorithm/string/predicate.hpp>

#include "fl/filesystem.hpp"
#include "fl/i18n.hpp"
#include "install/cpputil/logger.hpp"

namespace install::cpputil {

bool validate_strval(std::string const& value, std::string const& list) noexcept {
  std::string_view rest(list);
  for (auto comma = rest.find(','); comma != std::string_view::npos; comma = rest.find(',')) {
    if (value == rest.substr(0, comma)) {
      return true;
    }
    rest.remove_prefix(comma + 1);
  }
  // The last entry, possibly empty (a trailing comma or the empty list).
  return value == rest;
}

bool validate_boolval(std::string const& value) {
  std::locale const locale;
  for (char const* accepted : {"true", "false", "yes", "no"}) {
    if (boost::algorithm::iequals(value, accepted, locale)) {
      return true;
    }
  }
  return false;
}

bool validate_intval(std::string const& value) noexcept {
  try {
    static_cast<void>(std::stoi(value, nullptr, 10));
    return true;
  } catch (...) {
    return false;
  }
}

bool validate_rfile(std::string const& path) {
  ustring const text = fl::i18n::utf8_to_ustring(path);
  fl::filesystem::basic_path const file =
      text.empty()
          ? fl::filesystem::basic_path()
          : fl::filesystem::basic_path(fl::filesystem::detail::make_native_form(text, true));
  try {
    if (!fl::filesystem::exists(file)) {
      return false;
    }
  } catch (...) {
    // An entry we cannot even test is as unusable as a missing one.
    return false;
  }
  fl::filesystem::basic_ifstream<char> in(file, std::ios::in | std::ios::binary | std::ios::ate);
  if (!in.is_open()) {
    return false;
  }
  bool const has_content = static_cast<std::streamoff>(in.tellg()) > 0;
  in.close();
  return has_content;
}

void validate_arg(std::string const& key, std::string const& value, std::string const& rule) {
  auto const colon = rule.find(':');
  std::string const kind = colon == std::string::npos ? rule : rule.substr(0, colon);
  std::string const parameter = colon == std::string::npos ? rule : rule.substr(colon + 1);

  bool const is_file_rule = kind == "rfile";
  bool valid = true;
  if (kind == "strval") {
    valid = validate_strval(value, parameter);
  } else if (kind == "boolval") {
    valid = validate_boolval(value);
  } else if (kind == "intval") {
    valid = validate_intval(value);
  } else if (is_file_rule) {
    valid = validate_rfile(value);
  }
  if (valid) {
    return;
  }

  std::string const message = "key='" + key + "' value='" + value + "' rule='" + rule + "'";
  if (is_file_rule) {
    logger::append_message(fl::i18n::utf8_to_ustring("Error reading file " + value));
    logger::append_message(
        fl::i18n::utf8_to_ustring("File '" + value + "' does not exist or it's empty"));
    throw std::runtime_error(message);
  }
  throw std::invalid_argument(message);
}

void validate_args(std::map<std::string, std::string> const& args,
                   std::map<std::string, std::string> const& rules) {
  for (auto const& [key, value] : args) {
    if (auto const rule = rules.find(key); rule != rules.end()) {
      validate_arg(key, value, rule->second);
    }
  }
}

}  // namespace install::cpputil
