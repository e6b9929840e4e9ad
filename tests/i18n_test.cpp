#include "fl/i18n.hpp"

#include "support/support.hpp"

using fl::i18n::ustring_to_utf8, fl::i18n::utf8_to_ustring;

ustring code_units(std::string const& hex) {  // "D83D DE00": UTF-16 code units in hex
  ustring out;
  std::istringstream in(hex);
  for (unsigned unit = 0; in >> std::hex >> unit;) out.push_back(static_cast<char16_t>(unit));
  return out;
}

QX_TABLE_TEST(Utf8ToUtf16, Converts, "utf8_to_utf16.tsv") {
  ustring wide = u"pre-";
  fl::i18n::append_utf16(wide, GetParam()["utf8"]);
  EXPECT_EQ(wide, u"pre-" + code_units(GetParam()["utf16"]));
  // The check agrees with the conversion: well-formed exactly when it round-trips, and the
  // valid prefix ends where the first replacement comes from.
  std::string const& utf8 = GetParam()["utf8"];
  std::size_t const valid = fl::i18n::valid_utf8_length(utf8);
  EXPECT_EQ(valid == utf8.size(), ustring_to_utf8(utf8_to_ustring(utf8)) == utf8);
  if (valid < utf8.size()) {
    EXPECT_EQ(utf8_to_ustring(utf8.substr(valid)).front(), u'\uFFFD');
  }
}

QX_TABLE_TEST(Utf16ToUtf8, Converts, "utf16_to_utf8.tsv") {
  std::string narrow = "pre-";
  fl::i18n::append_utf8(narrow, code_units(GetParam()["utf16"]));
  EXPECT_EQ(narrow, "pre-" + GetParam()["utf8"]);
}

TEST(I18n, NullPointerIsTheEmptyText) {
  EXPECT_EQ(utf8_to_ustring(static_cast<char const*>(nullptr)), u"");
}

// Every scalar value encoded by hand; 0xD7C0 + (cp >> 10) is 0xD800 + ((cp - 0x10000) >> 10).
TEST(I18n, EveryScalarRoundTrips) {
  ustring utf16;
  for (char32_t cp = 0; cp <= 0x10FFFF; cp += cp == 0xD7FF ? 0x801 : 1) {  // past the surrogates
    if (cp >= 0x10000) utf16 += static_cast<char16_t>(0xD7C0 + (cp >> 10));
    utf16 += static_cast<char16_t>(cp < 0x10000 ? cp : 0xDC00 + (cp & 0x3FF));
  }
  EXPECT_EQ(utf8_to_ustring(ustring_to_utf8(utf16)), utf16);
}
