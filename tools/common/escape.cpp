#include "escape.hpp"

#include <array>
#include <cstdio>
#include <string>

#include "fl/i18n.hpp"

namespace qx::tools {
namespace {

constexpr std::size_t excerpt_bytes = 200;

void append_code(std::string& out, char const* format, unsigned value) {
  std::array<char, 8> code{};
  std::snprintf(code.data(), code.size(), format, value);
  out.append(code.data());
}

// Whether the two bytes at `at` of well-formed UTF-8 encode a C1 control (U+0080 to U+009F).
[[nodiscard]] bool is_c1(std::string_view text, std::size_t at) {
  return static_cast<unsigned char>(text[at]) == 0xC2 && at + 1 < text.size() &&
         static_cast<unsigned char>(text[at + 1]) < 0xA0;
}

// How many bytes from `at` need no escape: no control byte, DEL, byte of `also`, or 0xC2 (which
// may begin a C1 control). Copied in one piece, most text costs one test per byte.
[[nodiscard]] std::size_t plain_length(std::string_view text, std::size_t at,
                                       std::string_view also) {
  std::size_t end = at;
  for (; end < text.size(); ++end) {
    auto const byte = static_cast<unsigned char>(text[end]);
    if (byte < 0x20 || byte == 0x7F || byte == 0xC2) break;
    if (byte < 0x80 && also.find(text[end]) != std::string_view::npos) break;
  }
  return end - at;
}

// Appends well-formed UTF-8 `text` to `out`: runs that need no escape in one piece, and each
// control character (C0, DEL, C1) or byte of `also` through `escape`, given its code point.
template <class Escape>
void append_with(std::string& out, std::string_view text, std::string_view also, Escape escape) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::size_t const plain = plain_length(text, i, also);
    out.append(text, i, plain);
    if ((i += plain) == text.size()) break;
    if (is_c1(text, i)) {
      escape(static_cast<unsigned char>(text[++i]));  // U+0080 to U+009F: the second byte
    } else if (static_cast<unsigned char>(text[i]) == 0xC2) {
      out.push_back(text[i]);  // the first byte of another character
    } else {
      escape(static_cast<unsigned char>(text[i]));
    }
  }
}

}  // namespace

void append_escaped(std::string& out, std::string_view text, std::string_view also) {
  while (!text.empty()) {
    std::size_t const valid = fl::i18n::valid_utf8_length(text);
    append_with(out, text.substr(0, valid), also, [&out, also](unsigned code) {
      char const c = static_cast<char>(code);
      if (code < 0x80 && also.find(c) != std::string_view::npos) {
        out += {'\\', c};
      } else if (c == '\t' || c == '\n' || c == '\r') {
        out += {'\\', c == '\t' ? 't' : c == '\n' ? 'n' : 'r'};
      } else {
        append_code(out, code < 0x80 ? "\\x%02X" : "\\u%04X", code);
      }
    });
    if (valid == text.size()) return;
    append_code(out, "\\x%02X", static_cast<unsigned char>(text[valid]));
    text.remove_prefix(valid + 1);
  }
}

std::string escaped(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  append_escaped(out, text);
  return out;
}

std::string excerpt(std::string_view text) {
  if (text.size() <= excerpt_bytes) return escaped(text);
  std::size_t cut = excerpt_bytes;
  // Back to the first byte of a UTF-8 sequence, so that a character is not shown as bad bytes.
  for (int step = 0; step < 3 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80; ++step)
    --cut;
  return escaped(text.substr(0, cut)) + "... (" + std::to_string(text.size()) + " bytes)";
}

void append_json_string(std::string& out, std::string_view utf8) {
  if (!fl::i18n::is_valid_utf8(utf8)) {
    std::string const repaired =
        fl::i18n::ustring_to_utf8(fl::i18n::utf8_to_ustring(std::string(utf8)));
    append_json_string(out, repaired);
    return;
  }
  out.push_back('"');
  append_with(out, utf8, "\"\\", [&out](unsigned code) {
    std::size_t const named = std::string_view("\"\\\b\f\n\r\t").find(static_cast<char>(code));
    if (named != std::string_view::npos)
      out += {'\\', "\"\\bfnrt"[named]};
    else
      append_code(out, "\\u%04x", code);
  });
  out.push_back('"');
}

}  // namespace qx::tools
