#include "property_map_text.hpp"

#include <string>
#include <string_view>
#include <variant>

#include "escape.hpp"

namespace qx::tools {
namespace {

// What a key escapes besides control characters: what would read as the end of the key or as
// the mark of a list entry.
constexpr std::string_view key_structure = "\\[]=";

// `text` in UTF-8 in `scratch`, which keeps its storage from one call to the next.
std::string_view utf8(std::string& scratch, ustring const& text) {
  scratch.clear();
  fl::i18n::append_utf8(scratch, text);
  return scratch;
}

}  // namespace

void write_text(std::ostream& out, install::cpputil::PropertyMap const& map) {
  std::string scratch;
  std::string line;
  for (auto const& [key, value] : map) {
    line.clear();
    append_escaped(line, utf8(scratch, key), key_structure);
    std::size_t const key_end = line.size();
    auto const write = [&](std::string_view mark, ustring const& text) {
      line.resize(key_end);
      line += mark;
      append_escaped(line, utf8(scratch, text), "\\");
      line += '\n';
      out << line;
    };
    if (auto const* single = std::get_if<ustring>(&value)) {
      write("=", *single);
    } else {
      for (ustring const& entry : std::get<std::vector<ustring>>(value)) write("[]=", entry);
    }
  }
}

// Written entry by entry in the map's order (UTF-16 code units), in the layout of a JSON dump
// indented by two: an ordered JSON object would search its keys on every insertion, quadratic
// in the keys.
void write_json(std::ostream& out, install::cpputil::PropertyMap const& map) {
  std::string scratch;
  std::string entry;
  char const* separator = "{\n  ";
  for (auto const& [key, value] : map) {
    entry.assign(separator);
    separator = ",\n  ";
    append_json_string(entry, utf8(scratch, key));
    entry += ": ";
    if (auto const* single = std::get_if<ustring>(&value)) {
      append_json_string(entry, utf8(scratch, *single));
    } else {
      char const* item = "[\n    ";
      for (ustring const& element : std::get<std::vector<ustring>>(value)) {
        entry += item;
        append_json_string(entry, utf8(scratch, element));
        item = ",\n    ";
      }
      entry += *item == '[' ? "[]" : "\n  ]";
    }
    out << entry;
  }
  out << (map.empty() ? "{}\n" : "\n}\n");
}

}  // namespace qx::tools
