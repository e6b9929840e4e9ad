#include "inputfile/suggestion.hpp"

#include <algorithm>
#include <bit>
#include <functional>
#include <numeric>
#include <tuple>
#include <utility>

#include <boost/container/small_vector.hpp>
#include <boost/unordered/unordered_flat_set.hpp>

#include "inputfile/input_lines.hpp"

namespace install::cpputil::suggestion {
namespace {

// People write one key as install_for_all_users, install-for-all-users, "install for all
// users" or installforallusers: the separators carry no meaning here.
std::string form_of(std::string_view word) {
  std::string form = input_lines::ascii_lower(word);
  std::erase_if(form, [](char c) { return c == ' ' || c == '-' || c == '_'; });
  return form;
}

std::uint64_t bytes_of(std::string_view form) {
  std::uint64_t bytes = 0;
  for (char const c : form) bytes |= std::uint64_t{1} << (static_cast<unsigned char>(c) % 64);
  return bytes;
}

std::size_t allowed_distance(std::string_view form) {
  return std::min<std::size_t>(2, form.size() / 3);
}

// The most words a deletion index numbers (22 bits of a posting).
constexpr std::size_t word_mask = (std::size_t{1} << 22) - 1;

// The hashes of a text and of the texts made from it by deleting one or two of its bytes, each
// in constant time from the hashes of the text's prefixes: a polynomial hash (modulo 2^64),
// mixed and cut to 40 bits, which is what a posting keeps of it.
class deletion_hashes {
 public:
  explicit deletion_hashes(std::string_view text) : size_(text.size()) {
    prefix_.resize(size_ + 1);
    power_.resize(size_ + 1);
    power_[0] = 1;
    for (std::size_t k = 0; k < size_; ++k) {
      prefix_[k + 1] = prefix_[k] * base + static_cast<unsigned char>(text[k]) + 1;
      power_[k + 1] = power_[k] * base;
    }
  }
  [[nodiscard]] std::uint64_t whole() const { return mixed(prefix_[size_], size_); }
  [[nodiscard]] std::uint64_t without(std::size_t i) const {
    return mixed(prefix_[i] * power_[size_ - 1 - i] + part(i + 1, size_), size_ - 1);
  }
  // Without bytes i and j, i < j.
  [[nodiscard]] std::uint64_t without(std::size_t i, std::size_t j) const {
    return mixed(prefix_[i] * power_[size_ - 2 - i] + part(i + 1, j) * power_[size_ - 1 - j] +
                     part(j + 1, size_),
                 size_ - 2);
  }

 private:
  static constexpr std::uint64_t base = 0x100000001B3ULL;
  [[nodiscard]] std::uint64_t part(std::size_t from, std::size_t to) const {
    return prefix_[to] - prefix_[from] * power_[to - from];
  }
  static std::uint64_t mixed(std::uint64_t hash, std::size_t length) {
    hash ^= length * 0x9E3779B97F4A7C15ULL;
    hash = (hash ^ (hash >> 31)) * 0xBF58476D1CE4E5B9ULL;
    hash = (hash ^ (hash >> 29)) * 0x94D049BB133111EBULL;
    return (hash ^ (hash >> 32)) >> 24;
  }
  std::size_t size_;
  boost::container::small_vector<std::uint64_t, 32> prefix_, power_;
};

// Calls each(hash, deleted) for `form` and for every text made from it by deleting one or two
// (up to `most`) of its bytes; a text made twice is handed over twice.
template <class Each>
void each_deletion(std::string_view form, std::size_t most, Each&& each) {
  deletion_hashes const hashes(form);
  each(hashes.whole(), 0);
  for (std::size_t i = 0; most > 0 && i < form.size(); ++i) {
    each(hashes.without(i), 1);
    for (std::size_t j = i + 1; most > 1 && j < form.size(); ++j) each(hashes.without(i, j), 2);
  }
}

}  // namespace

std::size_t bounded_distance(std::string_view a, std::string_view b, std::size_t bound) {
  // A common start and end cost nothing and change no edit between them (the optimal string
  // alignment distance keeps them as they are): keys that share a long stem compare fast.
  auto const [a_end, b_end] = std::mismatch(a.begin(), a.end(), b.begin(), b.end());
  auto const same_start = static_cast<std::size_t>(a_end - a.begin());
  a.remove_prefix(same_start);
  b.remove_prefix(same_start);
  auto const same_end = static_cast<std::size_t>(
      std::mismatch(a.rbegin(), a.rend(), b.rbegin(), b.rend()).first - a.rbegin());
  a.remove_suffix(same_end);
  b.remove_suffix(same_end);
  std::size_t const over = bound + 1;
  if ((a.size() > b.size() ? a.size() - b.size() : b.size() - a.size()) > bound) return over;
  // Row i holds the cells j = i - bound .. i + bound at j - i + bound + 1; the cell on either
  // side of that band stays `over`, as every cell outside it is.
  std::size_t const width = 2 * bound + 3;
  boost::container::small_vector<std::size_t, 24> cells(3 * width, over);
  std::size_t* before = cells.data();  // rows i - 2, i - 1 and i, rotated as i grows
  std::size_t* previous = before + width;
  std::size_t* current = previous + width;
  for (std::size_t j = 0; j <= std::min(bound, b.size()); ++j) previous[j + bound + 1] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::fill(current, current + width, over);
    std::size_t lowest = over;
    for (std::size_t j = i > bound ? i - bound : 0; j <= std::min(b.size(), i + bound); ++j) {
      std::size_t const at = j + bound + 1 - i;
      std::size_t cell = i;
      if (j > 0) {
        cell = std::min({previous[at + 1] + 1, current[at - 1] + 1,
                         previous[at] + (a[i - 1] == b[j - 1] ? 0 : 1)});
        if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
          cell = std::min(cell, before[at] + 1);
      }
      current[at] = std::min(cell, over);
      lowest = std::min(lowest, current[at]);
    }
    // No later row can be lower than this one's lowest cell (a swap reaches back two rows,
    // but costs one more than the diagonal step it replaces).
    if (lowest > bound) return over;
    std::tie(before, previous, current) = std::tuple(previous, current, before);
  }
  return previous[b.size() + bound + 1 - a.size()];
}

Candidates::Candidates(std::vector<std::string_view> words) {
  std::sort(words.begin(), words.end());
  words.erase(std::unique(words.begin(), words.end()), words.end());
  words_.reserve(words.size());
  for (std::string_view const word : words) {
    std::string form = form_of(word);
    std::uint64_t const bytes = bytes_of(form);
    words_.push_back({std::move(form), bytes, word});
  }
  std::stable_sort(words_.begin(), words_.end(),
                   [](Word const& a, Word const& b) { return a.form.size() < b.form.size(); });
  if (words_.size() < indexed_from || words_.size() > word_mask) return;
  indexed_ = static_cast<std::size_t>(
      std::partition_point(words_.begin(), words_.end(),
                           [](Word const& w) { return w.form.size() <= indexed_length; }) -
      words_.begin());
  // Two passes over the texts, which cost little to hash again: one counts the postings of
  // each group, one puts them in place; then each group is sorted.
  std::size_t total = 0;
  for (std::size_t word = 0; word < indexed_; ++word) {
    std::size_t const length = words_[word].form.size();
    total += 1 + length + length * (length - (length > 0 ? 1 : 0)) / 2;
  }
  // About four postings a group: a lookup reads one or two cache lines.
  bucket_bits_ = std::max(1U, static_cast<unsigned>(std::bit_width(total / 4)));
  buckets_.assign((std::size_t{1} << bucket_bits_) + 1, 0);
  auto const each_posting = [this](auto&& take) {
    for (std::size_t word = 0; word < indexed_; ++word)
      each_deletion(words_[word].form, 2, [&take, word](std::uint64_t hash, std::size_t deleted) {
        take(hash << 24 | deleted << 22 | word);
      });
  };
  each_posting([this](std::uint64_t posting) { ++buckets_[(posting >> (64 - bucket_bits_)) + 1]; });
  std::partial_sum(buckets_.begin(), buckets_.end(), buckets_.begin());
  std::vector<std::uint32_t> next(buckets_.begin(), buckets_.end() - 1);
  postings_.resize(total);
  each_posting([this, &next](std::uint64_t posting) {
    postings_[next[posting >> (64 - bucket_bits_)]++] = posting;
  });
  for (std::size_t group = 0; group + 1 < buckets_.size(); ++group)
    std::sort(postings_.begin() + buckets_[group], postings_.begin() + buckets_[group + 1]);
}

void Candidates::look_up(std::uint64_t hash, std::size_t least, std::size_t most,
                         std::vector<std::uint32_t>& found) const {
  std::size_t const group = hash >> (40 - bucket_bits_);
  auto const end = postings_.begin() + buckets_[group + 1];
  for (auto at =
           std::lower_bound(postings_.begin() + buckets_[group], end, hash << 24 | least << 22);
       at != end && *at < (hash << 24 | (most + 1) << 22); ++at)
    found.push_back(static_cast<std::uint32_t>(*at & word_mask));
}

std::string_view Candidates::nearest(std::string_view word) const {
  std::string const form = form_of(word);
  std::size_t const allowed = allowed_distance(form);
  std::uint64_t const bytes = bytes_of(form);
  std::size_t best = allowed + 1, count = 0;
  std::string_view found;
  auto const consider = [&](Word const& w) {
    std::size_t const limit = std::min(best, allowed);
    // Each byte that one form holds and the other lacks costs at least one edit.
    if (static_cast<std::size_t>(std::popcount(bytes & ~w.bytes)) > limit ||
        static_cast<std::size_t>(std::popcount(w.bytes & ~bytes)) > limit)
      return;
    std::size_t const distance = bounded_distance(form, w.form, limit);
    if (distance > limit) return;
    if (distance < best) {
      best = distance;
      found = w.text;
      count = 0;
    }
    ++count;  // two words equally near: neither is suggested
  };
  std::size_t const shortest = form.size() > allowed ? form.size() - allowed : 0;
  auto const by_length = [](std::size_t length) {
    return [length](Word const& w) { return w.form.size() < length; };
  };
  auto const first = std::partition_point(words_.begin(), words_.end(), by_length(shortest));
  auto const end = std::partition_point(first, words_.end(), by_length(form.size() + allowed + 1));
  // Few words within reach: each is compared. Many: the words too long for the index are
  // compared, and the index finds the others in stages. A word d edits away shares a text with
  // the form once at most d bytes are deleted from each; stage s looks up the pairs of texts
  // where s bytes are deleted from one and at most s from the other, so after stage s every
  // word at most s edits away has been compared, and no later one can be nearer than a best
  // distance of s or less.
  if (indexed_ == 0 || static_cast<std::size_t>(end - first) < indexed_from) {
    std::for_each(first, end, consider);
    return count == 1 ? found : std::string_view();
  }
  std::for_each(std::clamp(words_.begin() + static_cast<std::ptrdiff_t>(indexed_), first, end), end,
                consider);
  // Each text made from the form asked for once, with the fewest deletions that make it.
  std::vector<std::uint64_t> asked;
  each_deletion(form, allowed, [&asked](std::uint64_t hash, std::size_t deleted) {
    asked.push_back(hash << 2 | deleted);
  });
  std::sort(asked.begin(), asked.end());
  asked.erase(std::unique(asked.begin(), asked.end(),
                          [](std::uint64_t a, std::uint64_t b) { return a >> 2 == b >> 2; }),
              asked.end());
  boost::unordered_flat_set<std::uint32_t> compared;
  std::vector<std::uint32_t> near;
  for (std::size_t stage = 0; stage <= allowed && (count == 0 || best >= stage); ++stage) {
    near.clear();
    // Each lookup misses the cache: the groups of a stage, then their postings, are asked of
    // the memory before any is read, so that the misses overlap.
    auto const group_of = [this](std::uint64_t text) { return (text >> 2) >> (40 - bucket_bits_); };
    for (std::uint64_t const text : asked)
      if ((text & 3) <= stage) __builtin_prefetch(&buckets_[group_of(text)]);
    for (std::uint64_t const text : asked)
      if ((text & 3) <= stage) __builtin_prefetch(&postings_[buckets_[group_of(text)]]);
    for (std::uint64_t const text : asked) {
      std::size_t const deleted = text & 3;
      if (deleted <= stage) look_up(text >> 2, deleted == stage ? 0 : stage, stage, near);
    }
    for (std::uint32_t const index : near)
      if (compared.insert(index).second) consider(words_[index]);
  }
  return count == 1 ? found : std::string_view();
}

}  // namespace install::cpputil::suggestion
