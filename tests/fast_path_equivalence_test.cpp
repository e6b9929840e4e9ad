// The quick paths of version comparison, input-file parsing, product ordering and text
// conversion against the plain readings of their rules.

#include <gtest/gtest.h>

#include <exception>
#include <locale>
#include <sstream>
#include <typeinfo>

#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/product_ordering.hpp"
#include "install/cpputil/version_comparator.hpp"
#include "support/table.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

// The rule as stated: narrow, cut with std::getline at '.', read each reached piece with
// std::stoi (a missing one is 0). The result, or the type of the exception that ends it.
std::string reference_compare(ustring const& first, ustring const& second) try {
  std::istringstream a(fl::i18n::to_string(first)), b(fl::i18n::to_string(second));
  for (std::string x, y;;) {
    bool const has_x = !std::getline(a, x, '.').fail(), has_y = !std::getline(b, y, '.').fail();
    if (!has_x && !has_y) return "0";
    int const p = has_x ? std::stoi(x, nullptr, 10) : 0, q = has_y ? std::stoi(y, nullptr, 10) : 0;
    if (p != q) return p < q ? "-1" : "1";
  }
} catch (std::exception const& error) {
  return typeid(error).name();
}

std::string actual_compare(ustring const& first, ustring const& second) try {
  return std::to_string(install::cpputil::VersionComparator().compareVersionNumbers(first, second));
} catch (std::exception const& error) {
  return typeid(error).name();
}

// Pieces on both sides of the nine-digit shortcut, and ones only std::stoi may read.
TEST(FastPathEquivalence, VersionComparisonMatchesTheRuleAroundTheDigitShortcut) {
  std::vector<ustring> versions{u""};
  for (ustring const piece :
       {u"0",          u"7",          u"000000007",   u"999999999", u"0999999999", u"1000000000",
        u"2147483647", u"2147483648", u"-2147483648", u"-1",        u"+3",         u" 3",
        u"3 ",         u"3a",         u"a3",          u"",          u"\u00e93",    u"3\u00e9",
        u"\u0133",     u"\xD800",     u"\xD800\x33",  u"\u0663",    u"99999999999"})
    for (ustring const& form :
         {piece, piece + u".", u"1." + piece, piece + u".5", u"." + piece, u"2.." + piece})
      versions.push_back(form);
  for (ustring const& first : versions)
    for (ustring const& second : versions)
      ASSERT_EQ(actual_compare(first, second), reference_compare(first, second))
          << fl::i18n::to_string(first) << " vs " << fl::i18n::to_string(second);
}

// parse gives the map and the trace records of converting getUserInputsFromFile's text.
TEST(FastPathEquivalence, ParseEqualsConvertingTheReadLinesTracesIncluded) {
  qx::test::TempDir const dir;
  ustring const name = fl::i18n::utf8_to_ustring(dir.file("answers.txt"));
  install::cpputil::InputFileParser parser;
  for (char const* table : {"input_file_parser_lines.tsv", "input_file_parser_map.tsv"})
    for (auto const& row : qx::test::read_table(table)) {
      qx::test::write_file(dir.file("answers.txt"), row[1]);
      qx::test::TraceCapture const via_text("install::cpputil::InputFileParser", 4U);
      auto const expected = parser.convertInputsToPropertyMap(parser.getUserInputsFromFile(name));
      auto const text_traces = via_text.records();
      qx::test::TraceCapture const via_parse("install::cpputil::InputFileParser", 4U);
      EXPECT_EQ(parser.parse(name), expected) << row[0];
      EXPECT_EQ(via_parse.records(), text_traces) << row[0];
    }
}

// A ctype facet that upper-cases nothing: table names no longer match, bytes keep their order.
TEST(FastPathEquivalence, ProductKeysUseTheGlobalLocalesCtype) {
  struct KeepCase : std::ctype<char> {
    char do_toupper(char c) const override { return c; }
    using std::ctype<char>::do_toupper;
  };
  std::vector<ustring> names{u"apple", u"kestra", u"Banana", u"TARNWICK"};
  // The locale owns the facet (its reference count starts at 0).
  std::locale const saved = std::locale::global(std::locale(std::locale::classic(), new KeepCase));
  install::cpputil::sortProductsInKESTRAbeticalOrder(names);
  std::locale::global(saved);
  EXPECT_EQ(names, (std::vector<ustring>{u"TARNWICK", u"Banana", u"apple", u"kestra"}));
}

// Conversions into text that is not empty, across ASCII runs, bad bytes and lone surrogates.
TEST(FastPathEquivalence, ConversionsAppendAfterExistingText) {
  for (std::string const s :
       {"", "ab", "a\xC3\xA9z", "\xE2\x82\xAC!", "x\xF0\x9F\x98\x80", "x\xFFy\xC3z"}) {
    ustring wide = u"pre-";
    fl::i18n::append_utf16(wide, s);
    EXPECT_EQ(wide, u"pre-" + fl::i18n::utf8_to_ustring(s)) << s;
    std::string narrow = "pre-";
    fl::i18n::append_utf8(narrow, wide + u"\xDC00 b\xD83D");
    EXPECT_EQ(narrow, "pre-" + fl::i18n::ustring_to_utf8(wide + u"\xDC00 b\xD83D")) << s;
  }
}

}  // namespace
