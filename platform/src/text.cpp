#include "fl/text.hpp"

#include <array>
#include <cstdint>
#include <cstdio>

#include "fl/i18n.hpp"
#include "utf8_decode.hpp"

namespace fl::text {
namespace {

using i18n::detail::decode;
using i18n::detail::kIllFormed;

// The ASCII characters that end a run of text copied as it is, as a 128-bit set.
struct ascii_set {
  std::uint64_t bits[2] = {0, 0};
  constexpr void add(unsigned char c) noexcept { bits[c >> 6] |= std::uint64_t{1} << (c & 63); }
  [[nodiscard]] constexpr bool has(unsigned char c) const noexcept {
    return ((bits[c >> 6] >> (c & 63)) & 1) != 0;
  }
};

constexpr ascii_set controls_and(std::string_view specials) noexcept {
  ascii_set set;
  for (unsigned char c = 0; c < 0x20; ++c) set.add(c);
  set.add(0x7F);
  for (char const c : specials) set.add(static_cast<unsigned char>(c));
  return set;
}

// What each style cannot copy as it is, among ASCII characters.
ascii_set stops_of(escape_options const& options) noexcept {
  switch (options.style) {
    case escape_style::json:
      return controls_and("\"\\");
    case escape_style::html:
      return controls_and("&<>\"'");
    case escape_style::nul: {
      ascii_set set;
      set.add(0);
      return set;
    }
    case escape_style::message:
      break;
  }
  ascii_set set = controls_and({});
  for (char const c : options.also) {
    if (static_cast<unsigned char>(c) < 0x80) set.add(static_cast<unsigned char>(c));
  }
  return set;
}

void append_code(std::string& out, char const* format, unsigned value) {
  std::array<char, 12> code{};
  int const n = std::snprintf(code.data(), code.size(), format, value);
  out.append(code.data(), static_cast<std::size_t>(n));
}

// Above ASCII, a style escapes only a C1 control and the byte-order mark (invisible, and
// where it starts a key it changes the key); shown with \u in every style but nul, which
// leaves them.
constexpr bool shown_as_code(char32_t c) noexcept {
  return is_control(c) || c == 0xFEFF;
}

void escape_code(std::string& out, char32_t c, escape_options const& options) {
  auto const ascii = static_cast<char>(c);
  switch (options.style) {
    case escape_style::nul:
      if (c == 0) {
        out += "\\0";
      } else {
        out += ascii;  // only a NUL stops a run in this style
      }
      return;
    case escape_style::json:
      if (auto const named = std::string_view("\"\\\b\f\n\r\t").find(ascii);
          c < 0x80 && named != std::string_view::npos) {
        out += {'\\', "\"\\bfnrt"[named]};
      } else {
        append_code(out, "\\u%04x", static_cast<unsigned>(c));
      }
      return;
    case escape_style::html:
      if (auto const at = std::string_view("&<>\"'").find(ascii);
          c < 0x80 && at != std::string_view::npos) {
        static constexpr std::array<std::string_view, 5> references{"&amp;", "&lt;", "&gt;",
                                                                    "&quot;", "&#39;"};
        out += references[at];
        return;
      }
      break;
    case escape_style::message:
      if (c < 0x80 && options.also.find(ascii) != std::string_view::npos) {
        out += {'\\', ascii};
        return;
      }
      break;
  }
  if (c == '\t' || c == '\n' || c == '\r') {
    out += {'\\', c == '\t' ? 't' : c == '\n' ? 'n' : 'r'};
  } else {
    append_code(out, c < 0x80 ? "\\x%02X" : "\\u%04X", static_cast<unsigned>(c));
  }
}

// Bytes, or an unpaired surrogate, that are not a character.
void escape_bad_bytes(std::string& out, std::string_view bytes, escape_options const& options) {
  if (options.style == escape_style::json) {
    out += "\ufffd";
  } else if (options.style == escape_style::nul) {
    out += bytes;
  } else {
    for (char const byte : bytes) append_code(out, "\\x%02X", static_cast<unsigned char>(byte));
  }
}

void escape_bad_unit(std::string& out, char16_t unit, escape_options const& options) {
  if (options.style == escape_style::json || options.style == escape_style::nul) {
    out += "\ufffd";  // what the conversion to UTF-8 makes of it
  } else {
    append_code(out, "\\u%04X", unit);
  }
}

// The one loop that escapes text, over the characters of UTF-8 or UTF-16: runs that need no
// escape are copied in one piece; each character a style escapes goes through escape_code, and
// what is not a character through the source's bad().
template <class Source>
void escape_each(std::string& out, Source source, escape_options const& options) {
  ascii_set const stops = stops_of(options);
  bool const keep_c1 = options.style == escape_style::nul;
  while (!source.done()) {
    source.copy_run(out, stops);
    if (source.done()) break;
    auto const unit = source.peek();
    if (unit < 0x80) {
      escape_code(out, static_cast<char32_t>(unit), options);
      source.skip(1);
      continue;
    }
    char32_t const c = source.take(out, options);
    if (c != kIllFormed && shown_as_code(c) && !keep_c1) escape_code(out, c, options);
  }
}

// UTF-8 text. Its well-formed prefix is found first, so that inside it only a C2 byte (which
// may begin a C1 control) and an EF byte (which may begin a byte-order mark) stop a run.
struct utf8_source {
  std::string_view text;
  std::size_t at = 0;
  std::size_t valid = i18n::valid_utf8_length(text);

  [[nodiscard]] bool done() const noexcept { return at == text.size(); }
  [[nodiscard]] unsigned char peek() const noexcept { return static_cast<unsigned char>(text[at]); }
  void skip(std::size_t n) noexcept { at += n; }

  void copy_run(std::string& out, ascii_set const& stops) {
    std::size_t end = at;
    for (; end < valid; ++end) {
      auto const byte = static_cast<unsigned char>(text[end]);
      if (byte < 0x80 ? stops.has(byte) : byte == 0xC2 || byte == 0xEF) break;
    }
    out.append(text, at, end - at);
    at = end;
  }

  // Takes one character at a byte from 0x80 up: appends it, unless it is a C1 control or the
  // byte-order mark (returned for escaping), or the bad bytes of an ill-formed subpart
  // (kIllFormed).
  char32_t take(std::string& out, escape_options const& options) {
    auto const* const p = reinterpret_cast<unsigned char const*>(text.data()) + at;
    auto const step = decode(p, reinterpret_cast<unsigned char const*>(text.data()) + text.size());
    auto const length = static_cast<std::size_t>(step.next - p);
    std::string_view const bytes = text.substr(at, length);
    at += length;
    if (step.code_point == kIllFormed) {
      escape_bad_bytes(out, bytes, options);
      valid = at + i18n::valid_utf8_length(text.substr(at));
    } else if (!shown_as_code(step.code_point) || options.style == escape_style::nul) {
      out += bytes;
    }
    return step.code_point;
  }
};

// UTF-16 text, appended as UTF-8.
struct utf16_source {
  std::u16string_view text;
  std::size_t at = 0;

  [[nodiscard]] bool done() const noexcept { return at == text.size(); }
  [[nodiscard]] char16_t peek() const noexcept { return text[at]; }
  void skip(std::size_t n) noexcept { at += n; }

  void copy_run(std::string& out, ascii_set const& stops) {
    std::size_t end = at;
    while (end < text.size() && text[end] < 0x80 &&
           !stops.has(static_cast<unsigned char>(text[end])))
      ++end;
    i18n::append_utf8(out, text.substr(at, end - at));
    at = end;
  }

  char32_t take(std::string& out, escape_options const& options) {
    char16_t const unit = text[at];
    bool const surrogate = unit >= 0xD800 && unit <= 0xDFFF;
    std::size_t const length = surrogate && valid_utf16_length(text.substr(at, 2)) == 2 ? 2 : 1;
    if (surrogate && length == 1) {
      ++at;
      escape_bad_unit(out, unit, options);
      return kIllFormed;
    }
    if (!shown_as_code(unit) || options.style == escape_style::nul)
      i18n::append_utf8(out, text.substr(at, length));
    at += length;
    return length == 2 ? 0x10000 : unit;  // a pair is no control; its value does not matter
  }
};

}  // namespace

bool holds_control(std::string_view text) noexcept {
  auto const* p = reinterpret_cast<unsigned char const*>(text.data());
  auto const* const end = p + text.size();
  while (p != end) {
    if (*p < 0x80) {
      if (is_control(*p++)) return true;
      continue;
    }
    auto const step = decode(p, end);
    if (step.code_point != kIllFormed && is_control(step.code_point)) return true;
    p = step.next;
  }
  return false;
}

void append_escaped(std::string& out, std::string_view text, escape_options options) {
  escape_each(out, utf8_source{text}, options);
}

void append_escaped(std::string& out, std::u16string_view text, escape_options options) {
  escape_each(out, utf16_source{text}, options);
}

std::string escaped(std::string_view text, escape_options options) {
  std::string out;
  out.reserve(text.size());
  append_escaped(out, text, options);
  return out;
}

std::string escaped(std::u16string_view text, escape_options options) {
  std::string out;
  out.reserve(text.size());
  append_escaped(out, text, options);
  return out;
}

std::string excerpt(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return escaped(text);
  std::size_t cut = bytes;
  // Back to the first byte of a UTF-8 sequence, so that a character is not shown as bad bytes.
  for (int step = 0; step < 3 && cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80;
       ++step)
    --cut;
  return escaped(text.substr(0, cut)) + "... (" + std::to_string(text.size()) + " bytes)";
}

void append_repaired(std::string& out, std::string_view text) {
  while (!text.empty()) {
    std::size_t const valid = i18n::valid_utf8_length(text);
    out.append(text, 0, valid);
    if (valid == text.size()) return;
    auto const* const p = reinterpret_cast<unsigned char const*>(text.data()) + valid;
    auto const step = decode(p, reinterpret_cast<unsigned char const*>(text.data()) + text.size());
    out += "\ufffd";
    text.remove_prefix(valid + static_cast<std::size_t>(step.next - p));
  }
}

byte_order_mark find_byte_order_mark(std::string_view head) noexcept {
  using namespace std::string_view_literals;
  if (head.starts_with("\xFF\xFE\0\0"sv)) return {encoding::utf32le, 4};
  if (head.starts_with("\0\0\xFE\xFF"sv)) return {encoding::utf32be, 4};
  if (head.starts_with("\xFF\xFE"sv)) return {encoding::utf16le, 2};
  if (head.starts_with("\xFE\xFF"sv)) return {encoding::utf16be, 2};
  if (head.starts_with(utf8_mark)) return {encoding::utf8, 3};
  return {};
}

encoding sniff_encoding(std::string_view head) noexcept {
  if (byte_order_mark const mark = find_byte_order_mark(head); mark.size != 0) return mark.form;
  head = head.substr(0, 256);
  if (head.size() < 4) return encoding::utf8;
  std::array<std::size_t, 4> zeros{}, bytes{};
  for (std::size_t i = 0; i < head.size(); ++i) {
    ++bytes[i % 4];
    zeros[i % 4] += head[i] == '\0' ? 1 : 0;
  }
  auto const nul = [&](std::size_t i) { return 4 * zeros[i] >= 3 * bytes[i]; };
  auto const text = [&](std::size_t i) { return 4 * zeros[i] <= bytes[i]; };
  if (text(0) && nul(1) && nul(2) && nul(3)) return encoding::utf32le;
  if (nul(0) && nul(1) && nul(2) && text(3)) return encoding::utf32be;
  if (text(0) && nul(1) && text(2) && nul(3)) return encoding::utf16le;
  if (nul(0) && text(1) && nul(2) && text(3)) return encoding::utf16be;
  return encoding::utf8;
}

char const* name_of(encoding form) noexcept {
  switch (form) {
    case encoding::utf16le:
      return "UTF-16 little-endian";
    case encoding::utf16be:
      return "UTF-16 big-endian";
    case encoding::utf32le:
      return "UTF-32 little-endian";
    case encoding::utf32be:
      return "UTF-32 big-endian";
    case encoding::utf8:
      break;
  }
  return "UTF-8";
}

std::size_t valid_utf16_length(std::u16string_view text) noexcept {
  for (std::size_t i = 0; i < text.size(); ++i) {
    char16_t const c = text[i];
    if (c < 0xD800 || c > 0xDFFF) continue;
    if (c > 0xDBFF || i + 1 == text.size() || text[i + 1] < 0xDC00 || text[i + 1] > 0xDFFF)
      return i;
    ++i;
  }
  return text.size();
}

}  // namespace fl::text
