#include "property_map_text.hpp"

#include <nlohmann/json.hpp>
#include <utility>
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

void write_json(std::ostream& out, install::cpputil::PropertyMap const& map) {
  // ordered_json keeps the property map's order (UTF-16 code units), not UTF-8 byte order.
  auto json = nlohmann::ordered_json::object();
  for (auto const& [key, value] : map) {
    if (auto const* single = std::get_if<ustring>(&value)) {
      json[ustring_to_utf8(key)] = ustring_to_utf8(*single);
    } else {
      auto list = nlohmann::ordered_json::array();
      for (ustring const& entry : std::get<std::vector<ustring>>(value))
        list.push_back(ustring_to_utf8(entry));
      json[ustring_to_utf8(key)] = std::move(list);
    }
  }
  out << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace qx::tools
