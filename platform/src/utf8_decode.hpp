#pragma once

// The one UTF-8 decoder of the platform layer: the converters of fl::i18n and the escaper of
// fl::text step through text with it. Internal to the platform library.

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace fl::i18n::detail {

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

inline decoded decode(unsigned char const* p, unsigned char const* end) {
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

// The end of the run of ASCII bytes at `p`: eight bytes tested at a time, the last eight
// overlapping the ones before them (known ASCII) when fewer are left.
inline unsigned char const* ascii_run_end(unsigned char const* p, unsigned char const* end) {
  constexpr std::uint64_t high = 0x8080808080808080ULL;
  // The offset of the first byte, in memory order, whose high bit `bits` holds.
  auto const first = [](std::uint64_t bits) {
    return (std::endian::native == std::endian::little ? std::countr_zero(bits)
                                                       : std::countl_zero(bits)) /
           8;
  };
  if (end - p < 8) return std::find_if(p, end, [](unsigned char c) { return c >= 0x80; });
  std::uint64_t bytes = 0;
  for (; end - p >= 8; p += 8) {
    std::memcpy(&bytes, p, 8);
    if ((bytes & high) != 0) return p + first(bytes & high);
  }
  if (p == end) return end;
  std::memcpy(&bytes, end - 8, 8);
  return (bytes & high) == 0 ? end : end - 8 + first(bytes & high);
}

}  // namespace fl::i18n::detail
