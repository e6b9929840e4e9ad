#include "install/cpputil/version_comparator.hpp"

#include <string_view>

namespace install::cpputil {
namespace {

// Cuts a version's text as std::getline(stream, piece, '.') does until it fails: every '.'
// ends a piece, and the end of the text ends one only when it is not empty. UTF-16 text is
// cut in place: '.' is never part of a multi-byte UTF-8 sequence, so its pieces are those
// of the narrow form.
template <class Char>
class VersionPieces {
 public:
  explicit VersionPieces(std::basic_string_view<Char> text) : rest_(text) {}

  // False when no piece is left; otherwise `piece` is the next one.
  bool next(std::basic_string_view<Char>& piece) {
    if (rest_.empty()) return false;
    std::size_t const dot = rest_.find(Char('.'));
    piece = rest_.substr(0, dot);
    rest_.remove_prefix(dot == std::basic_string_view<Char>::npos ? rest_.size() : dot + 1);
    return true;
  }

  // False when no piece is left; otherwise `value` is std::stoi of the next piece's narrow
  // form, its exceptions included. One to nine plain digits, the usual piece, cannot overflow
  // and are read in place in one pass; only other pieces are narrowed.
  bool next_value(int& value) {
    std::size_t digits = 0;
    int read = 0;
    for (; digits < rest_.size() && digits < 9; ++digits) {
      unsigned const digit = static_cast<unsigned>(rest_[digits]) - '0';
      if (digit > 9) break;
      read = read * 10 + static_cast<int>(digit);
    }
    if (digits > 0 && (digits == rest_.size() || rest_[digits] == Char('.'))) {
      rest_.remove_prefix(digits == rest_.size() ? digits : digits + 1);
      value = read;
      return true;
    }
    std::basic_string_view<Char> piece;
    if (!next(piece)) return false;
    std::string narrow;
    fl::i18n::append_utf8(narrow, piece);
    value = std::stoi(narrow, nullptr, 10);
    return true;
  }

 private:
  std::basic_string_view<Char> rest_;
};

}  // namespace

VersionComparator::~VersionComparator() = default;

// A missing piece reads as 0, the first version's piece is converted before the second's,
// and pieces after the first difference are never converted.
int VersionComparator::compareVersionNumbers(const ustring& first, const ustring& second) const {
  VersionPieces<char16_t> first_pieces(first);
  VersionPieces<char16_t> second_pieces(second);
  for (;;) {
    int a = 0;
    int b = 0;
    bool const has_a = first_pieces.next_value(a);
    bool const has_b = second_pieces.next_value(b);
    if (!has_a && !has_b) return 0;
    if (a < b) return -1;
    if (a > b) return 1;
  }
}

std::vector<std::string> VersionComparator::tokenizeString(const std::string& text) const {
  std::vector<std::string> pieces;
  VersionPieces<char> cut(text);
  for (std::string_view piece; cut.next(piece);) pieces.emplace_back(piece);
  return pieces;
}

}  // namespace install::cpputil
