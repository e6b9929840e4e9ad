#pragma once

// Secrets in the log's lines: a secret key followed by '=' or ':' and a value other than the
// mask, or a secret value itself; and the same text with what was found masked.

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace install::cpputil::log_text {

/// The mask that stands for a secret, as append_file_redacted writes it.
inline constexpr std::string_view secret_mask = "********";

class Secrets {
 public:
  /// `keys` as given (matched in any ASCII case); `values` pairs a secret with its key.
  Secrets(std::vector<std::string> const& keys,
          std::vector<std::pair<std::string, std::string>> values);

  /// True when there is nothing to look for.
  [[nodiscard]] bool empty() const noexcept { return keys_.empty() && values_.empty(); }

  /// Sets `leaked` to the keys whose secret the line `line` shows, each once, by index (key()
  /// names it): by a value after the key (only when `by_key`), or by holding one of its values.
  void scan(std::string_view line, bool by_key, std::vector<std::size_t>& leaked) const;

  /// The key of index `k`, as given.
  [[nodiscard]] std::string const& key(std::size_t k) const noexcept { return keys_[k].given; }

  /// `text` with each secret value, and everything after a secret key's separator up to the end
  /// of its line, written as the mask.
  [[nodiscard]] std::string mask(std::string_view text) const;

  /// The longest secret value, in bytes.
  [[nodiscard]] std::size_t longest_value() const noexcept { return longest_; }

 private:
  struct Key {
    std::string given;
    std::string lowered;
  };
  // Calls found(k, at) for each value after key k, at `at` in `line`, that is not the mask.
  template <class Found>
  void each_keyed_value(std::string_view line, Found&& found) const;

  std::vector<Key> keys_;
  std::vector<std::pair<std::string, std::size_t>> values_;  // secret, index into keys_
  std::size_t longest_ = 0;
};

}  // namespace install::cpputil::log_text
