#include "logger/failure_words.hpp"

#include <array>

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
}

void FailureWords::add(std::string const& text, bool alone, bool ends_phrase) {
  longest_ = std::max(longest_, text.size());
  for (Word& word : words_) {
    if (word.text == text) {
      word.alone = word.alone || alone;
      word.ends_phrase = word.ends_phrase || ends_phrase;
      return;
    }
  }
  words_.push_back({text, alone, ends_phrase});
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

bool FailureWords::matches(std::string_view text) const {
  if (words_.empty()) return false;
  auto const* at = reinterpret_cast<byte const*>(text.data());
  auto const* const end = at + text.size();
  // The words just before this one with only blanks between them, for phrases.
  constexpr std::size_t most_recent = 8;
  std::array<std::pair<byte const*, byte const*>, most_recent> recent{};
  std::size_t chained = 0;  // how many of `recent` (the newest last) are chained to the next word
  std::size_t const keep = std::min(phrase_words_ - 1, most_recent);
  while (at < end) {
    if (word_bytes[*at] == 0) {
      if (!is_blank(*at)) chained = 0;
      ++at;
      continue;
    }
    Scanned const word = scan_word(at, end);
    if (word.length <= longest_) {
      if (Word const* const found = find(word.hash, at, word.end)) {
        if (found->alone) return true;
        if (found->ends_phrase) {
          std::string phrase;
          for (std::size_t words = 1; words <= chained; ++words) {
            phrase.clear();
            for (std::size_t i = chained - words; i < chained; ++i) {
              append_lowered(phrase, recent[i].first, recent[i].second);
              phrase.push_back(' ');
            }
            append_lowered(phrase, at, word.end);
            if (phrases_.contains(phrase)) return true;
          }
        }
      }
    }
    if (keep > 0) {
      if (chained == keep) {
        for (std::size_t i = 1; i < keep; ++i) recent[i - 1] = recent[i];
        --chained;
      }
      recent[chained++] = {at, word.end};
    }
    at = word.end;
  }
  return false;
}

}  // namespace install::cpputil::log_text
