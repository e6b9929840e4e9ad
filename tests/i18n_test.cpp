#include "fl/i18n.hpp"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/table.hpp"

namespace {

using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

ustring code_units(std::string const& hex) {
  ustring out;
  std::istringstream in(hex);
  for (unsigned unit = 0; in >> std::hex >> unit;) out.push_back(static_cast<char16_t>(unit));
  return out;
}

TEST(Utf8ToUstring, WellFormedAndMaximalSubparts) {
  for (auto const& row : qx::test::read_table("utf8_to_utf16.tsv")) {
    EXPECT_EQ(utf8_to_ustring(row[1]), code_units(row[2])) << row[0];
  }
}

TEST(UstringToUtf8, UnpairedSurrogatesBecomeReplacement) {
  struct Case {
    ustring input;
    std::string expected;
  };
  std::vector<Case> const cases = {
      {u"", ""},
      {ustring(1, char16_t{0xD800}), "\xEF\xBF\xBD"},
      {ustring(1, char16_t{0xDC00}) + u"x", "\xEF\xBF\xBDx"},
      {ustring{char16_t{0xD83D}, char16_t{0xDE00}}, "\xF0\x9F\x98\x80"},
      {ustring{char16_t{0xDE00}, char16_t{0xD83D}}, "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {ustring{char16_t{0xD83D}, u'a'},
       "\xEF\xBF\xBD"
       "a"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(ustring_to_utf8(c.input), c.expected);
  }
}

TEST(Utf8RoundTrip, EveryScalarValue) {
  std::string utf8;
  ustring utf16;
  for (char32_t cp = 0; cp <= 0x10FFFF; ++cp) {
    if (cp >= 0xD800 && cp <= 0xDFFF) continue;
    if (cp < 0x10000) {
      utf16.push_back(static_cast<char16_t>(cp));
    } else {
      utf16.push_back(static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10)));
      utf16.push_back(static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF)));
    }
  }
  utf8 = ustring_to_utf8(utf16);
  EXPECT_EQ(utf8_to_ustring(utf8), utf16);
  EXPECT_EQ(ustring_to_utf8(utf8_to_ustring(utf8)), utf8);
}

TEST(Utf8RoundTrip, RandomBytesAreSanitisedOnce) {
  // Whatever comes in, the output is valid: converting it again changes nothing.
  std::mt19937 rng(7);
  for (int i = 0; i < 2000; ++i) {
    std::string bytes(rng() % 24, '\0');
    for (auto& b : bytes) b = static_cast<char>(rng() % 256);
    std::string const once = ustring_to_utf8(utf8_to_ustring(bytes));
    EXPECT_EQ(ustring_to_utf8(utf8_to_ustring(once)), once);
  }
}

TEST(Utf8ToUstring, NullPointerIsEmpty) {
  EXPECT_EQ(utf8_to_ustring(static_cast<char const*>(nullptr)), u"");
  EXPECT_EQ(utf8_to_ustring("\xC3\xA9t\xC3\xA9"), u"\u00E9t\u00E9");
  EXPECT_EQ(fl::i18n::to_string(u"\u00E9"), fl::i18n::ustring_to_utf8(u"\u00E9"));
}

}  // namespace
