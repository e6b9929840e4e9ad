#include "inputfile/input_lines.hpp"

#include "fl/text.hpp"

#include <algorithm>
#include <locale>
#include <utility>

namespace install::cpputil::input_lines {
namespace {

// Whether `line` holds `key` directly followed by '.', found without building that text.
bool holds_key_then_dot(std::string_view line, std::string_view key) noexcept {
  for (auto at = line.find(key); at != std::string_view::npos; at = line.find(key, at + 1)) {
    if (at + key.size() < line.size() && line[at + key.size()] == '.') return true;
  }
  return false;
}

// The key before `separator`: trimmed and lower-cased, in UTF-16. Lowered after the
// conversion, which saves a copy: only ASCII bytes become ASCII code units.
ustring key_before(std::string_view line, std::size_t separator) {
  ustring key;
  fl::i18n::append_utf16(key, trim(line.substr(0, separator)));
  // Without a branch, so that the compiler lowers eight code units at a time.
  for (char16_t& c : key)
    c = static_cast<char16_t>(c + (static_cast<char16_t>(c - u'A') < 26 ? u'a' - u'A' : 0));
  return key;
}

// The value after `separator`, in UTF-16.
ustring value_after(std::string_view line, std::size_t separator) {
  ustring value;
  fl::i18n::append_utf16(value, value_text(line, separator));
  return value;
}

// A key converted from UTF-8 names a list key exactly when its UTF-8 form does.
bool is_list_key(std::u16string_view key) {
  return std::any_of(list_keys.begin(), list_keys.end(), [key](std::string_view name) {
    return std::equal(name.begin(), name.end(), key.begin(), key.end(),
                      [](char a, char16_t b) { return static_cast<unsigned char>(a) == b; });
  });
}

}  // namespace

std::string_view value_text(std::string_view line, std::size_t separator) noexcept {
  auto const start = line.find_first_not_of(line[separator], separator);
  return start == std::string_view::npos ? std::string_view() : trim(line.substr(start));
}

std::string ascii_lower(std::string_view text) {
  static auto const& classic = std::use_facet<std::ctype<char>>(std::locale::classic());
  std::string out(text);
  classic.tolower(out.data(), out.data() + out.size());
  return out;
}

std::string key_of(std::string_view text) {
  return ascii_lower(trim(fl::text::without_utf8_mark(trim(text))));
}

bool holds_list_marker(std::string_view line) noexcept {
  return std::any_of(list_keys.begin(), list_keys.end(),
                     [line](auto key) { return holds_key_then_dot(line, key); });
}

void remove_underscores(ustring& text) {
  std::replace(text.begin(), text.end(), u'_', u' ');
}

std::size_t separator_of(std::string_view line) noexcept {
  if (auto const eq = line.find('='); eq != std::string_view::npos) return eq;
  return holds_list_marker(line) ? line.find('.') : std::string_view::npos;
}

effect apply_line(PropertyMap& properties, std::string_view line, PropertyMap::iterator* node) {
  std::size_t const separator = separator_of(line);
  if (separator == std::string_view::npos) return effect::no_shape;
  if (line[separator] == '=') {
    std::size_t const eq = separator;
    ustring key = key_before(line, eq);
    if (key.empty()) return effect::empty_key;
    if (is_list_key(key)) return effect::list_key_assignment;
    auto const slot =
        properties.insert_or_assign(std::move(key), PropertyValue(value_after(line, eq))).first;
    if (node != nullptr) *node = slot;
    return effect::set;
  }
  std::size_t const dot = separator;
  auto const slot = properties.try_emplace(key_before(line, dot), std::vector<ustring>{}).first;
  if (node != nullptr) *node = slot;
  auto* const list = std::get_if<std::vector<ustring>>(&slot->second);
  if (list == nullptr) return effect::list_on_single;  // the single value stays
  ustring value = value_after(line, dot);
  remove_underscores(value);
  list->push_back(std::move(value));
  return effect::appended;
}

bool encoding_sniffer::add(std::string_view line) {
  if (!first_) head_.push_back('\n');
  first_ = false;
  head_.append(line.substr(0, head_size - std::min(head_size, head_.size())));
  return head_.size() >= head_size;
}

fl::text::encoding encoding_sniffer::decide() {
  fl::text::encoding const form = fl::text::sniff_encoding(head_);
  head_ = std::string();
  return form;
}

}  // namespace install::cpputil::input_lines
