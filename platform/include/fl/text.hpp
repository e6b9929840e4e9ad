#pragma once

/// \file
/// Questions about text, each answered once for the library, its tools and this layer: which
/// characters are controls, how outside text is shown (on a terminal, in JSON, in HTML), what a
/// byte-order mark or the pattern of NUL bytes says of a file's encoding, and how much of a
/// UTF-16 text is well-formed.

#include <cstddef>
#include <string>
#include <string_view>

#include "fl/platform_export.hpp"

/// Text: classifying, showing and sniffing it.
namespace fl::text {

/// True for the control characters: C0 (U+0000 to U+001F), DEL (U+007F) and C1 (U+0080 to
/// U+009F). A line reader that splits as Unicode does ends a line at some of them (NEL, U+0085),
/// so text shown to a person never carries one raw.
[[nodiscard]] constexpr bool is_control(char32_t c) noexcept {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

/// True when well-formed UTF-8 `text` holds a control character (is_control). Bytes that are
/// not part of well-formed UTF-8 are not characters, so they are no controls.
[[nodiscard]] QX_PLATFORM_API bool holds_control(std::string_view text) noexcept;

/// How escaped text is shown.
enum class escape_style {
  /// For a terminal or a one-line message: tab, line feed and carriage return as `\t`, `\n` and
  /// `\r`; the other C0 controls and DEL as `\xHH`; the C1 controls as `\u0085` and the
  /// byte-order mark (U+FEFF, invisible) as `\uFEFF`; each byte that is not part of well-formed
  /// UTF-8 as `\xFF` (an unpaired UTF-16 surrogate as `\uD800`).
  message,
  /// Inside a JSON string (without its quotes): '"' and '\' after a backslash; `\b`, `\f`, `\n`,
  /// `\r` and `\t` by name; the other C0 controls, DEL, the C1 controls and U+FEFF as `\u00hh`
  /// (`\ufeff`);
  /// each maximal ill-formed UTF-8 subpart (and each unpaired surrogate) as one U+FFFD, so the
  /// result is always valid JSON.
  json,
  /// Element text or an attribute value of an HTML page: '&', '<', '>', '"' and '\'' as
  /// character references; controls and ill-formed bytes shown as in message, so that what a
  /// reader sees is what the text holds and nothing in it can become markup.
  html,
  /// Every character as it is but NUL, as \0: for texts whose form is fixed, where only a NUL
  /// would end them early (an exception's what()).
  nul,
};

/// What escape and append_escaped do beyond their style.
struct escape_options {
  /// The style.
  escape_style style = escape_style::message;
  /// ASCII characters also shown after a backslash (message style only): with '\' among them
  /// the result reads back unambiguously; without it, escaping twice changes nothing.
  std::string_view also = {};
};

/// Appends UTF-8 `text` to `out`, escaped by `options`. Text that needs no escape is appended
/// as it is, in runs.
QX_PLATFORM_API void append_escaped(std::string& out, std::string_view text,
                                    escape_options options = {});
/// Appends UTF-16 `text` to `out` in UTF-8, escaped by `options`: the same rules, applied to
/// the characters of the text (an unpaired surrogate stands where a bad byte would).
QX_PLATFORM_API void append_escaped(std::string& out, std::u16string_view text,
                                    escape_options options = {});
/// `text` escaped by `options`.
[[nodiscard]] QX_PLATFORM_API std::string escaped(std::string_view text,
                                                  escape_options options = {});
/// `text` escaped by `options`.
[[nodiscard]] QX_PLATFORM_API std::string escaped(std::u16string_view text,
                                                  escape_options options = {});

/// What a message shows of a long outside text: at most `bytes` bytes of `text` (cut before a
/// character, never inside one), escaped in message style, then "... (N bytes)" when `text`
/// was longer.
[[nodiscard]] QX_PLATFORM_API std::string excerpt(std::string_view text, std::size_t bytes = 200);

/// Appends `text` to `out` with each maximal ill-formed UTF-8 subpart replaced by U+FFFD, as
/// fl::i18n converts it, without converting well-formed text.
QX_PLATFORM_API void append_repaired(std::string& out, std::string_view text);

/// The encodings a file's first bytes can tell apart.
enum class encoding {
  utf8,     ///< UTF-8, or nothing that says otherwise
  utf16le,  ///< UTF-16, little-endian
  utf16be,  ///< UTF-16, big-endian
  utf32le,  ///< UTF-32, little-endian
  utf32be,  ///< UTF-32, big-endian
};

/// A byte-order mark at the start of a text.
struct byte_order_mark {
  /// The encoding it names (utf8 also when there is none).
  encoding form = encoding::utf8;
  /// Its length in bytes: 3 for UTF-8, 2 or 4 for the others, 0 when the text has none.
  std::size_t size = 0;
};

/// The UTF-8 byte-order mark, EF BB BF.
inline constexpr std::string_view utf8_mark = "\xEF\xBB\xBF";

/// The byte-order mark that `head`, the first bytes of a text, starts with. FF FE 00 00 is
/// UTF-32 rather than UTF-16 followed by a NUL.
[[nodiscard]] QX_PLATFORM_API byte_order_mark find_byte_order_mark(std::string_view head) noexcept;

/// The encoding of a text judged by its first bytes (up to 256 are looked at): a byte-order
/// mark, else NUL bytes where ASCII text in UTF-16 or UTF-32 has them (every other byte, or
/// three bytes of four). utf8 when neither says otherwise.
[[nodiscard]] QX_PLATFORM_API encoding sniff_encoding(std::string_view head) noexcept;

/// "UTF-8", "UTF-16 little-endian", "UTF-32 big-endian", ...
[[nodiscard]] QX_PLATFORM_API char const* name_of(encoding form) noexcept;

/// `text` without a leading UTF-8 byte-order mark.
[[nodiscard]] constexpr std::string_view without_utf8_mark(std::string_view text) noexcept {
  return text.starts_with(utf8_mark) ? text.substr(utf8_mark.size()) : text;
}

/// The length of the longest prefix of `text` without an unpaired surrogate: text.size() for
/// well-formed UTF-16, else the index of the first unpaired surrogate.
[[nodiscard]] QX_PLATFORM_API std::size_t valid_utf16_length(std::u16string_view text) noexcept;

/// True when `text` holds no unpaired surrogate, so that UTF-8 can carry it unchanged.
[[nodiscard]] inline bool is_valid_utf16(std::u16string_view text) noexcept {
  return valid_utf16_length(text) == text.size();
}

}  // namespace fl::text
