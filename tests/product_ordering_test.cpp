#include "install/cpputil/product_ordering.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "../src/ordering/product_order_key.hpp"
#include "support/table.hpp"

namespace {

namespace order = install::cpputil::product_order;
using Names = std::vector<ustring>;

Names split(std::string const& names) {
  Names out;
  std::istringstream in(names);
  for (std::string name; std::getline(in, name, '|');)
    out.push_back(fl::i18n::utf8_to_ustring(name));
  return out;
}

TEST(ProductOrdering, TableNamesFirstThenCaseInsensitiveBytes) {
  for (auto const& row : qx::test::read_table("product_ordering.tsv")) {
    Names names = split(row[1]);
    install::cpputil::sortProductsInKESTRAbeticalOrder(names);
    EXPECT_EQ(names, split(row[2])) << row[0];
  }
}

// Table names in random ASCII case; equivalence is equality ignoring ASCII case (transitive).
TEST(ProductOrdering, ComparisonIsAStrictWeakOrdering) {
  Names pool;
  for (auto const& row : qx::test::read_table("product_ordering.tsv")) {
    for (ustring const& name : split(row[1])) pool.push_back(name);
  }
  std::mt19937 rng(20240611);
  auto const letter = [](char16_t c) { return (c | 0x20) >= u'a' && (c | 0x20) <= u'z'; };
  auto const next = [&] {
    ustring name = pool[rng() % pool.size()];
    for (char16_t& c : name) c = letter(c) ? (rng() % 2 ? c | 0x20 : c & ~0x20) : c;
    return name;
  };
  auto const upper = [&](ustring name) {
    for (char16_t& c : name) c = letter(c) ? c & ~0x20 : c;
    return name;
  };
  auto const table = order::make_display_table();
  auto const less = [&table](ustring const& a, ustring const& b) {
    return order::precedes(order::make_sort_key(a, table), order::make_sort_key(b, table));
  };
  int equivalent_pairs = 0;
  for (int i = 0; i < 20000; ++i) {
    ustring const a = next(), b = next(), c = next();
    ASSERT_FALSE(less(a, a) || (less(a, b) && less(b, a)));
    ASSERT_TRUE(!(less(a, b) && less(b, c)) || less(a, c));
    ASSERT_EQ(!less(a, b) && !less(b, a), upper(a) == upper(b));
    equivalent_pairs += upper(a) == upper(b) ? 1 : 0;
  }
  EXPECT_GT(equivalent_pairs, 100);  // the pool really exercises equivalence
  Names names(5000);
  std::generate(names.begin(), names.end(), next);
  Names sorted = names;
  install::cpputil::sortProductsInKESTRAbeticalOrder(sorted);
  EXPECT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), names.begin(), names.end()));
  EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end(), less));
}

}  // namespace
