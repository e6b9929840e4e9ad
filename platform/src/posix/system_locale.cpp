#include "foundation/locale/system_locale.hpp"

#include <array>
#include <cstdlib>
#include <locale>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "system.hpp"

namespace foundation::locale {
namespace {

constexpr std::size_t max_part_length = 8;

// Letters, digits and case as the classic locale has them (ASCII only), whatever the
// process's locale is.
std::locale const& classic = std::locale::classic();

system_locale default_locale() {
  return {"en", "US"};
}

// Reads language[_REGION][.codeset][@modifier] by its shape alone, so a locale that is not
// installed reads as well as one that is. Returns nothing for a value of another shape.
std::optional<system_locale> parse(std::string_view value) {
  value = value.substr(0, value.find('@'));
  value = value.substr(0, value.find('.'));
  std::size_t const underscore = value.find('_');
  std::string_view const language = value.substr(0, underscore);
  std::string_view const region =
      underscore == std::string_view::npos ? std::string_view() : value.substr(underscore + 1);

  if (language == "C" || language == "POSIX") return default_locale();
  if (language.empty() || language.size() > max_part_length) return std::nullopt;
  if (region.size() > max_part_length) return std::nullopt;
  std::string lang;
  for (char const c : language) {
    if (!std::isalpha(c, classic)) return std::nullopt;
    lang.push_back(std::tolower(c, classic));
  }
  std::string reg;
  for (char const c : region) {  // letters, or digits as in es_419
    if (!std::isalnum(c, classic)) return std::nullopt;
    reg.push_back(std::toupper(c, classic));
  }
  return system_locale(std::move(lang), std::move(reg));
}

}  // namespace

system_locale::system_locale(std::string language, std::string region)
    : language_(std::move(language)), region_(std::move(region)) {}

system_locale system_locale::get_locale(category cat) {
  char const* specific = nullptr;
  switch (cat) {
    case category::ctype:
      specific = "LC_CTYPE";
      break;
    case category::messages:
      specific = "LC_MESSAGES";
      break;
    default:
      throw std::invalid_argument("system_locale: unknown category");
  }
  // The first variable that is set and non-empty decides, as for setlocale(cat, "").
  for (char const* name : {"LC_ALL", specific, "LANG"}) {
    char const* value = std::getenv(name);
    if (value != nullptr && *value != '\0') return parse(value).value_or(default_locale());
  }
  if (auto preference = qx::system::preferred_locale())
    return system_locale(std::move(preference->first), std::move(preference->second));
  return default_locale();
}

}  // namespace foundation::locale
