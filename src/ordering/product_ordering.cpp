#include "install/cpputil/product_ordering.hpp"

#include <algorithm>
#include <locale>
#include <utility>

#include "product_order_key.hpp"

namespace install::cpputil {

void sortProductsInKESTRAbeticalOrder(std::vector<ustring>& products) {
  using product_order::SortKey;
  product_order::DisplayTable const table = product_order::make_display_table();

  // Each name's key is computed once; the names then follow their keys.
  struct Entry {
    SortKey key;
    ustring name;
  };
  // One copy of the global locale for the whole call, and its facet looked up once.
  std::locale const locale;
  auto const& ctype = std::use_facet<std::ctype<char>>(locale);
  std::vector<Entry> entries;
  entries.reserve(products.size());
  for (ustring& name : products) {
    SortKey key = product_order::make_sort_key(name, table, ctype);
    entries.push_back({std::move(key), std::move(name)});
  }
  std::sort(entries.begin(), entries.end(),
            [](Entry const& a, Entry const& b) { return product_order::precedes(a.key, b.key); });
  for (std::size_t i = 0; i < entries.size(); ++i) {
    products[i] = std::move(entries[i].name);
  }
}

}  // namespace install::cpputil
