#include "fl/i18n.hpp"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;

struct Utf8Case {
  char const* name;
  std::string input;
  ustring expected;
};

TEST(Utf8ToUstring, WellFormedAndMaximalSubparts) {
  std::vector<Utf8Case> const cases = {
      {"empty", "", u""},
      {"ascii", "Color = Blue", u"Color = Blue"},
      {"nul kept", std::string("a\0b", 3), ustring(u"a\0b", 3)},
      {"two bytes", "\xC3\x84", u"\u00C4"},
      {"three bytes", "\xE2\x82\xAC", u"\u20AC"},
      {"four bytes", "\xF0\x9F\x98\x80", u"\U0001F600"},
      {"largest", "\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
      {"lone continuation", "a\x80z", u"a\uFFFDz"},
      {"two continuations", "\x80\xBF", u"\uFFFD\uFFFD"},
      {"truncated 2 at end", "a\xC3", u"a\uFFFD"},
      {"truncated 3 then ascii", "\xE2\x82z", u"\uFFFDz"},
      {"truncated 4 of 3", "\xF0\x9F\x98", u"\uFFFD"},
      {"overlong C0", "\xC0\xAF", u"\uFFFD\uFFFD"},
      {"overlong E0", "\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD"},
      {"overlong F0", "\xF0\x8F\xBF\xBF", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"surrogate ED A0", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"above U+10FFFF", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"F5 lead", "\xF5\x80", u"\uFFFD\uFFFD"},
      {"FF byte", "\xFF", u"\uFFFD"},
      {"bad second byte is reread", "\xE2\x41", u"\uFFFDA"},
      {"Unicode example", "\x61\xF1\x80\x80\xE1\x80\xC2\x62\x80\x63\x80\xBF\x64",
       u"a\uFFFD\uFFFD\uFFFDb\uFFFDc\uFFFD\uFFFDd"},
  };
  for (auto const& c : cases) {
    EXPECT_EQ(utf8_to_ustring(c.input), c.expected) << c.name;
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
    if (cp >= 0xD800 && cp <= 0xDFFF)
      continue;
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
    for (auto& b : bytes)
      b = static_cast<char>(rng() % 256);
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
