#pragma once

// Internal to the library and its tests: the display-order comparison, split into a sort
// key computed once per name and a comparison of keys.

#include <iterator>
#include <locale>
#include <map>
#include <string>

#include "fl/i18n.hpp"

namespace install::cpputil::product_order {

/// Upper-case narrow product name to its display position.
using DisplayTable = std::map<std::string, int>;

/// The products shown first, in their display order.
inline constexpr char16_t const* display_names[] = {
    u"KESTRA BATCH ENGINE", u"KESTRA", u"KESTRA ASSISTANT", u"TARNWICK", u"TARNWICK ASSISTANT",
};

/// Position given to names that are not in the table; every table position is lower.
inline constexpr int unlisted = static_cast<int>(std::size(display_names));

/// The display table, built afresh from display_names.
inline DisplayTable make_display_table() {
  DisplayTable table;
  int position = 0;
  for (char16_t const* name : display_names) table.emplace(fl::i18n::to_string(name), position++);
  return table;
}

/// A name's table position (or `unlisted`) and its upper-cased narrow form.
struct SortKey {
  int position = unlisted;
  std::string key;
};

/// Upper-cases byte by byte with `ctype` and looks the result up. std::toupper(c, locale),
/// which boost::algorithm::to_upper_copy applies, is the locale's ctype<char>::toupper(c);
/// taking the facet once saves a facet lookup per byte.
inline SortKey make_sort_key(ustring const& name, DisplayTable const& table,
                             std::ctype<char> const& ctype) {
  SortKey result{unlisted, fl::i18n::to_string(name)};
  for (char& c : result.key) {
    c = ctype.toupper(c);
  }
  if (auto const found = table.find(result.key); found != table.end()) {
    result.position = found->second;
  }
  return result;
}

/// Upper-cases byte by byte under the current global locale and looks the result up.
inline SortKey make_sort_key(ustring const& name, DisplayTable const& table) {
  std::locale const locale;
  return make_sort_key(name, table, std::use_facet<std::ctype<char>>(locale));
}

/// True when `a` is shown before `b`. Table names compare by position, all before the
/// others, which compare by key bytes. Equal table positions imply equal keys, so this is
/// the lexicographic order of (position, key) and hence a strict weak ordering.
inline bool precedes(SortKey const& a, SortKey const& b) {
  if (a.position != b.position) {
    return a.position < b.position;
  }
  return a.position == unlisted && a.key < b.key;
}

}  // namespace install::cpputil::product_order
