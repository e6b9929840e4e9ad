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

}  // namespace

void append_escaped(std::string& out, std::string_view text, std::string_view also) {
  while (!text.empty()) {
    std::size_t const valid = fl::i18n::valid_utf8_length(text);
    std::string_view const run = text.substr(0, valid);
    for (std::size_t i = 0; i < run.size(); ++i) {
      std::size_t const plain = plain_length(run, i, also);
      out.append(run, i, plain);
      if ((i += plain) == run.size()) break;
      char const c = run[i];
      auto const byte = static_cast<unsigned char>(c);
      if (byte < 0x80 && also.find(c) != std::string_view::npos) {
        out += {'\\', c};
      } else if (c == '\t' || c == '\n' || c == '\r') {
        out += {'\\', c == '\t' ? 't' : c == '\n' ? 'n' : 'r'};
      } else if (byte < 0x20 || byte == 0x7F) {
        append_code(out, "\\x%02X", byte);
      } else if (is_c1(run, i)) {
        append_code(out, "\\u%04X", static_cast<unsigned char>(run[++i]));
      } else {
        out.push_back(c);
      }
    }
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
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    std::size_t const plain = plain_length(utf8, i, "\"\\");
    out.append(utf8, i, plain);
    if ((i += plain) == utf8.size()) break;
    char const c = utf8[i];
    auto const byte = static_cast<unsigned char>(c);
    std::size_t const named = std::string_view("\"\\\b\f\n\r\t").find(c);
    if (named != std::string_view::npos) {
      out += {'\\', "\"\\bfnrt"[named]};
    } else if (byte < 0x20 || byte == 0x7F) {
      append_code(out, "\\u%04x", byte);
    } else if (is_c1(utf8, i)) {
      append_code(out, "\\u%04x", static_cast<unsigned char>(utf8[++i]));
    } else {
      out.push_back(c);
    }
  }
  out.push_back('"');
}

}  // namespace qx::tools
