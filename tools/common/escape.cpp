#include "escape.hpp"

#include "fl/text.hpp"

namespace qx::tools {

void append_escaped(std::string& out, std::string_view text, std::string_view also) {
  fl::text::append_escaped(out, text, {fl::text::escape_style::message, also});
}

std::string escaped(std::string_view text) {
  return fl::text::escaped(text);
}

std::string excerpt(std::string_view text) {
  return fl::text::excerpt(text);
}

void append_json_string(std::string& out, std::string_view utf8) {
  out.push_back('"');
  fl::text::append_escaped(out, utf8, {fl::text::escape_style::json});
  out.push_back('"');
}

}  // namespace qx::tools
