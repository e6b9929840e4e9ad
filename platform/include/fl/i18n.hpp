#pragma once

/// \file
/// ustring and the conversions between UTF-8 and UTF-16.

#include <cstddef>
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

/// The length of the longest prefix of `text` that is well-formed UTF-8: text.size() for
/// well-formed text, else the offset of the first byte of the first ill-formed sequence
/// (the same sequences that utf8_to_ustring replaces by U+FFFD). Allocates nothing.
[[nodiscard]] QX_PLATFORM_API std::size_t valid_utf8_length(std::string_view text) noexcept;
/// True when `text` is well-formed UTF-8 (NUL included): it converts to UTF-16 and back
/// unchanged.
[[nodiscard]] inline bool is_valid_utf8(std::string_view text) noexcept {
  return valid_utf8_length(text) == text.size();
}

/// Appends the UTF-8 form of `text` to `out`, as ustring_to_utf8 converts it.
QX_PLATFORM_API void append_utf8(std::string& out, std::u16string_view text);
/// Appends the UTF-16 form of `utf8` to `out`, as utf8_to_ustring converts it.
QX_PLATFORM_API void append_utf16(ustring& out, std::string_view utf8);

}  // namespace fl::i18n
