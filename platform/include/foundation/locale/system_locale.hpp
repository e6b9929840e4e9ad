#pragma once

/// \file
/// The user's locale as the system reports it.

#include <string>

#include "fl/platform_export.hpp"

namespace foundation::locale {

/// The user's locale for one category, as a language and a region.
class QX_PLATFORM_API system_locale {
 public:
  /// Locale categories.
  enum class category {
    /// Character classification: LC_ALL, then LC_CTYPE, then LANG.
    ctype = 0,
    /// User interface messages: LC_ALL, then LC_MESSAGES, then LANG.
    messages = 1,
  };

  /// A locale with the given parts, kept as given.
  system_locale(std::string language, std::string region);

  /// The user's locale for `cat`: the first of its variables that is set and non-empty,
  /// read as `language[_REGION][.codeset][@modifier]` (language lower-cased, region
  /// upper-cased). "C", "POSIX" (with any codeset), an unreadable value and no value at all
  /// give "en" and "US"; on macOS no value means CoreFoundation's current locale. Never needs
  /// the locale to be installed. Throws std::invalid_argument for an unknown category.
  [[nodiscard]] static system_locale get_locale(category cat);

  /// The language code, such as "en"; never empty for a locale from get_locale.
  [[nodiscard]] std::string const& language() const noexcept { return language_; }
  /// The region code, such as "US"; empty when the value named none.
  [[nodiscard]] std::string const& region() const noexcept { return region_; }

 private:
  std::string language_;
  std::string region_;
};

}  // namespace foundation::locale
