#include "install/cpputil/validation.hpp"

#include <locale>
#include <stdexcept>
#include <string_view>

#include <boost/algorithm/string/predicate.hpp>

#include "errors/swallow.hpp"
#include "fl/filesystem.hpp"
#include "fl/i18n.hpp"
#include "inputfile/rule_kinds.hpp"
#include "install/cpputil/logger.hpp"

namespace install::cpputil {
// The one place this unit swallows exceptions: a predicate answers false for a value it cannot
// even test. What reaches it: std::stoi's std::invalid_argument and std::out_of_range, and the
// std::filesystem::filesystem_error of an existence test that fails (EACCES, ENAMETOOLONG, ELOOP).
using detail::false_when_throwing;

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
  return false_when_throwing([&value] {
    static_cast<void>(std::stoi(value, nullptr, 10));
    return true;
  });
}

bool validate_rfile(std::string const& path) {
  fl::filesystem::basic_path const file = fl::filesystem::make_path(path);
  if (!false_when_throwing([&file] { return fl::filesystem::exists(file); })) return false;
  fl::filesystem::basic_ifstream<char> in(file, std::ios::in | std::ios::binary | std::ios::ate);
  if (!in.is_open()) return false;
  bool const has_content = static_cast<std::streamoff>(in.tellg()) > 0;
  in.close();
  return has_content;
}

void validate_arg(std::string const& key, std::string const& value, std::string const& rule) {
  auto const [kind, parameter] = rule_kinds::split(rule);
  rule_kinds::rule_kind const* const row = rule_kinds::find(kind);
  if (row == nullptr || row->accepts(value, std::string(parameter))) return;

  for (rule_kinds::log_line const& line : row->logged) {
    std::string text(line.before);
    text += value;
    text += line.after;
    logger::append_message(fl::i18n::utf8_to_ustring(text));
  }
  std::string const message = "key='" + key + "' value='" + value + "' rule='" + rule + "'";
  if (row->raises == rule_kinds::failure::runtime_error) throw std::runtime_error(message);
  throw std::invalid_argument(message);
}

std::vector<ValidationRuleKind> validation_rule_kinds() {
  std::vector<ValidationRuleKind> kinds;
  for (rule_kinds::rule_kind const& row : rule_kinds::kinds)
    kinds.push_back({std::string(row.name), std::string(row.description), row.names_values});
  return kinds;
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
