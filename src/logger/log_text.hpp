#pragma once

// The entry's time stamp as the log writes it, read strictly: "(Mmm DD, YYYY HH:MM:SS) ".

#include <chrono>
#include <cstddef>
#include <optional>
#include <string_view>

namespace install::cpputil::log_text {

/// The bytes of the stamp, its closing ") " included.
inline constexpr std::size_t stamp_size = 24;

/// Reads the stamps of one log: consecutive entries mostly share their date, which is then
/// read once.
class StampReader {
 public:
  /// The time of the stamp `line` starts with: an English month abbreviation, a date that
  /// exists, hours to 23, minutes to 59, seconds to 60; nothing when the line starts otherwise.
  [[nodiscard]] std::optional<std::chrono::local_seconds> parse(std::string_view line) noexcept;

 private:
  char date_[12] = {};  // "Mmm DD, YYYY" of the last date read
  bool have_date_ = false;
  std::chrono::local_days days_{};
};

/// Calls `each(line)` for each line of `text` (split at line feeds; an empty text has one).
template <class Each>
void for_each_line(std::string_view text, Each&& each) {
  for (;;) {
    std::size_t const end = text.find('\n');
    each(text.substr(0, end));
    if (end == std::string_view::npos) return;
    text.remove_prefix(end + 1);
  }
}

/// True when `line`, at least 2 bytes, is the start of a stamp and no more: what a write that
/// was cut short leaves.
[[nodiscard]] bool is_cut_stamp(std::string_view line) noexcept;

}  // namespace install::cpputil::log_text
