#include "property_map_text.hpp"

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>

namespace qx::tools {

using fl::i18n::ustring_to_utf8;

void write_text(std::ostream& out, install::cpputil::PropertyMap const& map) {
  for (auto const& [key, value] : map) {
    std::string const name = ustring_to_utf8(key);
    if (auto const* single = std::get_if<ustring>(&value)) {
      out << name << '=' << ustring_to_utf8(*single) << '\n';
    } else {
      for (ustring const& entry : std::get<std::vector<ustring>>(value))
        out << name << "[]=" << ustring_to_utf8(entry) << '\n';
    }
  }
}

namespace {

// Appends `text` as a JSON string, escaped as nlohmann::json's dump escapes UTF-8 text (it has
// no API for one string alone); the conversion from UTF-16 already made the text valid UTF-8.
void append_json_string(std::string& out, ustring const& wide) {
  static constexpr char hex[] = "0123456789abcdef";
  static constexpr std::string_view special(
      "\"\\\x00\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f"
      "\x10\x11\x12\x13\x14\x15\x16\x17\x18\x19\x1a\x1b\x1c\x1d\x1e\x1f",
      34);
  std::string const text = ustring_to_utf8(wide);
  out.push_back('"');
  for (std::size_t start = 0; start < text.size();) {
    std::size_t const stop = std::min(text.find_first_of(special, start), text.size());
    out.append(text, start, stop - start);
    if (stop == text.size()) break;
    unsigned char const c = static_cast<unsigned char>(text[stop]);
    std::size_t const named = std::string_view("\"\\\b\f\n\r\t").find(static_cast<char>(c));
    if (named != std::string_view::npos) {
      out.push_back('\\');
      out.push_back("\"\\bfnrt"[named]);
    } else {
      out.append("\\u00").push_back(hex[c >> 4]);
      out.push_back(hex[c & 0xF]);
    }
    start = stop + 1;
  }
  out.push_back('"');
}

}  // namespace

// Written entry by entry in the map's order (UTF-16 code units), in the layout of dump(2): an
// ordered_json object would search its keys on every insertion, quadratic in the keys.
void write_json(std::ostream& out, install::cpputil::PropertyMap const& map) {
  std::string entry;
  char const* separator = "{\n  ";
  for (auto const& [key, value] : map) {
    entry.assign(separator);
    separator = ",\n  ";
    append_json_string(entry, key);
    entry += ": ";
    if (auto const* single = std::get_if<ustring>(&value)) {
      append_json_string(entry, *single);
    } else {
      char const* item = "[\n    ";
      for (ustring const& element : std::get<std::vector<ustring>>(value)) {
        entry += item;
        append_json_string(entry, element);
        item = ",\n    ";
      }
      entry += *item == '[' ? "[]" : "\n  ]";
    }
    out << entry;
  }
  out << (map.empty() ? "{}\n" : "\n}\n");
}

}  // namespace qx::tools
