#include "install/cpputil/version_comparator.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <type_traits>

namespace {

using install::cpputil::VersionComparator;

static_assert(std::has_virtual_destructor_v<VersionComparator>);

TEST(VersionComparator, ComparesPiecesAsNumbers) {
  struct Row {
    char16_t const* first;
    char16_t const* second;
    int expected;
  };
  VersionComparator const comparator;
  for (Row const& row : {
           Row{u"1.10", u"1.9", 1},
           Row{u"1.0.0", u"1", 0},
           Row{u"1", u"1.0.1", -1},
           Row{u"01.2", u"1.2", 0},
           Row{u"1.2a", u"1.2", 0},
           Row{u"1.2.", u"1.2", 0},
           Row{u"", u"", 0},
           Row{u"", u"0", 0},
           Row{u"", u"1", -1},
           Row{u"1.-1", u"1", -1},
           Row{u"1. 3", u"1.3", 0},
           Row{u"1.+3", u"1.3", 0},
           Row{u"2..x", u"1.5", 1},
           Row{u"1.x", u"2.y", -1},
           Row{u"2.99999999999", u"1", 1},
           Row{u"2147483647", u"-2147483648", 1},
           Row{u"7.3.1", u"7.3.2", -1},
           Row{u"10", u"9.9.9", 1},
       }) {
    EXPECT_EQ(comparator.compareVersionNumbers(row.first, row.second), row.expected)
        << fl::i18n::to_string(row.first) << " vs " << fl::i18n::to_string(row.second);
  }
}

TEST(VersionComparator, ReachedBadPieceThrowsAsStoi) {
  VersionComparator const comparator;
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"1..2", u"1.0.2"), std::invalid_argument);
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"1", u"1.x"), std::invalid_argument);
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"1.2147483648", u"1"), std::out_of_range);
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"-2147483649", u"1"), std::out_of_range);
  // The first version's piece is converted first.
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"x", u"99999999999"), std::invalid_argument);
  EXPECT_THROW((void)comparator.compareVersionNumbers(u"99999999999", u"x"), std::out_of_range);
}

std::vector<std::string> getline_pieces(std::string const& text) {
  std::istringstream stream(text, std::ios::in);
  std::vector<std::string> pieces;
  for (std::string piece; std::getline(stream, piece, '.');) {
    pieces.push_back(piece);
  }
  return pieces;
}

TEST(VersionComparator, TokenizeMatchesGetlineOnEveryShortText) {
  using Pieces = std::vector<std::string>;
  VersionComparator const comparator;
  EXPECT_EQ(comparator.tokenizeString(""), Pieces{});
  EXPECT_EQ(comparator.tokenizeString("1.2."), (Pieces{"1", "2"}));
  EXPECT_EQ(comparator.tokenizeString(".a..b"), (Pieces{"", "a", "", "b"}));
  EXPECT_EQ(comparator.tokenizeString(" 1 .2"), (Pieces{" 1 ", "2"}));
  // Every text of up to 7 characters over '.', 'a' and NUL.
  std::string const alphabet("a.\0", 3);
  std::vector<std::string> texts{""};
  for (std::size_t begin = 0; texts.back().size() < 7;) {
    std::size_t const end = texts.size();
    for (std::size_t i = begin; i < end; ++i) {
      for (char const c : alphabet) {
        texts.push_back(texts[i] + c);
      }
    }
    begin = end;
  }
  ASSERT_EQ(texts.size(), 3280U);
  for (std::string const& text : texts) {
    ASSERT_EQ(comparator.tokenizeString(text), getline_pieces(text)) << '"' << text << '"';
  }
}

}  // namespace
