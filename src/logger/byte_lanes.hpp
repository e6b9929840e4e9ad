#pragma once

// A block of the log marked in one pass, sixteen or thirty-two bytes at a time in the vector
// registers of the machine (SSE2, AVX2, NEON), as the GCC and Clang vector extensions give
// them: a lane is 0xFF where a test holds, else 0. What the pass finds is kept as bitmaps, one
// bit per byte, one word per 64 bytes.
//
// Everything here has internal linkage: failure_words_avx2.cpp is built for AVX2 and includes
// this header too, and no copy of its code may be shared with the files built for any x86-64.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace install::cpputil::log_text {

/// What the pass looks for: the first two bytes (lowered) of the words of a list, and the first
/// bytes of its words that do not start with two letters.
struct WordStarts {
  static constexpr std::size_t max_pairs = 8;
  static constexpr std::size_t max_singles = 4;
  unsigned char firsts[max_pairs] = {};
  unsigned char seconds[max_pairs] = {};
  std::size_t pairs = 0;
  unsigned char singles[max_singles] = {};
  std::size_t single_count = 0;
};

/// Marks `size` bytes at `data` (and reads lane_overrun bytes after them): the line feeds in
/// `feeds`, and, given `words`, where one of them may start in `starts` (see mark_pairs below).
/// With lanes of thirty-two bytes where the processor has AVX2, else of sixteen.
void mark_block(unsigned char const* data, std::size_t size, bool after_word,
                WordStarts const* words, std::uint64_t* feeds, std::uint64_t* starts);
/// mark_block with lanes of thirty-two bytes; only where the processor has AVX2.
void mark_block_avx2(unsigned char const* data, std::size_t size, bool after_word,
                     WordStarts const& words, std::uint64_t* feeds, std::uint64_t* starts);

/// Bytes a pass may read past the end of what it marks.
inline constexpr std::size_t lane_overrun = 80;

namespace {

using lanes16 = unsigned char __attribute__((vector_size(16)));
#if defined(__AVX2__)
using lanes32 = unsigned char __attribute__((vector_size(32)));
#endif

template <class Lanes>
inline Lanes load_lanes(unsigned char const* at) noexcept {
  Lanes bytes;
  std::memcpy(&bytes, at, sizeof bytes);
  return bytes;
}

/// One bit per lane that holds, lane 0 the lowest.
inline std::uint64_t lane_bits(lanes16 holds) noexcept {
#if defined(__SSE2__)
  using chars = char __attribute__((vector_size(16)));
  return static_cast<std::uint16_t>(__builtin_ia32_pmovmskb128(reinterpret_cast<chars>(holds)));
#else
  // Each byte 0 or 0xFF: its own bit picked, then all eight summed into the top byte.
  std::uint64_t halves[2];
  std::memcpy(halves, &holds, sizeof halves);
  if constexpr (std::endian::native == std::endian::big) {
    halves[0] = __builtin_bswap64(halves[0]);
    halves[1] = __builtin_bswap64(halves[1]);
  }
  constexpr std::uint64_t pick = 0x8040201008040201;
  constexpr std::uint64_t gather = 0x0101010101010101;
  return ((halves[0] & pick) * gather >> 56) | ((halves[1] & pick) * gather >> 56 << 8);
#endif
}

#if defined(__AVX2__)
inline std::uint64_t lane_bits(lanes32 holds) noexcept {
  using chars = char __attribute__((vector_size(32)));
  return static_cast<std::uint32_t>(__builtin_ia32_pmovmskb256(reinterpret_cast<chars>(holds)));
}
#endif

/// The bits of `bits` for the first `count` bytes of a 64-byte block.
inline std::uint64_t first_bits(std::uint64_t bits, std::size_t count) noexcept {
  return count >= 64 ? bits : bits & ((std::uint64_t{1} << count) - 1);
}

/// The first bit set in `bits` from bit `from` up to (not including) `to`; `to` when none is.
inline std::size_t next_bit(std::uint64_t const* bits, std::size_t from, std::size_t to) noexcept {
  while (from < to) {
    std::uint64_t const word = bits[from / 64] & (~std::uint64_t{0} << (from % 64));
    if (word != 0) {
      std::size_t const found = from / 64 * 64 + static_cast<std::size_t>(std::countr_zero(word));
      return found < to ? found : to;
    }
    from = from / 64 * 64 + 64;
  }
  return to;
}

/// The pass over `size` bytes at `data` (lane_overrun bytes after them read, not marked): the
/// line feeds into `feeds`; into `starts` (unless null) the bytes where a word of `words` that
/// starts with one of its first N pairs, or with one of its singles, may start: that pair (or
/// byte), lowered, after a byte that is no word byte (`after_word`: the byte before data[0] is
/// one). A word byte is an ASCII letter or digit, or '_'. A template per count of pairs, so
/// that their lanes stay in registers and no unused one is tested.
template <class Lanes, std::size_t N>
void mark_pairs(unsigned char const* data, std::size_t size, bool after_word,
                WordStarts const& words, std::uint64_t* feeds, std::uint64_t* starts) {
  constexpr std::size_t width = sizeof(Lanes);
  Lanes firsts[N > 0 ? N : 1];
  Lanes seconds[N > 0 ? N : 1];
  for (std::size_t i = 0; i < N; ++i) {
    firsts[i] = Lanes{} + words.firsts[i];
    seconds[i] = Lanes{} + words.seconds[i];
  }
  std::uint64_t carry = after_word ? 1 : 0;
  for (std::size_t block = 0; block < size; block += 64) {
    std::uint64_t feed = 0;
    std::uint64_t word = 0;
    std::uint64_t pair = 0;
    for (std::size_t k = 0; k < 64 / width; ++k) {
      unsigned char const* const at = data + block + width * k;
      Lanes const bytes = load_lanes<Lanes>(at);
      feed |= lane_bits(reinterpret_cast<Lanes>(bytes == '\n')) << (width * k);
      if (starts == nullptr) continue;
      Lanes const low = bytes | 0x20;
      Lanes const next = load_lanes<Lanes>(at + 1) | 0x20;
      Lanes found = Lanes{};
      for (std::size_t i = 0; i < N; ++i)
        found |=
            reinterpret_cast<Lanes>(low == firsts[i]) & reinterpret_cast<Lanes>(next == seconds[i]);
      for (std::size_t i = 0; i < words.single_count; ++i) {
        unsigned char const c = words.singles[i];
        found |= reinterpret_cast<Lanes>(c >= 'a' && c <= 'z' ? low == c : bytes == c);
      }
      // Lowering maps no byte but a letter into a to z.
      Lanes const letter = reinterpret_cast<Lanes>(static_cast<Lanes>(low - 'a') < 26);
      Lanes const digit = reinterpret_cast<Lanes>(static_cast<Lanes>(bytes - '0') < 10);
      Lanes const underscore = reinterpret_cast<Lanes>(bytes == '_');
      word |= lane_bits(letter | digit | underscore) << (width * k);
      pair |= lane_bits(found) << (width * k);
    }
    std::size_t const count = size - block;
    feeds[block / 64] = first_bits(feed, count);
    if (starts == nullptr) continue;
    starts[block / 64] = first_bits(pair & ~(word << 1 | carry), count);
    carry = word >> 63;
  }
}

/// mark_pairs for `words`, or for no words (only the line feeds) when `starts` is null.
template <class Lanes, std::size_t... N>
void mark_with(unsigned char const* data, std::size_t size, bool after_word,
               WordStarts const& words, std::uint64_t* feeds, std::uint64_t* starts,
               std::index_sequence<N...>) {
  using Marker = void (*)(unsigned char const*, std::size_t, bool, WordStarts const&,
                          std::uint64_t*, std::uint64_t*);
  static constexpr Marker markers[] = {&mark_pairs<Lanes, N>...};
  markers[starts == nullptr ? 0 : words.pairs](data, size, after_word, words, feeds, starts);
}

}  // namespace
}  // namespace install::cpputil::log_text
