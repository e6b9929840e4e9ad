#include "inputfile/suggestion.hpp"

#include <algorithm>
#include <bit>
#include <tuple>
#include <utility>

#include <boost/container/small_vector.hpp>

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

}  // namespace

std::size_t bounded_distance(std::string_view a, std::string_view b, std::size_t bound) {
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
}

std::string_view Candidates::nearest(std::string_view word) const {
  std::string const form = form_of(word);
  std::size_t const allowed = allowed_distance(form);
  std::uint64_t const bytes = bytes_of(form);
  std::size_t const shortest = form.size() > allowed ? form.size() - allowed : 0;
  auto it = std::partition_point(words_.begin(), words_.end(),
                                 [shortest](Word const& w) { return w.form.size() < shortest; });
  std::size_t best = allowed + 1;
  std::string_view found;
  bool tied = false;
  for (; it != words_.end() && it->form.size() <= form.size() + allowed; ++it) {
    std::size_t const limit = std::min(best, allowed);
    // Each byte that one form holds and the other lacks costs at least one edit.
    if (static_cast<std::size_t>(std::popcount(bytes & ~it->bytes)) > limit ||
        static_cast<std::size_t>(std::popcount(it->bytes & ~bytes)) > limit)
      continue;
    std::size_t const distance = bounded_distance(form, it->form, limit);
    if (distance > limit) continue;
    tied = distance == best;
    if (distance < best) {
      best = distance;
      found = it->text;
    }
  }
  return tied ? std::string_view() : found;
}

}  // namespace install::cpputil::suggestion
