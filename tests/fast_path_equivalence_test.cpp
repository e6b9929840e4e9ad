// Quick paths of version comparison, input parsing and product ordering against their rules.

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

namespace {

// The result, or the exception type that ends it; the reference narrows, cuts with std::getline
// at '.' and reads each reached piece with std::stoi (a missing one is 0).
std::string compare(ustring const& first, ustring const& second, bool reference) try {
  install::cpputil::VersionComparator const library;
  if (!reference) return std::to_string(library.compareVersionNumbers(first, second));
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

TEST(FastPathEquivalence, VersionComparisonMatchesTheRuleAroundTheDigitShortcut) {
  std::vector<ustring> versions, pieces{u"\xD800", u"\xD800\x33"};  // not writable in UTF-8
  for (auto const& row : qx::test::read_table("fast_path_version_pieces.tsv"))
    pieces.push_back(fl::i18n::utf8_to_ustring(row[1]));
  for (ustring const& piece : pieces)
    for (ustring const& form :
         {piece, piece + u".", u"1." + piece, piece + u".5", u"." + piece, u"2.." + piece})
      versions.push_back(form);
  for (ustring const& first : versions)
    for (ustring const& second : versions)
      ASSERT_EQ(compare(first, second, false), compare(first, second, true))
          << fl::i18n::to_string(first) << " vs " << fl::i18n::to_string(second);
}

// parse equals converting getUserInputsFromFile's text (input_file_parser_test checks traces).
TEST(FastPathEquivalence, ParseEqualsConvertingTheReadLines) {
  qx::test::TempDir const dir;
  ustring const name = fl::i18n::utf8_to_ustring(dir.file("answers.txt"));
  install::cpputil::InputFileParser parser;
  for (char const* table : {"input_file_parser_lines.tsv", "input_file_parser_map.tsv"})
    for (auto const& row : qx::test::read_table(table)) {
      qx::test::write_file(dir.file("answers.txt"), row[1]);
      EXPECT_EQ(parser.parse(name),
                parser.convertInputsToPropertyMap(parser.getUserInputsFromFile(name)))
          << row[0];
    }
}

// A ctype facet (the locale owns it) that upper-cases nothing: table names no longer match.
TEST(FastPathEquivalence, ProductKeysUseTheGlobalLocalesCtype) {
  struct KeepCase : std::ctype<char> {
    char do_toupper(char c) const override { return c; }
    using std::ctype<char>::do_toupper;
  };
  std::vector<ustring> names{u"apple", u"kestra", u"Banana", u"TARNWICK"};
  std::locale const saved = std::locale::global(std::locale(std::locale::classic(), new KeepCase));
  install::cpputil::sortProductsInKESTRAbeticalOrder(names);
  std::locale::global(saved);
  EXPECT_EQ(names, (std::vector<ustring>{u"TARNWICK", u"Banana", u"apple", u"kestra"}));
}

}  // namespace
