#include "install/cpputil/version_comparator.hpp"

#include "support/support.hpp"

using install::cpputil::VersionComparator;

// The result, or the exception that ends it; with `reference`, the rule itself: narrow, cut at
// '.' with std::getline and read each reached piece with std::stoi (a missing one is 0).
std::string compare(ustring const& first, ustring const& second, bool reference = false) try {
  if (!reference) return std::to_string(VersionComparator().compareVersionNumbers(first, second));
  std::istringstream a(fl::i18n::to_string(first)), b(fl::i18n::to_string(second));
  for (std::string x, y;;) {
    bool const has_x = !std::getline(a, x, '.').fail(), has_y = !std::getline(b, y, '.').fail();
    if (!has_x && !has_y) return "0";
    int const p = has_x ? std::stoi(x, nullptr, 10) : 0, q = has_y ? std::stoi(y, nullptr, 10) : 0;
    if (p != q) return p < q ? "-1" : "1";
  }
} catch (std::invalid_argument const&) {
  return "invalid_argument";
} catch (std::out_of_range const&) {
  return "out_of_range";
}

QX_TABLE_TEST(Versions, ComparePiecesAsNumbers, "version_comparator.tsv") {
  EXPECT_EQ(compare(fl::i18n::utf8_to_ustring(GetParam()["first"]),
                    fl::i18n::utf8_to_ustring(GetParam()["second"])),
            GetParam()["result"]);
}

// The digit shortcut gives what std::stoi gives, for pieces on both sides of its limits, in
// every position.
TEST(VersionComparator, TheDigitShortcutMatchesTheRule) {
  std::vector<ustring> versions, pieces{u"\xD800", u"\xD800\x33"};  // not writable in UTF-8
  for (auto const& row : qx::test::read_table("fast_path_version_pieces.tsv"))
    pieces.push_back(fl::i18n::utf8_to_ustring(row["piece"]));
  for (ustring const& piece : pieces)
    versions.insert(versions.end(), {piece, piece + u".", u"1." + piece, piece + u".5",
                                     u"." + piece, u"2.." + piece});
  for (ustring const& first : versions)
    for (ustring const& second : versions)
      ASSERT_EQ(compare(first, second), compare(first, second, true))
          << fl::i18n::to_string(first) << " vs " << fl::i18n::to_string(second);
}

// Every text of up to 6 of 'a', '.', ' ' and NUL (bijective base 4) splits as getline does.
TEST(VersionComparator, TokenizeMatchesGetlineOnEveryShortText) {
  for (int number = 0; number < 5461; ++number) {
    std::string text;
    for (int n = number; n > 0; n = (n - 1) / 4) text += "a. \0"[(n - 1) % 4];
    std::istringstream stream(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(stream, piece, '.');) pieces.push_back(piece);
    ASSERT_EQ(VersionComparator().tokenizeString(text), pieces) << '"' << text << '"';
  }
}
