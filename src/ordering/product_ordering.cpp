#include "install/cpputil/product_ordering.hpp"

#include <algorithm>
#include <locale>
#include <utility>

#include "product_order_key.hpp"

namespace install::cpputil {

void sortProductsInKESTRAbeticalOrder(std::vector<ustring>& products) {
  using product_order::SortKey;
  // One copy of the global locale for the whole call, and its facet looked up once.
  std::locale const locale;
  auto const& ctype = std::use_facet<std::ctype<char>>(locale);
  // Each name's key is computed once, into one text for all of them. It is reserved for the
  // longest UTF-8 form (3 bytes per UTF-16 unit), so the views into it stay valid.
  std::size_t room = 0;
  for (ustring const& name : products) room += 3 * name.size();
  std::string keys;
  keys.reserve(room);
  struct Entry {
    SortKey key;
    std::size_t index;
  };
  std::vector<Entry> entries;
  entries.reserve(products.size());
  for (std::size_t i = 0; i < products.size(); ++i) {
    entries.push_back({product_order::append_sort_key(keys, products[i], ctype), i});
  }
  // The small entries are sorted, then the names follow them.
  std::sort(entries.begin(), entries.end(),
            [](Entry const& a, Entry const& b) { return product_order::precedes(a.key, b.key); });
  std::vector<ustring> sorted;
  sorted.reserve(products.size());
  for (Entry const& entry : entries) sorted.push_back(std::move(products[entry.index]));
  std::move(sorted.begin(), sorted.end(), products.begin());
}

}  // namespace install::cpputil
