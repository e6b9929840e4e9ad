#pragma once

/// \file
/// The installer input file: its lines (InputFileParser, shouldAppend) and its PropertyMap.

#include <map>
#include <string>
#include <variant>
#include <vector>

#include "fl/i18n.hpp"
#include "install/cpputil/export.hpp"

/// True when `line` counts as input-file content; false for "", for text made only of
/// whitespace (tab, LF, VT, FF, CR, space) and for text whose first character is '#'.
/// Does not trim, so "  #x" is content.
[[nodiscard]] QX_CPPUTIL_API bool shouldAppend(std::string const& line);

namespace install::cpputil {

/// One property: a single value (assignment line) or a list (list lines, in file order).
using PropertyValue = std::variant<ustring, std::vector<ustring>>;
/// Properties by lower-cased key, ordered by UTF-16 code units.
using PropertyMap = std::map<ustring, PropertyValue>;

/// Reads the installer's input file (one answer per line) and turns it into a PropertyMap.
/// Stateless: every instance behaves alike and any thread may use one.
class QX_CPPUTIL_API InputFileParser {
 public:
  /// The trimmed content lines of the file, each followed by "\n"; "" when none is kept or
  /// the file cannot be opened (a folder, no read permission). Throws std::runtime_error
  /// "input file does not exist!" for a missing file or an empty name.
  [[nodiscard]] std::string getUserInputsFromFile(ustring const& fileName) const;
  /// Copy of `text` without whitespace (tab, LF, VT, FF, CR, space) at either end; "" when
  /// nothing else is left.
  [[nodiscard]] std::string trim(std::string const& text) const;
  /// Copy of `text` without leading whitespace; "" for whitespace-only text.
  [[nodiscard]] std::string ltrim(std::string const& text) const;
  /// Copy of `text` without trailing whitespace; "" for whitespace-only text.
  [[nodiscard]] std::string rtrim(std::string const& text) const;
  /// Copy of `text` with 'A'..'Z' lowered; every other byte, non-ASCII included, is kept.
  [[nodiscard]] std::string stringToLowerCase(std::string const& text) const;

  /// The property map of the file; empty when no line is kept. Throws std::runtime_error
  /// "input file does not exist!" for a missing file or an empty name.
  [[nodiscard]] PropertyMap parse(ustring const& fileName);
  /// The property map of `inputs`, lines each ended by "\n"; text after the last "\n" is
  /// ignored, and so are lines of no known shape. Never throws for malformed input.
  [[nodiscard]] PropertyMap convertInputsToPropertyMap(std::string const& inputs);
  /// Replaces every '_' in `text` by a blank, in place; leaves text without '_' untouched.
  void removeUnderscores(ustring& text);
};

}  // namespace install::cpputil
