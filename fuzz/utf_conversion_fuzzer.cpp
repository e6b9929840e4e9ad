// Checks the UTF-8 <-> UTF-16 conversions against an independent well-formedness test:
// valid text round-trips, ill-formed text is sanitised once and for all.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "fl/i18n.hpp"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// Table 3-7 of the Unicode standard: the well-formed UTF-8 byte sequences.
bool is_well_formed_utf8(std::string_view text) {
  auto const* p = reinterpret_cast<unsigned char const*>(text.data());
  auto const* const end = p + text.size();
  while (p != end) {
    unsigned const b0 = *p++;
    if (b0 < 0x80) {
      continue;
    }
    int length = 0;
    unsigned lo = 0x80;
    unsigned hi = 0xBF;
    if (b0 >= 0xC2 && b0 <= 0xDF) {
      length = 1;
    } else if (b0 >= 0xE0 && b0 <= 0xEF) {
      length = 2;
      lo = b0 == 0xE0 ? 0xA0 : 0x80;
      hi = b0 == 0xED ? 0x9F : 0xBF;
    } else if (b0 >= 0xF0 && b0 <= 0xF4) {
      length = 3;
      lo = b0 == 0xF0 ? 0x90 : 0x80;
      hi = b0 == 0xF4 ? 0x8F : 0xBF;
    } else {
      return false;
    }
    for (int i = 0; i < length; ++i, lo = 0x80, hi = 0xBF) {
      if (p == end || *p < lo || *p > hi) {
        return false;
      }
      ++p;
    }
  }
  return true;
}

bool is_high(char16_t c) {
  return c >= 0xD800 && c <= 0xDBFF;
}
bool is_low(char16_t c) {
  return c >= 0xDC00 && c <= 0xDFFF;
}

// `text` with every unpaired surrogate replaced by U+FFFD.
ustring with_unpaired_replaced(ustring text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (is_high(text[i]) && i + 1 < text.size() && is_low(text[i + 1])) {
      ++i;
    } else if (is_high(text[i]) || is_low(text[i])) {
      text[i] = u'\uFFFD';
    }
  }
  return text;
}

void check_utf8_input(std::string const& bytes) {
  ustring const wide = fl::i18n::utf8_to_ustring(bytes);
  require(with_unpaired_replaced(wide) == wide);
  std::string const narrow = fl::i18n::ustring_to_utf8(wide);
  require(is_well_formed_utf8(narrow));
  if (is_well_formed_utf8(bytes)) {
    require(narrow == bytes);
  }
  // Sanitising is done once: the output converts back to itself.
  require(fl::i18n::utf8_to_ustring(narrow) == wide);

  // The appending forms agree with the whole-text forms behind any prefix.
  ustring appended = u"x";
  fl::i18n::append_utf16(appended, bytes);
  require(appended == u"x" + wide);
  std::string appended_narrow = "x";
  fl::i18n::append_utf8(appended_narrow, wide);
  require(appended_narrow == "x" + narrow);

  // The zero-terminated form stops at the first NUL.
  require(fl::i18n::utf8_to_ustring(bytes.c_str()) ==
          fl::i18n::utf8_to_ustring(std::string(bytes.c_str())));
}

void check_utf16_input(std::uint8_t const* data, std::size_t size) {
  ustring units(size / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  }
  std::string const narrow = fl::i18n::ustring_to_utf8(units);
  require(is_well_formed_utf8(narrow));
  require(fl::i18n::utf8_to_ustring(narrow) == with_unpaired_replaced(units));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  check_utf8_input(std::string(reinterpret_cast<char const*>(data), size));
  check_utf16_input(data, size);
  return 0;
}
