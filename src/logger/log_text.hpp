#pragma once

// The log's text as its reader and its summary see it: the entry's time stamp as the log writes
// it, read strictly ("(Mmm DD, YYYY HH:MM:SS) "), and the entries of a log one by one, handed
// out as views of the bytes read, never copied.

#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "fl/filesystem.hpp"
#include "install/cpputil/log_reader.hpp"
#include "logger/byte_lanes.hpp"

namespace install::cpputil::log_text {

class FailureWords;

/// The bytes of the stamp, its closing ") " included.
inline constexpr std::size_t stamp_size = 24;

/// Reads the stamps of one log: consecutive entries mostly share their date, which is then
/// read once.
class StampReader {
 public:
  /// The time of the stamp `line` starts with: an English month abbreviation, a date that
  /// exists, hours to 23, minutes to 59, seconds to 60; nothing when the line starts otherwise.
  [[nodiscard, gnu::always_inline]] std::optional<std::chrono::local_seconds> parse(
      std::string_view line) noexcept {
    if (line.size() < stamp_size || line[0] != '(') return std::nullopt;
    // The date: most stamps repeat the last one read, which was checked then.
    std::uint64_t head = 0;
    std::uint32_t tail = 0;
    std::memcpy(&head, line.data() + 1, sizeof head);
    std::memcpy(&tail, line.data() + 1 + sizeof head, sizeof tail);
    if ((!have_date_ || head != head_ || tail != tail_) && !read_date(line)) return std::nullopt;
    return read_clock(line.data());
  }

 private:
  // Reads and keeps the date of `line` ("Mmm DD, YYYY" after its parenthesis).
  bool read_date(std::string_view line) noexcept;
  // " HH:MM:SS) " after the date, on the day read last.
  [[nodiscard]] std::optional<std::chrono::local_seconds> read_clock(
      char const* text) const noexcept {
    if (text[13] != ' ' || text[22] != ')' || text[23] != ' ') return std::nullopt;
    // The eight bytes of the clock tested at once (bytes in memory order).
    std::uint64_t clock = 0;
    std::memcpy(&clock, text + 14, sizeof clock);
    if constexpr (std::endian::native == std::endian::big) clock = __builtin_bswap64(clock);
    std::uint64_t const values = clock ^ 0x3030303030303030;  // a digit lane holds 0 to 9
    constexpr std::uint64_t digits = 0xFFFF00FFFF00FFFF;
    constexpr std::uint64_t colons = 0x0000FF0000FF0000;
    if ((clock & colons) != 0x00003A00003A0000 || (values & digits & 0xF0F0F0F0F0F0F0F0) != 0 ||
        ((values + 0x0606060606060606) & digits & 0x1010101010101010) != 0)
      return std::nullopt;
    auto const lane = [values](int at) { return static_cast<int>(values >> (8 * at) & 0xFF); };
    int const hour = lane(0) * 10 + lane(1);
    int const minute = lane(3) * 10 + lane(4);
    int const second = lane(6) * 10 + lane(7);
    if (hour > 23 || minute > 59 || second > 60) return std::nullopt;
    return std::chrono::local_seconds(days_.time_since_epoch()) + std::chrono::hours(hour) +
           std::chrono::minutes(minute) + std::chrono::seconds(second);
  }

  std::uint64_t head_ = 0;  // "Mmm DD, YYYY" of the last date read, in two pieces
  std::uint32_t tail_ = 0;
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

/// What a run's start and end entries say, read from their messages.
void read_run_start(std::string_view message, LoggedRunStart& start);
void read_run_end(std::string_view message, LoggedRunEnd& end);

/// An entry as EntryScanner hands it out. Its views stay valid until the scanner moves its
/// buffer: at the next call of next() at the earliest, and never before the moving callback.
struct ScannedEntry {
  std::uint64_t line = 0;        ///< the first line, from 1
  std::uint64_t line_count = 0;  ///< how many lines it takes
  LogEntryKind kind = LogEntryKind::installer;
  std::string_view time_text;  ///< "Nov 16, 2026 14:50:09"; empty for `outside`
  std::optional<std::chrono::local_seconds> local_time;
  std::optional<std::chrono::sys_seconds> utc_time;
  /// Its lines without the stamp, joined by line feeds; both messages of a failed file rule.
  std::string_view message;
};

/// The entries of a log, in one pass over its bytes (LogReader and summarizeLog read through
/// it). The file is read in large blocks; an entry is handed out as views of the block that
/// holds it, so no byte is copied but by the kernel. The block grows only to hold the longest
/// entry, as the reader promises. Each block read is marked once, sixteen bytes at a time: its
/// line feeds, and where `words` may start; lines are then found by those marks, and a
/// message's failure words by the starts marked inside it.
class EntryScanner {
 public:
  explicit EntryScanner(fl::filesystem::basic_path const& path,
                        FailureWords const* words = nullptr);
  ~EntryScanner();
  EntryScanner(EntryScanner const&) = delete;
  EntryScanner& operator=(EntryScanner const&) = delete;

  [[nodiscard]] bool is_open() const noexcept;
  [[nodiscard]] std::error_code error() const noexcept;
  /// The lines handed out so far (an entry read ahead not counted).
  [[nodiscard]] std::uint64_t lines() const noexcept { return lines_out_; }

  /// `pin` is called before the bytes of the entries handed out move or are dropped, so that
  /// whoever keeps views of them can copy them first. Rare: once per block at most.
  void on_move(std::function<void()> pin) { pin_ = std::move(pin); }

  /// The next entry; false at the end of the file and after a read that failed.
  bool next(ScannedEntry& entry);

  /// Whether the message of `entry`, an installer entry just handed out, holds one of the
  /// words given at the construction (FailureWords::matches).
  [[nodiscard]] bool holds_failure_word(ScannedEntry const& entry) const {
    if (!marks_words_) return holds_unmarked_word(entry.message);
    // Most messages hold no marked start: one look at the bits.
    auto const offset = static_cast<std::size_t>(entry.message.data() - blocks_.data());
    std::size_t const end = offset + entry.message.size();
    return next_bit(starts_.get(), offset, end) != end && holds_marked_word(entry.message, offset);
  }

  /// The facts of the last entry handed out, by its kind (file_copy, run_start, run_end).
  [[nodiscard]] LoggedFileCopy const& copy() const noexcept { return copy_; }
  [[nodiscard]] LoggedRunStart const& run_start() const noexcept { return run_start_; }
  [[nodiscard]] LoggedRunEnd const& run_end() const noexcept { return run_end_; }

 private:
  // An entry as scanned: where its bytes are in the file.
  struct Raw {
    std::uint64_t begin = 0;        // its first byte
    std::uint64_t end = 0;          // after its last line's line feed (or the end of the file)
    std::uint64_t message = 0;      // where its message starts (after the stamp)
    std::uint64_t message_end = 0;  // and ends (before the last line feed)
    std::uint64_t line = 0;
    std::uint64_t line_count = 0;
    std::optional<std::chrono::local_seconds> time;
    LogEntryKind kind = LogEntryKind::installer;
  };

  bool scan(Raw& raw);
  void scan_message();
  void scan_copy(Raw& raw, std::string_view path);
  void consume(std::uint64_t line_end) noexcept;
  // The end of the line that starts at `at` (its line feed, or the end of the file), reading on
  // when it is not in the buffer yet; false when `at` is the end of the file.
  bool line_end(std::uint64_t at, std::uint64_t& end) {
    std::size_t const held = blocks_.size();
    std::size_t const feed = next_bit(feeds_.get(), static_cast<std::size_t>(at - base_), held);
    if (feed == held) return read_line_end(at, end);
    end = base_ + feed;
    return true;
  }
  bool read_line_end(std::uint64_t at, std::uint64_t& end);
  [[nodiscard]] bool holds_unmarked_word(std::string_view message) const;
  [[nodiscard]] bool holds_marked_word(std::string_view message, std::size_t offset) const;
  void refill();
  void mark(std::size_t from);
  [[nodiscard]] std::string_view view(std::uint64_t from, std::uint64_t to) const noexcept {
    return {blocks_.data() + (from - base_), static_cast<std::size_t>(to - from)};
  }
  [[nodiscard]] std::string_view message_of(Raw const& raw) const noexcept {
    return view(raw.message, raw.message_end);
  }
  void close(Raw& raw) const noexcept;
  void hand_out(Raw const& raw, ScannedEntry& entry);
  bool quick(ScannedEntry& entry);

  static_assert(fl::filesystem::block_reader::overrun >= lane_overrun);
  fl::filesystem::block_reader blocks_;
  FailureWords const* words_;
  bool marks_words_;
  std::unique_ptr<std::uint64_t[]> feeds_;   // the line feeds of the bytes held, a bit per byte
  std::unique_ptr<std::uint64_t[]> starts_;  // where a failure word may start
  std::size_t bit_words_ = 0;                // the words of each
  std::uint64_t base_ = 0;                   // the file offset of the first byte held
  std::uint64_t keep_ = 0;                   // bytes from here on stay when the buffer moves
  std::function<void()> pin_;

  StampReader stamps_;
  std::uint64_t at_ = 0;     // the next line to scan
  std::uint64_t lines_ = 0;  // lines scanned
  std::uint64_t lines_out_ = 0;
  // The time and the end of the line at at_, found already when it ended the entry before.
  std::optional<std::chrono::local_seconds> at_time_;
  std::uint64_t at_end_ = 0;
  bool at_parsed_ = false;
  // An entry scanned ahead to see whether it completes a failed file rule.
  Raw ahead_;
  bool has_ahead_ = false;
  std::string joined_;  // the message of a failed file rule
  // The facts of the copy scanned last: the one handed out last, when that is a copy (an entry
  // is scanned ahead only after an installer entry).
  LoggedFileCopy copy_;
  LoggedRunStart run_start_;
  LoggedRunEnd run_end_;
  std::optional<std::chrono::seconds> zone_;  // of the run being read, from its start entry
};

}  // namespace install::cpputil::log_text
