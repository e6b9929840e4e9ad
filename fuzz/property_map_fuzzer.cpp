// Feeds arbitrary text to convertInputsToPropertyMap and checks the shape of every key and
// value it produces.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "install/cpputil/input_file_parser.hpp"

namespace {

constexpr std::u16string_view whitespace = u"\t\n\v\f\r ";

bool is_trimmed(ustring const& text) {
  return text.empty() || (whitespace.find(text.front()) == std::u16string_view::npos &&
                          whitespace.find(text.back()) == std::u16string_view::npos);
}

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const inputs(reinterpret_cast<char const*>(data), size);
  install::cpputil::InputFileParser parser;
  install::cpputil::PropertyMap const map = parser.convertInputsToPropertyMap(inputs);
  for (auto const& [key, value] : map) {
    require(is_trimmed(key));
    for (char16_t const c : key) {
      require(c < u'A' || c > u'Z');
    }
    if (auto const* single = std::get_if<ustring>(&value)) {
      require(key != u"product" && key != u"platform");
      require(is_trimmed(*single));
    } else {
      for (ustring const& entry : std::get<std::vector<ustring>>(value)) {
        require(entry.find(u'_') == ustring::npos);
      }
    }
  }
  // Text after the last line feed is never read.
  auto const last = inputs.rfind('\n');
  std::string const complete =
      last == std::string::npos ? std::string() : inputs.substr(0, last + 1);
  require(parser.convertInputsToPropertyMap(complete) == map);
  return 0;
}
