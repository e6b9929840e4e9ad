#include "install/cpputil/version_comparator.hpp"

#include <string_view>

namespace install::cpputil {
namespace {

// Cuts a version's narrow text as std::getline(stream, piece, '.') does until it fails: every
// '.' ends a piece, and the end of the text ends one only when it is not empty.
class VersionPieces {
 public:
  explicit VersionPieces(std::string_view text) : rest_(text) {}

  // False when no piece is left; otherwise `piece` is the next one.
  bool next(std::string_view& piece) {
    if (rest_.empty()) return false;
    std::size_t const dot = rest_.find('.');
    piece = rest_.substr(0, dot);
    rest_.remove_prefix(dot == std::string_view::npos ? rest_.size() : dot + 1);
    return true;
  }

 private:
  std::string_view rest_;
};

// std::stoi of a piece, its exceptions included. One to nine plain digits, the usual piece,
// cannot overflow and are read without building a string.
int piece_value(std::string_view piece) {
  if (!piece.empty() && piece.size() <= 9 &&
      piece.find_first_not_of("0123456789") == std::string_view::npos) {
    int value = 0;
    for (char const digit : piece) value = value * 10 + (digit - '0');
    return value;
  }
  return std::stoi(std::string(piece), nullptr, 10);
}

}  // namespace

VersionComparator::~VersionComparator() = default;

// A missing piece reads as 0, the first version's piece is converted before the second's,
// and pieces after the first difference are never converted.
int VersionComparator::compareVersionNumbers(const ustring& first, const ustring& second) const {
  std::string const first_text = fl::i18n::to_string(first);
  std::string const second_text = fl::i18n::to_string(second);
  VersionPieces first_pieces(first_text);
  VersionPieces second_pieces(second_text);
  for (std::string_view a_piece, b_piece;;) {
    bool const has_a = first_pieces.next(a_piece);
    bool const has_b = second_pieces.next(b_piece);
    if (!has_a && !has_b) return 0;
    int const a = has_a ? piece_value(a_piece) : 0;
    int const b = has_b ? piece_value(b_piece) : 0;
    if (a < b) return -1;
    if (a > b) return 1;
  }
}

std::vector<std::string> VersionComparator::tokenizeString(const std::string& text) const {
  std::vector<std::string> pieces;
  VersionPieces cut(text);
  for (std::string_view piece; cut.next(piece);) pieces.emplace_back(piece);
  return pieces;
}

}  // namespace install::cpputil
