// Case 4, suggestions: checkInputFile with rules must stay linear. A file of 1,000,000 keys
// that no rule names, checked against 100 rules (each key gets an unknown-key finding and a
// search for the nearest rule key), against the same file checked without rules; one
// 100,000-byte key one edit away from a 100,000-byte rule key, against the same file checked
// without rules; and 16,000 keys checked against 16,000 rule keys of the same letters (each a
// digit or two away from many), against the same file checked against 16,000 rule keys of the
// same length that share no letter with it.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <map>
#include <stdexcept>
#include <string>

#include "install/cpputil/input_file_diagnostics.hpp"
#include "support.hpp"

namespace {

using Rules = std::map<std::string, std::string>;

std::string write_file(std::string const& name, std::string const& content) {
  std::string const path = qx::bench::scratch_dir() + "/" + name;
  std::FILE* const out = std::fopen(path.c_str(), "w");
  if (out == nullptr || std::fwrite(content.data(), 1, content.size(), out) != content.size() ||
      std::fclose(out) != 0)
    throw std::runtime_error("cannot write " + path);
  return path;
}

// A file of `count` lines, line i made by the printf format `format` from i and i % 977 (a
// format may use the first only).
ustring numbered_file(std::string const& name, int count, char const* format) {
  std::string content;
  std::array<char, 64> line{};
  for (int i = 0; i < count; ++i) {
    int const n = std::snprintf(line.data(), line.size(), format, i, i % 977);
    content.append(line.data(), static_cast<std::size_t>(n));
  }
  return fl::i18n::utf8_to_ustring(write_file(name, content));
}

// 1,000,000 answers whose keys no rule names, as a generated answer file has them.
ustring const& many_keys() {
  static ustring const name =
      numbered_file("many_keys.txt", 1'000'000, "installOption_%07d = /opt/quillford/R2026a/%d\n");
  return name;
}

// 100 rule keys of the kind installers have: proxy_host, log_folder, update_timeout...
Rules const& hundred_rules() {
  static Rules const rules = [] {
    Rules made;
    for (char const* subject : {"proxy", "server", "update", "license", "log", "data", "cache",
                                "backup", "network", "display"})
      for (char const* what :
           {"host", "port", "path", "folder", "enabled", "timeout", "user", "mode", "level", "url"})
        made.emplace(std::string(subject) + "_" + what, "strval:a,b");
    return made;
  }();
  return rules;
}

// A key of 100,000 letters, and a rule key that differs from it in its last letter only, so
// that the distance computation runs their whole length.
std::string const& long_key() {
  static std::string const key = [] {
    std::string made(100'000, 'a');
    unsigned state = 1;
    for (char& c : made) {
      state = state * 1103515245U + 12345U;
      c = static_cast<char>('a' + (state >> 16) % 26);
    }
    return made;
  }();
  return key;
}

ustring const& long_key_file() {
  static ustring const name =
      fl::i18n::utf8_to_ustring(write_file("long_key.txt", long_key() + " = 1\n"));
  return name;
}

template <ustring const& (*File)(), Rules const& (*GetRules)()>
void BM_Check(benchmark::State& state) {
  for (auto _ : state) {
    auto const report = install::cpputil::checkInputFile(File(), GetRules());
    benchmark::DoNotOptimize(report);
  }
}

Rules const& no_rules() {
  static Rules const none;
  return none;
}
Rules const& long_rule() {
  static Rules const rules = [] {
    std::string key = long_key();
    key.back() = key.back() == 'z' ? 'y' : static_cast<char>(key.back() + 1);
    return Rules{{key, "intval"}};
  }();
  return rules;
}

// 16,000 answers installoption_00000 ... installoption_15999, none with a rule.
ustring const& similar_keys() {
  static ustring const name = numbered_file("similar_keys.txt", 16'000, "installoption_%05d = x\n");
  return name;
}

// The rule keys installoption_16000 ... installoption_31999: one or two digits away from many
// of the answers' keys.
Rules const& similar_rules() {
  static Rules const rules = [] {
    Rules made;
    std::array<char, 32> key{};
    for (int i = 16'000; i < 32'000; ++i) {
      std::snprintf(key.data(), key.size(), "installoption_%05d", i);
      made.emplace(key.data(), "strval:x");
    }
    return made;
  }();
  return rules;
}

// 16,000 rule keys as long as those, of letters no answer key holds: bcdfghjkmqrvw_ and five
// of bcdfghjkmqrvwxyz.
Rules const& foreign_rules() {
  static Rules const rules = [] {
    Rules made;
    for (int i = 0; i < 16'000; ++i) {
      std::string key = "bcdfghjkmqrvw_";
      for (int n = i, digit = 0; digit < 5; ++digit, n /= 16) key += "bcdfghjkmqrvwxyz"[n % 16];
      made.emplace(key, "strval:x");
    }
    return made;
  }();
  return rules;
}

BENCHMARK(BM_Check<many_keys, hundred_rules>)
    ->Name("BM_CheckManyKeysHundredRules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Check<many_keys, no_rules>)
    ->Name("BM_CheckManyKeysNoRules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Check<long_key_file, long_rule>)
    ->Name("BM_CheckLongKeyLongRule")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Check<long_key_file, no_rules>)
    ->Name("BM_CheckLongKeyNoRules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Check<similar_keys, similar_rules>)
    ->Name("BM_CheckSimilarRules")
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Check<similar_keys, foreign_rules>)
    ->Name("BM_CheckForeignRules")
    ->Unit(benchmark::kMillisecond);

[[maybe_unused]] bool const rows_added = [] {
  qx::bench::add_time_row(47, "4 `checkInputFile`, 1,000,000 unknown keys, 100 rules",
                          "BM_CheckManyKeysHundredRules", "`checkInputFile`, same file, no rules",
                          "BM_CheckManyKeysNoRules", qx::bench::ratio_at_most(2));
  qx::bench::add_time_row(48, "4 `checkInputFile`, 100,000-byte key, 100,000-byte rule key",
                          "BM_CheckLongKeyLongRule", "`checkInputFile`, same file, no rules",
                          "BM_CheckLongKeyNoRules", qx::bench::excess_below_ns(10e6));
  qx::bench::add_time_row(49, "4 `checkInputFile`, 16,000 keys, 16,000 rule keys of their letters",
                          "BM_CheckSimilarRules",
                          "`checkInputFile`, same file, 16,000 rule keys of other letters",
                          "BM_CheckForeignRules", qx::bench::ratio_at_most(2));
  return true;
}();

}  // namespace
