#include "fl/i18n.hpp"

#include <algorithm>
#include <cstdint>

namespace fl::i18n {
namespace {

constexpr char16_t kReplacement = u'\uFFFD';

void push_code_point(ustring& out, char32_t cp) {
  if (cp < 0x10000) {
    out.push_back(static_cast<char16_t>(cp));
  } else {
    cp -= 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
  }
}

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

// One step of decoding `p` (not at `end`), which follows the table of well-formed UTF-8 byte
// sequences: the lead byte fixes the length and the range allowed for the second byte (which
// is what excludes overlong forms, surrogates and values above U+10FFFF). When a byte breaks
// the pattern, the bytes taken so far are one maximal ill-formed subpart (Unicode's
// "substitution of maximal subparts"), and decoding resumes at the offending byte. Neither
// Boost.Locale (skip or throw) nor the standard library offers this.
struct decoded {
  char32_t code_point;  // kIllFormed for an ill-formed subpart
  unsigned char const* next;
};
constexpr char32_t kIllFormed = 0xFFFFFFFF;

decoded decode(unsigned char const* p, unsigned char const* end) {
  unsigned char const lead = *p++;
  if (lead < 0x80) return {lead, p};
  int trail = 0;
  unsigned char lo = 0x80;
  unsigned char hi = 0xBF;
  char32_t cp = 0;
  if (lead >= 0xC2 && lead <= 0xDF) {
    trail = 1;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    trail = 2;
    cp = lead & 0x0F;
    if (lead == 0xE0) lo = 0xA0;
    if (lead == 0xED) hi = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    trail = 3;
    cp = lead & 0x07;
    if (lead == 0xF0) lo = 0x90;
    if (lead == 0xF4) hi = 0x8F;
  } else {
    return {kIllFormed, p};
  }
  for (int i = 0; i < trail; ++i) {
    if (p == end || *p < lo || *p > hi) return {kIllFormed, p};
    cp = (cp << 6) | (*p & 0x3F);
    ++p;
    lo = 0x80;
    hi = 0xBF;
  }
  return {cp, p};
}

unsigned char const* ascii_run_end(unsigned char const* p, unsigned char const* end) {
  return std::find_if(p, end, [](unsigned char c) { return c >= 0x80; });
}

}  // namespace

void append_utf16(ustring& out, std::string_view utf8) {
  // No byte gives more than one code unit (a four-byte sequence gives two), so this is the
  // most that can be needed, and exact for ASCII.
  out.reserve(out.size() + utf8.size());
  auto const* p = reinterpret_cast<unsigned char const*>(utf8.data());
  auto const* const end = p + utf8.size();
  while (p != end) {
    if (*p < 0x80) {
      // A run of ASCII, the usual text, is widened in one step.
      auto const* const run_end = ascii_run_end(p, end);
      std::size_t const start = out.size();
      out.resize(start + static_cast<std::size_t>(run_end - p));
      std::copy(p, run_end, out.begin() + static_cast<std::ptrdiff_t>(start));
      p = run_end;
      continue;
    }
    decoded const step = decode(p, end);
    if (step.code_point == kIllFormed) {
      out.push_back(kReplacement);
    } else {
      push_code_point(out, step.code_point);
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
