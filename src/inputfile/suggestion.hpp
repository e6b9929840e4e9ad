#pragma once

// "Did you mean ...?": the one known word nearest to a misspelt one. Internal to the library.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
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
  /// Only words of a form length within the allowed distance are compared.
  [[nodiscard]] std::string_view nearest(std::string_view word) const;

 private:
  struct Word {
    std::string form;
    std::uint64_t bytes = 0;  // the bytes of the form, each as bit (byte % 64)
    std::string_view text;
  };
  std::vector<Word> words_;  // by form length
};

}  // namespace install::cpputil::suggestion
