#pragma once

// Internal to the library and its tests: the display-order comparison, split into a sort
// key computed once per name and a comparison of keys.

#include <iterator>
#include <locale>
#include <map>
#include <string>
#include <string_view>
#include <typeinfo>

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

/// The display table, built on first use from display_names and kept: nothing it depends on
/// can change.
inline DisplayTable const& display_table() {
  static DisplayTable const table = [] {
    DisplayTable built;
    int position = 0;
    for (char16_t const* name : display_names) built.emplace(fl::i18n::to_string(name), position++);
    return built;
  }();
  return table;
}

/// A name's table position (or `unlisted`) and its upper-cased narrow form, held in a text
/// that the caller keeps.
struct SortKey {
  int position = unlisted;
  std::string_view key;
};

/// Appends the narrow form of `name`, upper-cased byte by byte with `ctype`, to `keys` and
/// returns its table position and a view of it, valid while `keys` is not reallocated.
/// std::toupper(c, locale), which boost::algorithm::to_upper_copy applies, is the locale's
/// ctype<char>::toupper(c). std::ctype<char> itself gives the same answer for a whole range
/// in one virtual call; a derived facet may override only the one-byte form, so it is asked
/// byte by byte.
inline SortKey append_sort_key(std::string& keys, ustring const& name,
                               std::ctype<char> const& ctype) {
  std::size_t const start = keys.size();
  fl::i18n::append_utf8(keys, name);
  char* const first = keys.data() + start;
  char* const last = keys.data() + keys.size();
  if (typeid(ctype) == typeid(std::ctype<char>)) {
    ctype.toupper(first, last);
  } else {
    for (char* c = first; c != last; ++c) *c = ctype.toupper(*c);
  }
  // Five rows: comparing lengths first beats a tree search, whose every step compares bytes.
  std::string_view const key(first, keys.size() - start);
  for (auto const& [name, position] : display_table()) {
    if (name == key) return {position, key};
  }
  return {unlisted, key};
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
