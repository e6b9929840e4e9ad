#include "install/cpputil/product_ordering.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "../src/ordering/product_order_key.hpp"

namespace {

using install::cpputil::sortProductsInKESTRAbeticalOrder;
namespace order = install::cpputil::product_order;
using Names = std::vector<ustring>;

TEST(ProductOrdering, TableNamesFirstThenCaseInsensitiveBytes) {
  struct Row {
    Names input, expected;
  };
  for (Row const& row : {
           Row{{}, {}},
           Row{{u"only"}, {u"only"}},
           Row{{u"TARNWICK", u"Zeta", u"KESTRA", u"alpha", u"KESTRA BATCH ENGINE"},
               {u"KESTRA BATCH ENGINE", u"KESTRA", u"TARNWICK", u"alpha", u"Zeta"}},
           Row{{u"Tarnwick Assistant", u"tarnwick", u"kestra assistant"},
               {u"kestra assistant", u"tarnwick", u"Tarnwick Assistant"}},
           Row{{u"KESTRA ", u"KESTRA  ASSISTANT", u"Abc", u"kestra"},
               {u"kestra", u"Abc", u"KESTRA ", u"KESTRA  ASSISTANT"}},
           Row{{u"Banana", u"apple", u"ABCD", u"ABC"}, {u"ABC", u"ABCD", u"apple", u"Banana"}},
           Row{{u"BANANA2", u"BANANA 2"}, {u"BANANA 2", u"BANANA2"}},
           // Outside ASCII nothing is upper-cased: bytes compare unsigned, after 'Z'.
           Row{{u"\u00e9clair", u"Zoo", u"\u00c9clair", u"zebra"},
               {u"zebra", u"Zoo", u"\u00c9clair", u"\u00e9clair"}},
           Row{{u"b", u"a", u"b", u"a"}, {u"a", u"a", u"b", u"b"}},
       }) {
    Names names = row.input;
    sortProductsInKESTRAbeticalOrder(names);
    EXPECT_EQ(names, row.expected) << "input of " << row.input.size() << " names";
  }
}

// Names from a small pool with random ASCII case, so table hits, prefixes and names equal
// ignoring case all occur often.
class NameSource {
 public:
  ustring next() {
    static constexpr char16_t const* pool[] = {u"kestra",
                                               u"kestra batch engine",
                                               u"kestra assistant",
                                               u"tarnwick",
                                               u"tarnwick assistant",
                                               u"kestra ",
                                               u"a",
                                               u"ab",
                                               u"abc",
                                               u"b",
                                               u"banana 2",
                                               u"banana2",
                                               u"z",
                                               u"\u00e9a",
                                               u"",
                                               u"[x"};
    ustring name = pool[std::uniform_int_distribution<std::size_t>(0, std::size(pool) - 1)(rng_)];
    for (char16_t& c : name) {
      if (c >= u'a' && c <= u'z' && coin_(rng_) == 1) {
        c = static_cast<char16_t>(c - u'a' + u'A');
      }
    }
    return name;
  }

 private:
  std::mt19937 rng_{20240611};
  std::uniform_int_distribution<int> coin_{0, 1};
};

std::string ascii_upper(ustring const& name) {
  std::string text = fl::i18n::to_string(name);
  for (char& c : text) {
    if (c >= 'a' && c <= 'z') {
      c = static_cast<char>(c - 'a' + 'A');
    }
  }
  return text;
}

TEST(ProductOrdering, ComparisonIsAStrictWeakOrdering) {
  auto const table = order::make_display_table();
  auto const less = [&table](ustring const& a, ustring const& b) {
    return order::precedes(order::make_sort_key(a, table), order::make_sort_key(b, table));
  };
  auto const equivalent = [&less](ustring const& a, ustring const& b) {
    return !less(a, b) && !less(b, a);
  };
  NameSource source;
  int equivalent_pairs = 0;
  for (int i = 0; i < 20000; ++i) {
    ustring const a = source.next(), b = source.next(), c = source.next();
    ASSERT_FALSE(less(a, a));
    ASSERT_FALSE(less(a, b) && less(b, a));
    ASSERT_TRUE(!(less(a, b) && less(b, c)) || less(a, c));
    ASSERT_TRUE(!(equivalent(a, b) && equivalent(b, c)) || equivalent(a, c));
    ASSERT_EQ(equivalent(a, b), ascii_upper(a) == ascii_upper(b));
    equivalent_pairs += equivalent(a, b) ? 1 : 0;
  }
  EXPECT_GT(equivalent_pairs, 100);  // the pool really exercises equivalence
}

TEST(ProductOrdering, SortIsAPermutationInOrderWithCaseVariantsAdjacent) {
  auto const table = order::make_display_table();
  NameSource source;
  for (int round = 0; round < 50; ++round) {
    Names names(200);
    std::generate(names.begin(), names.end(), [&source] { return source.next(); });
    Names sorted = names;
    sortProductsInKESTRAbeticalOrder(sorted);
    ASSERT_TRUE(std::is_permutation(sorted.begin(), sorted.end(), names.begin(), names.end()));
    ASSERT_TRUE(
        std::is_sorted(sorted.begin(), sorted.end(), [&table](auto const& a, auto const& b) {
          return order::precedes(order::make_sort_key(a, table), order::make_sort_key(b, table));
        }));
    std::vector<std::string> groups;  // each upper-cased name must form one run
    for (ustring const& name : sorted) {
      if (groups.empty() || groups.back() != ascii_upper(name)) {
        ASSERT_EQ(std::find(groups.begin(), groups.end(), ascii_upper(name)), groups.end());
        groups.push_back(ascii_upper(name));
      }
    }
  }
}

}  // namespace
