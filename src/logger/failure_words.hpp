#pragma once

// Whether a message holds one of a list of words or phrases, as whole words in any ASCII case,
// in one pass over the message whatever the length of the list.

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "logger/byte_lanes.hpp"

namespace install::cpputil::log_text {

/// A byte of a word: an ASCII letter or digit, or '_'. An apostrophe (' or U+2019) between two
/// such bytes joins them ("can't").
[[nodiscard]] bool is_word_byte(unsigned char c) noexcept;

class FailureWords {
 public:
  /// `words`: words and phrases (words separated by blanks or tabs); the others are ignored.
  explicit FailureWords(std::vector<std::string> const& words);

  /// True when `text` holds one of the words, or one of the phrases with only blanks or tabs
  /// between its words. Byte by byte: what mark() cannot find, or a text it did not mark.
  [[nodiscard]] bool matches(std::string_view text) const;

  /// Whether mark_block finds where every word may start: the words start with at most eight
  /// pairs of letters and four other bytes.
  [[nodiscard]] bool can_mark() const noexcept;
  /// What mark_block looks for (when can_mark()).
  [[nodiscard]] WordStarts const& word_starts() const noexcept { return starts_; }
  /// As matches(text), for a text inside bytes that mark_block marked: its first byte is bit
  /// `offset` of `starts`, and the byte before it is no word byte. Only the marked starts are
  /// looked at.
  [[nodiscard]] bool matches_marked(std::string_view text, std::uint64_t const* starts,
                                    std::size_t offset) const;

 private:
  // One word of the list, found by the hash of its lower-cased bytes (an apostrophe as ').
  struct Slot {
    std::uint64_t hash = 0;
    std::uint32_t word = 0;  // index into words_ + 1; 0: empty
  };
  struct Word {
    std::string text;
    bool alone = false;        // a failure word by itself
    bool ends_phrase = false;  // the last word of a phrase
  };

  // Whether a listed word (or phrase) ends with the word that starts at `at`, a byte that may
  // start one after a byte that is no word byte; `at` moves to the end of what was looked at.
  [[nodiscard]] bool listed_at(unsigned char const* begin, unsigned char const*& at,
                               unsigned char const* end) const;
  [[nodiscard]] Word const* find(std::uint64_t hash, unsigned char const* begin,
                                 unsigned char const* end) const noexcept;
  void add(std::string const& word, bool alone, bool ends_phrase);
  // Puts every word into table_.
  void build_table();

  std::vector<Word> words_;
  std::vector<Slot> table_;  // open addressing, a power of two, at most a quarter full
  std::size_t longest_ = 0;  // the longest word, in bytes as lower-cased
  std::size_t shortest_ = ~std::size_t{0};  // the shortest word that is looked up
  // 1 for the bytes a word looked up starts with, in any case.
  std::array<unsigned char, 256> first_bytes_{};
  // How the words looked up start, each once: two letters (lower-cased), or else one byte.
  std::vector<std::pair<unsigned char, unsigned char>> pairs_;
  std::vector<unsigned char> singles_;
  WordStarts starts_;
  // By the first two bytes of a word, lower-cased (an apostrophe as ', none as 0): set when a
  // word looked up starts so.
  std::bitset<256 * 256> heads_;
  std::unordered_set<std::string> phrases_;
  std::size_t phrase_words_ = 1;  // the most words in a phrase
};

}  // namespace install::cpputil::log_text
