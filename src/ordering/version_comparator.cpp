#include "install/cpputil/version_comparator.hpp"

#include <algorithm>
#include <string_view>

namespace install::cpputil {
namespace {

// std::stoi of a piece's narrow form, exceptions included.
int stoi_of(std::u16string_view piece) {
  std::string narrow;
  fl::i18n::append_utf8(narrow, piece);
  return std::stoi(narrow, nullptr, 10);
}

// Reads the pieces of a version one at a time, cut as tokenizeString cuts the narrow form:
// every '.' ends a piece, and the end of the text ends one only if it is not empty. '.' is
// ASCII and no UTF-16 surrogate is, so cutting the UTF-16 text and converting each piece
// gives the same pieces as converting the whole text and cutting that.
class PieceReader {
 public:
  explicit PieceReader(std::u16string_view text) : text_(text) {}

  // False when no piece is left; otherwise `value` is std::stoi of the next piece. A piece
  // of one to nine plain digits, the usual case, cannot overflow and is read in the same
  // pass that finds its end.
  bool next(int& value) {
    if (position_ == text_.size()) {
      return false;
    }
    std::size_t const start = position_;
    std::size_t end = start;
    unsigned digits_value = 0;  // wraps harmlessly for pieces that are not plain
    bool plain = true;
    for (; end < text_.size() && text_[end] != u'.'; ++end) {
      unsigned const digit = static_cast<unsigned>(text_[end]) - u'0';
      plain = plain && digit <= 9;
      digits_value = digits_value * 10 + digit;
    }
    position_ = end < text_.size() ? end + 1 : end;
    std::size_t const length = end - start;
    value = plain && length >= 1 && length <= 9 ? static_cast<int>(digits_value)
                                                : stoi_of(text_.substr(start, length));
    return true;
  }

 private:
  std::u16string_view text_;
  std::size_t position_ = 0;
};

}  // namespace

VersionComparator::~VersionComparator() = default;

// Compares while cutting, so that no piece list is built; a missing piece reads as 0, the
// first version's piece is converted before the second's, and pieces after the first
// difference are never converted.
int VersionComparator::compareVersionNumbers(const ustring& first, const ustring& second) const {
  PieceReader firstPieces(first);
  PieceReader secondPieces(second);
  for (;;) {
    int a = 0;
    int b = 0;
    bool const has_a = firstPieces.next(a);
    bool const has_b = secondPieces.next(b);
    if (!has_a && !has_b) {
      return 0;
    }
    if (a < b) {
      return -1;
    }
    if (a > b) {
      return 1;
    }
  }
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
