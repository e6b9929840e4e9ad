#pragma once

/// \file
/// The path value and the one step from text to a path.

#include <string>
#include <string_view>
#include <utility>

#include "fl/i18n.hpp"
#include "fl/platform_export.hpp"

namespace fl::filesystem {

/// A path value. Its text is UTF-16 in native form; an empty text stands for no path.
class QX_PLATFORM_API basic_path {
 public:
  /// The empty path.
  basic_path() = default;
  /// A path holding `text` exactly as given; make_path builds one from any text.
  explicit basic_path(ustring text) : text_(std::move(text)) {}

  /// The path's text.
  [[nodiscard]] ustring const& string() const noexcept { return text_; }
  /// True when the text is empty (no path).
  [[nodiscard]] bool empty() const noexcept { return text_.empty(); }

  /// Equal when the texts are equal, code unit for code unit.
  friend bool operator==(basic_path const&, basic_path const&) = default;

 private:
  ustring text_;
};

/// The path of `text`: the empty path for an empty text, else the text's native form
/// (detail::make_native_form with normalisation).
[[nodiscard]] QX_PLATFORM_API basic_path make_path(ustring const& text);
/// The path of a UTF-8 `text`, as make_path of its UTF-16 form (ill-formed bytes become
/// U+FFFD, which names another file: check names with fl::i18n::is_valid_utf8 first where
/// that matters).
[[nodiscard]] QX_PLATFORM_API basic_path make_path(std::string_view utf8);

}  // namespace fl::filesystem
