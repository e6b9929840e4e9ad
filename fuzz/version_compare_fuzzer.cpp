// Compares two versions both ways: the results must mirror each other, and only the two
// exceptions of std::stoi may escape.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>

#include "install/cpputil/version_comparator.hpp"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

std::optional<int> compare(ustring const& first, ustring const& second) {
  install::cpputil::VersionComparator const comparator;
  try {
    int const result = comparator.compareVersionNumbers(first, second);
    require(result >= -1 && result <= 1);
    return result;
  } catch (std::invalid_argument const&) {
  } catch (std::out_of_range const&) {
  }
  return std::nullopt;
}

}  // namespace

// The input is the two versions in UTF-8, separated by the first line feed.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const input(reinterpret_cast<char const*>(data), size);
  auto const split = input.find('\n');
  ustring const first = fl::i18n::utf8_to_ustring(input.substr(0, split));
  ustring const second =
      split == std::string::npos ? ustring() : fl::i18n::utf8_to_ustring(input.substr(split + 1));

  std::optional<int> const forward = compare(first, second);
  std::optional<int> const backward = compare(second, first);
  // Both directions reach the same pieces, so they throw or return together.
  require(forward.has_value() == backward.has_value());
  if (forward) {
    require(*forward == -*backward);
  }
  if (auto const self = compare(first, first)) {
    require(*self == 0);
  }
  return 0;
}
