#include "install/cpputil/version_comparator.hpp"

#include <algorithm>
#include <string_view>

namespace install::cpputil {
namespace {

// A missing piece reads as 0; a present one goes through std::stoi, exceptions included.
int piece_value(std::vector<std::string> const& pieces, std::size_t index) {
  return index < pieces.size() ? std::stoi(pieces[index], nullptr, 10) : 0;
}

}  // namespace

VersionComparator::~VersionComparator() = default;

int VersionComparator::compareVersionNumbers(const ustring& first, const ustring& second) const {
  std::vector<std::string> const firstPieces = tokenizeString(fl::i18n::to_string(first));
  std::vector<std::string> const secondPieces = tokenizeString(fl::i18n::to_string(second));
  std::size_t const count = std::max(firstPieces.size(), secondPieces.size());
  for (std::size_t i = 0; i < count; ++i) {
    // Sequenced: the first version's piece is converted before the second's.
    int const a = piece_value(firstPieces, i);
    int const b = piece_value(secondPieces, i);
    if (a < b) {
      return -1;
    }
    if (a > b) {
      return 1;
    }
  }
  return 0;
}

// Same pieces as reading the text with std::getline(stream, piece, '.') until it fails:
// every '.' ends a piece, and the end of text ends one only if it is not empty.
std::vector<std::string> VersionComparator::tokenizeString(const std::string& text) const {
  std::vector<std::string> pieces;
  std::string_view rest(text);
  while (!rest.empty()) {
    std::size_t const dot = rest.find('.');
    pieces.emplace_back(rest.substr(0, dot));
    rest.remove_prefix(dot == std::string_view::npos ? rest.size() : dot + 1);
  }
  return pieces;
}

}  // namespace install::cpputil
