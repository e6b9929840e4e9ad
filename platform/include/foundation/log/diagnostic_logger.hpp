#pragma once

/// \file
/// Diagnostic trace channels and FL_TRACE.

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "fl/i18n.hpp"
#include "fl/path.hpp"
#include "fl/platform_export.hpp"

namespace foundation::log {

/// Trace level for informational lines.
inline constexpr unsigned info_level = 4;
/// Trace level for debugging lines.
inline constexpr unsigned debug_level = 8;

template <class CharT>
class basic_diagnostic_logger;

/// A named diagnostic trace channel. Records go to the Boost.Log core with the attributes
/// "Channel" (std::string) and "Severity" (unsigned int); the library adds no sink.
template <>
class QX_PLATFORM_API basic_diagnostic_logger<char> {
 public:
  /// Creates the channel; its level mask is whatever set_enabled_levels gave the name, else 0.
  explicit basic_diagnostic_logger(std::string name);
  ~basic_diagnostic_logger();
  basic_diagnostic_logger(basic_diagnostic_logger const&) = delete;
  basic_diagnostic_logger& operator=(basic_diagnostic_logger const&) = delete;

  /// True when any bit of `level` is enabled. One relaxed atomic load, no lock.
  [[nodiscard]] bool is_enabled(unsigned level) const noexcept {
    return (mask_->load(std::memory_order_relaxed) & level) != 0;
  }
  /// Pushes one record with `message` at `level`, under the channel's lock.
  void write(unsigned level, std::string_view message) const;

 private:
  struct impl;  // the Boost.Log source, kept out of this header
  std::atomic<unsigned> const* mask_;
  std::unique_ptr<impl> impl_;
};

/// Sets the level mask of the channel `channel`, now and for channels of that name made later.
QX_PLATFORM_API void set_enabled_levels(std::string const& channel, unsigned mask);

namespace detail {

/// Appends one piece of a record to `out`: narrow text as it is, UTF-16 text and paths as
/// UTF-8, a char as one byte, an integer in decimal.
///@{
inline void append_piece(std::string& out, std::string_view piece) {
  out.append(piece);
}
inline void append_piece(std::string& out, char const* piece) {
  out.append(piece);
}
inline void append_piece(std::string& out, std::string const& piece) {
  out.append(piece);
}
inline void append_piece(std::string& out, char piece) {
  out.push_back(piece);
}
inline void append_piece(std::string& out, std::u16string_view piece) {
  fl::i18n::append_utf8(out, piece);
}
inline void append_piece(std::string& out, ustring const& piece) {
  fl::i18n::append_utf8(out, piece);
}
inline void append_piece(std::string& out, char16_t const* piece) {
  fl::i18n::append_utf8(out, piece);
}
inline void append_piece(std::string& out, fl::filesystem::basic_path const& piece) {
  fl::i18n::append_utf8(out, piece.string());
}
template <class Integer>
requires(std::is_integral_v<Integer> && !std::is_same_v<Integer, bool> &&
         !std::is_same_v<Integer, char>) void append_piece(std::string& out, Integer piece) {
  out.append(std::to_string(piece));
}
///@}
/// Booleans read 1 or 0, as a stream writes them by default.
inline void append_piece(std::string& out, bool piece) {
  out.push_back(piece ? '1' : '0');
}

/// Joins the pieces without separators and writes one record.
template <class... Pieces>
void write_joined(basic_diagnostic_logger<char> const& channel, unsigned level,
                  Pieces const&... pieces) {
  std::string text;
  (append_piece(text, pieces), ...);
  channel.write(level, text);
}

}  // namespace detail
}  // namespace foundation::log

/// Writes one trace record joining the pieces, which are evaluated only when `level`
/// is enabled on `channel`.
#define FL_TRACE(channel, level, ...)                                           \
  do {                                                                          \
    if ((channel).is_enabled(level)) {                                          \
      ::foundation::log::detail::write_joined((channel), (level), __VA_ARGS__); \
    }                                                                           \
  } while (false)
