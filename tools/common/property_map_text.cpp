#include "property_map_text.hpp"

#include <nlohmann/json.hpp>
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

// Written entry by entry in the map's order (UTF-16 code units), in the layout of dump(2): an
// ordered_json object would search its keys on every insertion, quadratic in the keys.
void write_json(std::ostream& out, install::cpputil::PropertyMap const& map) {
  auto const quoted = [](ustring const& text) {
    return nlohmann::json(ustring_to_utf8(text))
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  };
  char const* separator = "{\n  ";
  for (auto const& [key, value] : map) {
    out << separator << quoted(key) << ": ";
    separator = ",\n  ";
    if (auto const* single = std::get_if<ustring>(&value)) {
      out << quoted(*single);
      continue;
    }
    char const* item = "[\n    ";
    for (ustring const& entry : std::get<std::vector<ustring>>(value)) {
      out << item << quoted(entry);
      item = ",\n    ";
    }
    out << (*item == '[' ? "[]" : "\n  ]");
  }
  out << (map.empty() ? "{}\n" : "\n}\n");
}

}  // namespace qx::tools
