#include "install/cpputil/version_comparator.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <type_traits>

#include "support/table.hpp"

namespace {

using install::cpputil::VersionComparator;

static_assert(std::has_virtual_destructor_v<VersionComparator>);

TEST(VersionComparator, ComparesPiecesAsNumbers) {
  VersionComparator const comparator;
  for (auto const& row : qx::test::read_table("version_comparator.tsv")) {
    std::string result;
    try {
      result = std::to_string(comparator.compareVersionNumbers(fl::i18n::utf8_to_ustring(row[1]),
                                                               fl::i18n::utf8_to_ustring(row[2])));
    } catch (std::invalid_argument const&) {
      result = "invalid_argument";
    } catch (std::out_of_range const&) {
      result = "out_of_range";
    }
    EXPECT_EQ(result, row[3]) << row[0] << ": " << row[1] << " vs " << row[2];
  }
}

// Every text of up to 6 of 'a', '.', ' ' and NUL (bijective base 4) splits as getline does.
TEST(VersionComparator, TokenizeMatchesGetlineOnEveryShortText) {
  VersionComparator const comparator;
  for (int number = 0; number < 5461; ++number) {
    std::string text;
    for (int n = number; n > 0; n = (n - 1) / 4) text += "a. \0"[(n - 1) % 4];
    std::istringstream stream(text);
    std::vector<std::string> pieces;
    for (std::string piece; std::getline(stream, piece, '.');) pieces.push_back(piece);
    ASSERT_EQ(comparator.tokenizeString(text), pieces) << '"' << text << '"';
  }
}

}  // namespace
