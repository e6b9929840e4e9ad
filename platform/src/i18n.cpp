#include "fl/i18n.hpp"

#include <algorithm>
#include <cstdint>

#include "utf8_decode.hpp"

namespace fl::i18n {
namespace {

using detail::ascii_run_end;
using detail::decode;
using detail::decoded;
using detail::kIllFormed;

constexpr char16_t kReplacement = u'\uFFFD';

void push_utf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

}  // namespace

void append_utf16(ustring& out, std::string_view utf8) {
  auto const* p = reinterpret_cast<unsigned char const*>(utf8.data());
  auto const* const end = p + utf8.size();
  // A leading run of ASCII, the usual text (often all of it), is widened as the string is made:
  // one allocation, one pass.
  auto const* const run_end = ascii_run_end(p, end);
  if (out.empty())
    out = ustring(p, run_end);
  else
    out.append(ustring(p, run_end));
  p = run_end;
  if (p == end) return;
  // No byte gives more than one code unit (a four-byte sequence gives two), so this is the
  // most the rest can need, and exact for ASCII.
  out.reserve(out.size() + static_cast<std::size_t>(end - p));
  while (p != end) {
    if (*p < 0x80) {
      auto const* const ascii = ascii_run_end(p, end);
      out.append(p, ascii);
      p = ascii;
      continue;
    }
    decoded const step = decode(p, end);
    char32_t const cp = step.code_point == kIllFormed ? kReplacement : step.code_point;
    if (cp < 0x10000) {
      out.push_back(static_cast<char16_t>(cp));
    } else {
      out.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    }
    p = step.next;
  }
}

std::size_t valid_utf8_length(std::string_view text) noexcept {
  auto const* const begin = reinterpret_cast<unsigned char const*>(text.data());
  auto const* const end = begin + text.size();
  for (auto const* p = ascii_run_end(begin, end); p != end; p = ascii_run_end(p, end)) {
    decoded const step = decode(p, end);
    if (step.code_point == kIllFormed) return static_cast<std::size_t>(p - begin);
    p = step.next;
  }
  return text.size();
}

void append_utf8(std::string& out, std::u16string_view text) {
  out.reserve(out.size() + text.size());  // exact for ASCII; longer text grows as usual
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] < 0x80) {
      // A run of ASCII, the usual text, is narrowed in one step.
      auto const run = std::find_if(text.begin() + static_cast<std::ptrdiff_t>(i), text.end(),
                                    [](char16_t c) { return c >= 0x80; });
      std::size_t const count = static_cast<std::size_t>(run - text.begin()) - i;
      std::size_t const start = out.size();
      out.resize(start + count);
      std::transform(text.begin() + static_cast<std::ptrdiff_t>(i), run,
                     out.begin() + static_cast<std::ptrdiff_t>(start),
                     [](char16_t c) { return static_cast<char>(c); });
      i += count - 1;
      continue;
    }
    char32_t cp = text[i];
    if (cp >= 0xD800 && cp <= 0xDBFF) {
      if (i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + (text[i + 1] - 0xDC00);
        ++i;
      } else {
        cp = kReplacement;
      }
    } else if (cp >= 0xDC00 && cp <= 0xDFFF) {
      cp = kReplacement;
    }
    push_utf8(out, cp);
  }
}

ustring utf8_to_ustring(std::string const& utf8) {
  ustring out;
  out.reserve(utf8.size());
  append_utf16(out, utf8);
  return out;
}

ustring utf8_to_ustring(char const* utf8) {
  ustring out;
  if (utf8 != nullptr) append_utf16(out, utf8);
  return out;
}

std::string ustring_to_utf8(ustring const& text) {
  std::string out;
  out.reserve(text.size());
  append_utf8(out, text);
  return out;
}

}  // namespace fl::i18n
