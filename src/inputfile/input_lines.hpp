#pragma once

// How an input file reads, line by line: the text rules that InputFileParser documents, and
// the effect of one kept line on a property map. Internal to the library.

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "install/cpputil/input_file_parser.hpp"

namespace install::cpputil::input_lines {

/// True for exactly six bytes: tab, LF, VT, FF, CR and space. NUL, other control bytes and
/// bytes from 0x80 up are content. (Searching a set of them would call memchr per byte.)
/// The same test for a UTF-16 code unit, as the text a line is read into.
template <class Char>
[[nodiscard]] constexpr bool is_whitespace(Char c) noexcept {
  return c == Char(' ') || (c >= Char('\t') && c <= Char('\r'));
}

/// Keys whose values are lists, tried in this order on lines without '='.
inline constexpr std::array<std::string_view, 2> list_keys{"product", "platform"};

/// `text` without leading whitespace. (Inline: parse calls the trims three times a line.)
[[nodiscard]] inline std::string_view ltrim(std::string_view text) noexcept {
  std::size_t first = 0;
  while (first < text.size() && is_whitespace(text[first])) ++first;
  return text.substr(first);
}
/// `text` without trailing whitespace.
[[nodiscard]] inline std::string_view rtrim(std::string_view text) noexcept {
  std::size_t end = text.size();
  while (end > 0 && is_whitespace(text[end - 1])) --end;
  return text.substr(0, end);
}
/// `text` without whitespace at either end.
[[nodiscard]] inline std::string_view trim(std::string_view text) noexcept {
  return rtrim(ltrim(text));
}
/// The value of an assignment or list line whose separator ('=' or '.') is at `separator`:
/// the text after the run of that separator, trimmed; empty (and without position) when none.
[[nodiscard]] std::string_view value_text(std::string_view line, std::size_t separator) noexcept;
/// A copy with 'A'..'Z' lowered (the classic locale's tolower), whatever locale is set.
[[nodiscard]] std::string ascii_lower(std::string_view text);
/// The key that `text` stands for, as redaction and withholding compare keys (with this alone):
/// trimmed, without a UTF-8 byte-order mark before it (the first key of a file saved with one
/// carries it), trimmed again and ASCII-lowered. `text` is the part of a line before its
/// separator, a key of a property map in UTF-8, or a name a caller gave.
[[nodiscard]] std::string key_of(std::string_view text);
/// False for "", for whitespace-only text and for text whose first byte is '#'.
[[nodiscard]] inline bool is_content(std::string_view line) noexcept {
  if (!line.empty() && line.front() == '#') return false;
  for (char const c : line)
    if (!is_whitespace(c)) return true;
  return false;
}
/// Whether `line` holds a list key directly followed by '.' ("product." or "platform.",
/// case-sensitive): a line without '=' is a list line exactly then.
[[nodiscard]] bool holds_list_marker(std::string_view line) noexcept;

/// Where the key of a kept line ends: its first '=' (an assignment), else its first '.' when it
/// holds a list marker (a list line); npos for a line of neither kind.
[[nodiscard]] std::size_t separator_of(std::string_view line) noexcept;

/// What a kept line did to the property map.
enum class effect {
  set,                  ///< an assignment stored a single value (replacing any earlier one)
  appended,             ///< a list line appended an entry
  no_shape,             ///< neither '=' nor "product."/"platform.": ignored
  empty_key,            ///< an assignment without a key: ignored
  list_key_assignment,  ///< an assignment to "product" or "platform": ignored
  list_on_single,       ///< a list line for a key that holds a single value: ignored
};

/// Applies one kept line (trimmed, no line feed) to `properties`, as the parser does, and
/// says what it did. For set, appended and list_on_single, `node` receives the entry of the
/// line's key.
effect apply_line(PropertyMap& properties, std::string_view line,
                  PropertyMap::iterator* node = nullptr);

/// Replaces every '_' by a blank.
void remove_underscores(ustring& text);

/// The first bytes of a file read line by line, until they tell its encoding
/// (fl::text::sniff_encoding): the lines are joined with the line feeds they were read without.
class encoding_sniffer {
 public:
  /// Takes the next physical line until enough bytes are in; true once they are.
  bool add(std::string_view line);
  /// The encoding the bytes taken tell (called at the end of a short file too); frees them.
  [[nodiscard]] fl::text::encoding decide();

 private:
  static constexpr std::size_t head_size = 256;
  std::string head_;
  bool first_ = true;
};

/// Hands every physical line of the file, without its line feed, to `line` in file order,
/// opening it once. Throws std::runtime_error "input file does not exist!" for a missing file
/// or an empty name. Returns an empty code, or the errno of the open or read that failed: a file
/// that does not open (not a regular file, no permission) gives no line, a read that fails part-way
/// the lines before it.
template <class OnLine>
[[nodiscard]] std::error_code read_lines(ustring const& fileName, OnLine&& line) {
  fl::filesystem::basic_path const path = fl::filesystem::make_path(fileName);
  if (!fl::filesystem::exists(path)) throw std::runtime_error("input file does not exist!");
  fl::filesystem::line_reader lines(path);
  for (std::string text; lines.next(text);) line(std::string_view(text));
  return lines.error();
}

}  // namespace install::cpputil::input_lines
