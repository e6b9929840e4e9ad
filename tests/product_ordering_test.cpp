#include "install/cpputil/product_ordering.hpp"

#include <locale>
#include <random>

#include "ordering/product_order_key.hpp"
#include "support/support.hpp"

namespace order = install::cpputil::product_order;
using Names = std::vector<ustring>;

Names split(std::string const& names) {
  Names out;
  std::istringstream in(names);
  for (std::string name; std::getline(in, name, '|');)
    out.push_back(fl::i18n::utf8_to_ustring(name));
  return out;
}

QX_TABLE_TEST(DisplayOrder, TableNamesFirstThenCaseInsensitiveBytes, "product_ordering.tsv") {
  Names names = split(GetParam()["names"]);
  install::cpputil::sortProductsInKESTRAbeticalOrder(names);
  EXPECT_EQ(names, split(GetParam()["order"]));
}

// Table names in random ASCII case: the order is strict and weak, and exactly the names equal
// but for ASCII case are equivalent.
TEST(ProductOrdering, ComparisonIsAStrictWeakOrdering) {
  Names pool;
  for (auto const& row : qx::test::read_table("product_ordering.tsv"))
    for (ustring const& name : split(row["names"])) pool.push_back(name);
  std::mt19937 rng(20240611);
  auto const recase = [&rng](ustring name, int upper) {  // upper: 1 all, 0 none, -1 random
    for (char16_t& c : name)
      if ((c | 0x20) >= u'a' && (c | 0x20) <= u'z')
        c = (upper < 0 ? rng() % 2 : upper) ? c & ~0x20 : c | 0x20;
    return name;
  };
  auto const next = [&] { return recase(pool[rng() % pool.size()], -1); };
  auto const& ctype = std::use_facet<std::ctype<char>>(std::locale::classic());
  auto const less = [&ctype](ustring const& a, ustring const& b) {
    std::string x, y;
    return order::precedes(order::append_sort_key(x, a, ctype),
                           order::append_sort_key(y, b, ctype));
  };
  for (int i = 0; i < 20000; ++i) {
    ustring const a = next(), b = i % 2 ? recase(a, -1) : next(), c = next();
    ASSERT_FALSE(less(a, a) || (less(a, b) && less(b, a)));
    ASSERT_TRUE(!(less(a, b) && less(b, c)) || less(a, c));
    ASSERT_EQ(!less(a, b) && !less(b, a), recase(a, 1) == recase(b, 1));
  }
}

// Keys take the global locale's ctype: under one that upper-cases nothing, table names miss.
TEST(ProductOrdering, KeysUseTheGlobalLocalesCtype) {
  struct KeepCase : std::ctype<char> {
    char do_toupper(char c) const override { return c; }
    using std::ctype<char>::do_toupper;
  };
  Names names{u"apple", u"kestra", u"Banana", u"TARNWICK"};
  std::locale const saved = std::locale::global(std::locale(std::locale::classic(), new KeepCase));
  install::cpputil::sortProductsInKESTRAbeticalOrder(names);
  std::locale::global(saved);
  EXPECT_EQ(names, (Names{u"TARNWICK", u"Banana", u"apple", u"kestra"}));
}
