// The pass of byte_lanes.hpp with lanes of thirty-two bytes. Only this file is built for AVX2,
// and mark_block calls it only where the processor has AVX2; it shares no code with the others.
#include "logger/byte_lanes.hpp"

namespace install::cpputil::log_text {

void mark_block_avx2(unsigned char const* data, std::size_t size, bool after_word,
                     WordStarts const& words, std::uint64_t* feeds, std::uint64_t* starts) {
  mark_with<lanes32>(data, size, after_word, words, feeds, starts,
                     std::make_index_sequence<WordStarts::max_pairs + 1>());
}

}  // namespace install::cpputil::log_text
