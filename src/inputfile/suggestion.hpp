#pragma once

// "Did you mean ...?": the one known word nearest to a misspelt one. Internal to the library.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace install::cpputil::suggestion {

/// The optimal string alignment distance of `a` and `b` (insertions, deletions, substitutions
/// and swaps of two neighbouring bytes, each one edit; no substring edited twice) when it is
/// at most `bound`, else bound + 1. Only the cells within `bound` of the diagonal are computed,
/// and it stops at the first row that exceeds `bound`: O(bound * length) time, O(bound) memory.
[[nodiscard]] std::size_t bounded_distance(std::string_view a, std::string_view b,
                                           std::size_t bound);

/// Known words, ready to be compared with misspelt ones many times.
class Candidates {
 public:
  /// Keeps views of `words` (duplicates count once): they must outlive this object.
  explicit Candidates(std::vector<std::string_view> words);

  /// The one word whose form (ASCII lower case, blanks, hyphens and underscores dropped) lies
  /// nearest to `word`'s form, within 2 edits and a third of the form's length (so 0 for a
  /// form under 3 bytes, where only case and separators may differ); empty when no word is
  /// that near or when two are equally near, since a wrong suggestion misleads more than none.
  /// Many words are indexed, so that a search takes time linear in the form's length however
  /// many words share its letters; only the words the index finds, and words of more than
  /// indexed_length bytes of a form length within the allowed distance, are compared.
  [[nodiscard]] std::string_view nearest(std::string_view word) const;

  /// The longest form the index holds: it holds each form with every text made from it by
  /// deleting one or two of its bytes, about length² / 2 texts.
  static constexpr std::size_t indexed_length = 20;
  /// Fewer words than this are not indexed, and fewer words than this within reach of a
  /// form's length are compared one by one: an index lookup costs as much as comparing that
  /// many words of other letters.
  static constexpr std::size_t indexed_from = 256;

 private:
  struct Word {
    std::string form;
    std::uint64_t bytes = 0;  // the bytes of the form, each as bit (byte % 64)
    std::string_view text;
  };
  // Appends to `found` the index of every word that gives the text of 40-bit hash `hash` when
  // `least` to `most` of its bytes are deleted.
  void look_up(std::uint64_t hash, std::size_t least, std::size_t most,
               std::vector<std::uint32_t>& found) const;

  std::vector<Word> words_;  // by form length
  std::size_t indexed_ = 0;  // words_[0, indexed_) are in the index
  // A deletion index: each posting is a text's 40-bit hash, the number of bytes deleted from a
  // word to make it and that word (hash << 24 | deleted << 22 | word), grouped by the top bits
  // of the hash and sorted within each group; `buckets_` holds where each group starts.
  std::vector<std::uint64_t> postings_;
  std::vector<std::uint32_t> buckets_;
  unsigned bucket_bits_ = 0;
};

}  // namespace install::cpputil::suggestion
