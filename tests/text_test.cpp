#include "fl/text.hpp"

#include "fl/i18n.hpp"

#include "support/support.hpp"

using fl::text::encoding;
using fl::text::escape_style;

namespace {

escape_style style_named(std::string const& name) {
  static std::map<std::string, escape_style> const styles{{"message", escape_style::message},
                                                          {"json", escape_style::json},
                                                          {"html", escape_style::html},
                                                          {"nul", escape_style::nul}};
  return styles.at(name);
}

}  // namespace

// Each row is also escaped as UTF-16 where it is well-formed: both forms share the rules.
QX_TABLE_TEST(TextEscape, ShowsWhatTheStyleAsks, "text_escape.tsv") {
  auto const& row = GetParam();
  fl::text::escape_options const options{style_named(row["style"]), row["also"]};
  EXPECT_EQ(fl::text::escaped(row["text"], options), row["shown"]);
  std::string appended = "kept:";
  fl::text::append_escaped(appended, row["text"], options);
  EXPECT_EQ(appended, "kept:" + row["shown"]);
  if (fl::i18n::is_valid_utf8(row["text"])) {
    EXPECT_EQ(fl::text::escaped(fl::i18n::utf8_to_ustring(row["text"]), options), row["shown"]);
  }
}

TEST(TextEscape, AnUnpairedSurrogateIsShownAsItsCodeOrReplaced) {
  std::u16string const text = u"a\xD800z\xDC00\xD83D\xDE00";
  EXPECT_EQ(fl::text::escaped(text), "a\\uD800z\\uDC00\xF0\x9F\x98\x80");
  EXPECT_EQ(fl::text::escaped(text, {escape_style::json}),
            "a\xEF\xBF\xBDz\xEF\xBF\xBD\xF0\x9F\x98\x80");
  EXPECT_EQ(fl::text::escaped(std::u16string(u"x\xD83D"), {escape_style::html}), "x\\uD83D");
}

TEST(TextExcerpt, CutsLongTextBeforeACharacterAndSaysItsSize) {
  std::string const euro = "\xE2\x82\xAC";
  EXPECT_EQ(fl::text::excerpt("short\n"), "short\\n");
  EXPECT_EQ(fl::text::excerpt(std::string(199, 'a') + euro),
            std::string(199, 'a') + "... (202 bytes)");
  EXPECT_EQ(fl::text::excerpt(std::string(200, 'a') + "b"),
            std::string(200, 'a') + "... (201 bytes)");
  EXPECT_EQ(fl::text::excerpt("abcdef", 3), "abc... (6 bytes)");
  // Stray continuation bytes: no character is that long, so at most three are given back.
  EXPECT_EQ(fl::text::excerpt("ab\x80\x80\x80\x80\x80", 6), "ab\\x80... (7 bytes)");
}

TEST(TextControl, ControlsAreC0DelAndC1Only) {
  std::u32string const controls = U"\x00\x1F\x7F\x80\x85\x9F";
  std::u32string const others = U" ~\xA0\x2028\xFEFF";
  for (char32_t const c : controls) EXPECT_TRUE(fl::text::is_control(c)) << int(c);
  for (char32_t const c : others) EXPECT_FALSE(fl::text::is_control(c)) << int(c);
  EXPECT_TRUE(fl::text::holds_control("a\xC2\x85"));
  EXPECT_TRUE(fl::text::holds_control(std::string("a\0", 2)));
  EXPECT_FALSE(fl::text::holds_control("caf\xC3\xA9 \xFF\x85"));  // bad bytes are no controls
}

TEST(TextEncoding, MarksAndNulPatternsTellTheEncoding) {
  using namespace std::string_literals;
  struct Case {
    std::string head;
    encoding form;
    std::size_t mark;
  };
  Case const cases[] = {{"\xEF\xBB\xBFkey=1", encoding::utf8, 3},
                        {"\xFF\xFEk\0"s, encoding::utf16le, 2},
                        {"\xFE\xFF\0k"s, encoding::utf16be, 2},
                        {"\xFF\xFE\0\0k\0\0\0"s, encoding::utf32le, 4},
                        {"\0\0\xFE\xFF\0\0\0k"s, encoding::utf32be, 4},
                        {"key=1", encoding::utf8, 0},
                        {"k\0e\0y\0=\0"s, encoding::utf16le, 0},
                        {"\0k\0e\0y\0="s, encoding::utf16be, 0},
                        {"k\0\0\0e\0\0\0"s, encoding::utf32le, 0},
                        {"\0\0\0k\0\0\0e"s, encoding::utf32be, 0},
                        {"k\0"s, encoding::utf8, 0}};
  for (auto const& [head, form, mark] : cases) {
    EXPECT_EQ(fl::text::sniff_encoding(head), form) << head;
    EXPECT_EQ(fl::text::find_byte_order_mark(head).size, mark) << head;
  }
  EXPECT_STREQ(fl::text::name_of(encoding::utf16le), "UTF-16 little-endian");
  EXPECT_STREQ(fl::text::name_of(encoding::utf32be), "UTF-32 big-endian");
  EXPECT_EQ(fl::text::without_utf8_mark("\xEF\xBB\xBFx\xEF\xBB\xBF"), "x\xEF\xBB\xBF");
}

TEST(TextUtf16, TheValidPrefixEndsAtTheFirstUnpairedSurrogate) {
  EXPECT_EQ(fl::text::valid_utf16_length(u"ab\xD83D\xDE00"), 4U);
  EXPECT_EQ(fl::text::valid_utf16_length(u"ab\xDE00\xD83D"), 2U);
  EXPECT_EQ(fl::text::valid_utf16_length(u"ab\xD83D"), 2U);
  EXPECT_EQ(fl::text::valid_utf16_length(u"a\xD83Dz"), 1U);
  std::string repaired = ">";
  fl::text::append_repaired(repaired, "a\xE2\x82z\xFF");
  EXPECT_EQ(repaired, ">a\xEF\xBF\xBDz\xEF\xBF\xBD");
}
