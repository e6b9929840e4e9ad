#include "logger/failure_words.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <tuple>
#include <utility>

#include "logger/byte_lanes.hpp"

namespace install::cpputil::log_text {
namespace {

// FNV-1a over the lower-cased bytes of a word.
constexpr std::uint64_t hash_start = 14695981039346656037ULL;
constexpr std::uint64_t hash_step = 1099511628211ULL;

// Per byte: 0 separates words, else the lower-cased byte of a word.
constexpr std::array<unsigned char, 256> word_bytes = [] {
  std::array<unsigned char, 256> table{};
  for (int c = '0'; c <= '9'; ++c) table[c] = static_cast<unsigned char>(c);
  for (int c = 'a'; c <= 'z'; ++c) table[c] = static_cast<unsigned char>(c);
  for (int c = 'A'; c <= 'Z'; ++c) table[c] = static_cast<unsigned char>(c - 'A' + 'a');
  table['_'] = '_';
  return table;
}();

using byte = unsigned char;

// The length of the apostrophe at `at` that joins two word bytes (' or U+2019), or 0.
std::size_t joining_apostrophe(byte const* at, byte const* end) noexcept {
  if (*at == '\'') return at + 1 < end && word_bytes[at[1]] != 0 ? 1 : 0;
  if (*at == 0xE2 && end - at > 3 && at[1] == 0x80 && at[2] == 0x99 && word_bytes[at[3]] != 0)
    return 3;
  return 0;
}

// Scans the word that starts at `at` (a word byte): its end, and the hash and length of its
// lower-cased form, in which each apostrophe is '.
struct Scanned {
  byte const* end;
  std::uint64_t hash;
  std::size_t length;
};

Scanned scan_word(byte const* at, byte const* end) noexcept {
  std::uint64_t hash = hash_start;
  std::size_t length = 0;
  for (;;) {
    while (at < end && word_bytes[*at] != 0) {
      hash = (hash ^ word_bytes[*at]) * hash_step;
      ++at;
      ++length;
    }
    if (at == end) break;
    std::size_t const apostrophe = joining_apostrophe(at, end);
    if (apostrophe == 0) break;
    hash = (hash ^ static_cast<byte>('\'')) * hash_step;
    at += apostrophe;
    ++length;
  }
  return {at, hash, length};
}

// The lower-cased form of the word [begin, end), apostrophes as '.
void append_lowered(std::string& out, byte const* begin, byte const* end) {
  while (begin < end) {
    if (word_bytes[*begin] != 0) {
      out.push_back(static_cast<char>(word_bytes[*begin]));
      ++begin;
    } else {
      out.push_back('\'');
      begin += joining_apostrophe(begin, end);
    }
  }
}

bool is_blank(byte c) noexcept {
  return c == ' ' || c == '\t';
}

// Whether the word byte at `at` continues a word through an apostrophe before it ("can't").
bool after_apostrophe(byte const* begin, byte const* at) noexcept {
  if (at - begin >= 2 && at[-1] == '\'' && word_bytes[at[-2]] != 0) return true;
  return at - begin >= 4 && at[-1] == 0x99 && at[-2] == 0x80 && at[-3] == 0xE2 &&
         word_bytes[at[-4]] != 0;
}

// The start of the word before the blanks before `at`, or nullptr when something else than
// blanks (or nothing) comes before it.
byte const* previous_word(byte const* begin, byte const* at) noexcept {
  while (at > begin && is_blank(at[-1])) --at;
  if (at == begin || word_bytes[at[-1]] == 0) return nullptr;
  while (at > begin && (word_bytes[at[-1]] != 0 || after_apostrophe(begin, at) ||
                        joining_apostrophe(at - 1, at + 1) != 0))
    --at;
  return at;
}

}  // namespace

bool is_word_byte(unsigned char c) noexcept {
  return word_bytes[c] != 0;
}

FailureWords::FailureWords(std::vector<std::string> const& words) {
  std::vector<std::pair<std::string, bool>> wanted;  // word, alone
  for (std::string const& entry : words) {
    auto const* at = reinterpret_cast<byte const*>(entry.data());
    auto const* const end = at + entry.size();
    std::vector<std::string> parts;
    bool plain = true;  // only words and blanks
    while (at < end) {
      if (word_bytes[*at] == 0) {
        plain = plain && is_blank(*at);
        ++at;
        continue;
      }
      Scanned const word = scan_word(at, end);
      parts.emplace_back();
      append_lowered(parts.back(), at, word.end);
      at = word.end;
    }
    if (!plain || parts.empty()) continue;
    if (parts.size() == 1) {
      add(parts.front(), true, false);
      continue;
    }
    std::string phrase;
    for (std::string const& part : parts) phrase += (phrase.empty() ? "" : " ") + part;
    phrases_.insert(phrase);
    phrase_words_ = std::max(phrase_words_, parts.size());
    add(parts.back(), false, true);
    for (std::size_t i = 0; i + 1 < parts.size(); ++i)
      longest_ = std::max(longest_, parts[i].size());
  }
  build_table();
  if (can_mark()) {
    for (auto const& [first, second] : pairs_) {
      starts_.firsts[starts_.pairs] = first;
      starts_.seconds[starts_.pairs++] = second;
    }
    for (unsigned char const single : singles_) starts_.singles[starts_.single_count++] = single;
  }
}

void FailureWords::add(std::string const& text, bool alone, bool ends_phrase) {
  longest_ = std::max(longest_, text.size());
  shortest_ = std::min(shortest_, text.size());
  heads_[(static_cast<std::size_t>(static_cast<byte>(text[0])) << 8) |
         (text.size() > 1 ? static_cast<byte>(text[1]) : 0)] = true;
  for (std::size_t c = 0; c < 256; ++c)
    if (word_bytes[c] == static_cast<byte>(text.front())) first_bytes_[c] = 1;
  // Two letters start most words: their pair is what the sixteen-byte test looks for.
  auto const is_letter = [](char c) { return c >= 'a' && c <= 'z'; };
  if (text.size() > 1 && is_letter(text[0]) && is_letter(text[1])) {
    std::pair<byte, byte> const pair(text[0], text[1]);
    if (std::find(pairs_.begin(), pairs_.end(), pair) == pairs_.end()) pairs_.push_back(pair);
  } else if (std::find(singles_.begin(), singles_.end(), static_cast<byte>(text[0])) ==
             singles_.end()) {
    singles_.push_back(static_cast<byte>(text[0]));
  }
  for (Word& word : words_) {
    if (word.text == text) {
      word.alone = word.alone || alone;
      word.ends_phrase = word.ends_phrase || ends_phrase;
      return;
    }
  }
  words_.push_back({text, alone, ends_phrase});
}

void FailureWords::build_table() {
  std::size_t size = 16;
  while (size < words_.size() * 4) size *= 2;
  table_.assign(size, Slot{});
  for (std::size_t i = 0; i < words_.size(); ++i) {
    auto const* const begin = reinterpret_cast<byte const*>(words_[i].text.data());
    std::uint64_t const hash = scan_word(begin, begin + words_[i].text.size()).hash;
    std::size_t at = hash & (size - 1);
    while (table_[at].word != 0) at = (at + 1) & (size - 1);
    table_[at] = {hash, static_cast<std::uint32_t>(i + 1)};
  }
}

FailureWords::Word const* FailureWords::find(std::uint64_t hash, byte const* begin,
                                             byte const* end) const noexcept {
  std::size_t const mask = table_.size() - 1;
  for (std::size_t at = hash & mask; table_[at].word != 0; at = (at + 1) & mask) {
    if (table_[at].hash != hash) continue;
    Word const& word = words_[table_[at].word - 1];
    // The lower-cased form compared byte by byte (an apostrophe of three bytes counts as one).
    std::size_t i = 0;
    byte const* at_byte = begin;
    while (at_byte < end && i < word.text.size()) {
      if (word_bytes[*at_byte] != 0) {
        if (word_bytes[*at_byte] != static_cast<byte>(word.text[i])) break;
        ++at_byte;
      } else {
        if (word.text[i] != '\'') break;
        at_byte += joining_apostrophe(at_byte, end);
      }
      ++i;
    }
    if (at_byte == end && i == word.text.size()) return &word;
  }
  return nullptr;
}

bool FailureWords::listed_at(byte const* begin, byte const*& at, byte const* end) const {
  // Its second byte first: most words that start like a listed one part with it there.
  byte const next = at + 1 == end                          ? 0
                    : word_bytes[at[1]] != 0               ? word_bytes[at[1]]
                    : joining_apostrophe(at + 1, end) != 0 ? '\''
                                                           : 0;
  if (!heads_[(static_cast<std::size_t>(word_bytes[*at]) << 8) | next]) return false;
  if (after_apostrophe(begin, at)) return false;
  Scanned const word = scan_word(at, end);
  byte const* const start = at;
  at = word.end;
  if (word.length < shortest_ || word.length > longest_) return false;
  Word const* const found = find(word.hash, start, word.end);
  if (found == nullptr) return false;
  if (found->alone) return true;
  if (!found->ends_phrase) return false;
  // The words before it, with only blanks between them, make a phrase.
  std::string phrase;
  append_lowered(phrase, start, word.end);
  byte const* first = start;
  for (std::size_t words = 2; words <= phrase_words_; ++words) {
    byte const* const before = previous_word(begin, first);
    if (before == nullptr) return false;
    std::string part;
    byte const* part_end = first;
    while (part_end > before && is_blank(part_end[-1])) --part_end;
    append_lowered(part, before, part_end);
    phrase = part + ' ' + phrase;
    first = before;
    if (phrases_.contains(phrase)) return true;
  }
  return false;
}

void mark_block(unsigned char const* data, std::size_t size, bool after_word,
                WordStarts const* words, std::uint64_t* feeds, std::uint64_t* starts) {
  WordStarts const none;
#if defined(QX_MARK_AVX2)
  static bool const wide = __builtin_cpu_supports("avx2");
  if (wide) {
    mark_block_avx2(data, size, after_word, words != nullptr ? *words : none, feeds,
                    words != nullptr ? starts : nullptr);
    return;
  }
#endif
  mark_with<lanes16>(data, size, after_word, words != nullptr ? *words : none, feeds,
                     words != nullptr ? starts : nullptr,
                     std::make_index_sequence<WordStarts::max_pairs + 1>());
}

bool FailureWords::can_mark() const noexcept {
  return pairs_.size() <= WordStarts::max_pairs && singles_.size() <= WordStarts::max_singles;
}

bool FailureWords::matches_marked(std::string_view text, std::uint64_t const* starts,
                                  std::size_t offset) const {
  auto const* const begin = reinterpret_cast<byte const*>(text.data());
  auto const* const end = begin + text.size();
  byte const* resume = begin;  // bytes before it belong to a word already looked at
  for (std::size_t at = next_bit(starts, offset, offset + text.size()); at < offset + text.size();
       at = next_bit(starts, at + 1, offset + text.size())) {
    byte const* const candidate = begin + (at - offset);
    if (candidate < resume) continue;
    resume = candidate;
    if (listed_at(begin, resume, end)) return true;
  }
  return false;
}

bool FailureWords::matches(std::string_view text) const {
  if (words_.empty() || text.empty()) return false;
  auto const* const begin = reinterpret_cast<byte const*>(text.data());
  auto const* const end = begin + text.size();
  // A listed word starts with the first bytes of one after a byte that is no word byte.
  unsigned after_separator = 1;
  for (byte const* at = begin; at < end; after_separator = word_bytes[*at++] == 0) {
    if ((first_bytes_[*at] & after_separator) == 0) continue;
    byte const* word_end = at;
    if (listed_at(begin, word_end, end)) return true;
    if (word_end > at) at = word_end - 1;  // the loop steps past the word
  }
  return false;
}

}  // namespace install::cpputil::log_text
