#include "logger/log_secrets.hpp"

#include <algorithm>

#include "logger/failure_words.hpp"

namespace install::cpputil::log_text {
namespace {

char lower(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool is_blank(char c) noexcept {
  return c == ' ' || c == '\t';
}

bool ends_with_key(std::string_view text, std::string_view key) noexcept {
  if (text.size() < key.size()) return false;
  std::string_view const tail = text.substr(text.size() - key.size());
  for (std::size_t i = 0; i < key.size(); ++i)
    if (lower(tail[i]) != key[i]) return false;
  // A whole word: the key does not continue a longer one.
  return text.size() == key.size() ||
         !is_word_byte(static_cast<unsigned char>(text[text.size() - key.size() - 1]));
}

}  // namespace

Secrets::Secrets(std::vector<std::string> const& keys,
                 std::vector<std::pair<std::string, std::string>> values) {
  auto const index = [this](std::string const& given) {
    std::string_view trimmed = given;
    while (!trimmed.empty() && is_blank(trimmed.front())) trimmed.remove_prefix(1);
    while (!trimmed.empty() && is_blank(trimmed.back())) trimmed.remove_suffix(1);
    std::string lowered(trimmed);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(), lower);
    for (std::size_t k = 0; k < keys_.size(); ++k)
      if (keys_[k].lowered == lowered) return k;
    keys_.push_back({given, lowered});
    return keys_.size() - 1;
  };
  for (std::string const& key : keys)
    if (!key.empty()) index(key);
  for (auto& [value, key] : values) {
    longest_ = std::max(longest_, value.size());
    values_.emplace_back(std::move(value), index(key));
  }
}

template <class Found>
void Secrets::each_keyed_value(std::string_view line, Found&& found) const {
  if (keys_.empty()) return;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] != '=' && line[at] != ':') continue;
    std::size_t end = at;
    while (end > 0 && is_blank(line[end - 1])) --end;
    std::string_view const before = line.substr(0, end);
    for (std::size_t k = 0; k < keys_.size(); ++k) {
      if (keys_[k].lowered.empty() || !ends_with_key(before, keys_[k].lowered)) continue;
      std::size_t value = at + 1;
      while (value < line.size() && is_blank(line[value])) ++value;
      if (value < line.size() && (line[value] == '"' || line[value] == '\'')) ++value;
      std::string_view rest = line.substr(value);
      while (!rest.empty() && (is_blank(rest.back()) || rest.back() == '\r')) rest.remove_suffix(1);
      if (!rest.empty() && !rest.starts_with(secret_mask)) found(k, value);
    }
  }
}

void Secrets::scan(std::string_view line, bool by_key, std::vector<std::size_t>& leaked) const {
  leaked.clear();
  auto const add = [&leaked](std::size_t k) {
    if (std::find(leaked.begin(), leaked.end(), k) == leaked.end()) leaked.push_back(k);
  };
  if (by_key) each_keyed_value(line, [&add](std::size_t k, std::size_t) { add(k); });
  for (auto const& [value, k] : values_)
    if (line.find(value) != std::string_view::npos) add(k);
}

std::string Secrets::mask(std::string_view text) const {
  std::string out;
  out.reserve(text.size());
  while (true) {
    std::size_t const end = text.find('\n');
    std::string line(text.substr(0, end));
    // The value after a key runs to the end of its line: what it holds is not known.
    std::size_t cut = std::string::npos;
    each_keyed_value(line, [&cut](std::size_t, std::size_t at) { cut = std::min(cut, at); });
    if (cut != std::string::npos) {
      bool const cr = line.ends_with('\r');
      line.replace(cut, std::string::npos, secret_mask);
      if (cr) line.push_back('\r');
    }
    for (auto const& [value, k] : values_) {
      for (std::size_t at = line.find(value); at != std::string::npos;
           at = line.find(value, at + secret_mask.size()))
        line.replace(at, value.size(), secret_mask);
    }
    out += line;
    if (end == std::string_view::npos) break;
    out += '\n';
    text.remove_prefix(end + 1);
  }
  return out;
}

}  // namespace install::cpputil::log_text
