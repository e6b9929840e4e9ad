#pragma once

/// \file
/// ustring and the conversions between UTF-8 and UTF-16.

#include <string>
#include <string_view>

#include "fl/platform_export.hpp"

/// UTF-16 text, the platform's type for paths and user-visible text.
using ustring = std::u16string;

namespace fl::i18n {

/// Converts UTF-8 to UTF-16. Never throws for bad input: each maximal ill-formed
/// subsequence (truncated, overlong, surrogate or out-of-range) becomes one U+FFFD.
QX_PLATFORM_API ustring utf8_to_ustring(std::string const& utf8);
/// Converts a zero-terminated UTF-8 text; a null pointer gives the empty text.
QX_PLATFORM_API ustring utf8_to_ustring(char const* utf8);

/// Converts UTF-16 to UTF-8. Never throws for bad input: each unpaired surrogate
/// becomes U+FFFD. Valid text round-trips byte for byte, NUL included.
QX_PLATFORM_API std::string ustring_to_utf8(ustring const& text);

/// Narrows UTF-16 to the platform's narrow form, which is UTF-8.
inline std::string to_string(ustring const& text) {
  return ustring_to_utf8(text);
}
/// Widens the platform's narrow form (UTF-8) to UTF-16.
inline ustring to_ustring(std::string const& text) {
  return utf8_to_ustring(text);
}

/// Appends the UTF-8 form of `text` to `out`, as ustring_to_utf8 converts it.
QX_PLATFORM_API void append_utf8(std::string& out, std::u16string_view text);
/// Appends the UTF-16 form of `utf8` to `out`, as utf8_to_ustring converts it.
QX_PLATFORM_API void append_utf16(ustring& out, std::string_view utf8);

}  // namespace fl::i18n
