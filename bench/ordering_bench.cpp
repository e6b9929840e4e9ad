// Cases 5 and 6: comparing version numbers, and putting product names in display order.

#include <benchmark/benchmark.h>

#include <string.h>
#include <algorithm>
#include <array>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "install/cpputil/product_ordering.hpp"
#include "install/cpputil/version_comparator.hpp"
#include "support.hpp"

namespace {

using qx::bench::add_time_row;

// Versions as installers meet them: build numbers, missing pieces, numeric not textual order.
constexpr std::array<std::pair<char const*, char const*>, 10> version_pairs{{
    {"9.14.0.2254", "9.14.1"},
    {"10", "9.99"},
    {"24.2.0.2712019", "24.2.0.2712019"},
    {"1.10", "1.9"},
    {"2026.1", "2026.1.0"},
    {"3.0.0.100", "3.0.0.99"},
    {"12.0.1", "12.0.1.5"},
    {"4.2", "4.10"},
    {"7.0.0.1234", "7.0.0.1235"},
    {"25.1.0.33", "24.9.9.999"},
}};

void BM_CompareVersionNumbers(benchmark::State& state) {
  std::vector<std::pair<ustring, ustring>> pairs;
  for (auto const& [first, second] : version_pairs)
    pairs.emplace_back(fl::i18n::utf8_to_ustring(first), fl::i18n::utf8_to_ustring(second));
  install::cpputil::VersionComparator const comparator;
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(comparator.compareVersionNumbers(pairs[i].first, pairs[i].second));
    if (++i == pairs.size()) i = 0;
  }
}
BENCHMARK(BM_CompareVersionNumbers);

void BM_Strverscmp(benchmark::State& state) {
  std::vector<std::pair<std::string, std::string>> pairs(version_pairs.begin(),
                                                         version_pairs.end());
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(::strverscmp(pairs[i].first.c_str(), pairs[i].second.c_str()));
    if (++i == pairs.size()) i = 0;
  }
}
BENCHMARK(BM_Strverscmp);

// Product names in no particular order, a few of them the table's in other letter cases.
std::vector<ustring> product_names(std::size_t count) {
  static constexpr std::array<char const*, 12> words{
      "Signal Processing", "Control System",     "Optimization", "Statistics",
      "Image Processing",  "Deep Learning",      "Simulation",   "Curve Fitting",
      "Symbolic Math",     "Parallel Computing", "Database",     "Text Analytics"};
  static constexpr std::array<char const*, 5> listed{"KESTRA", "Kestra Assistant", "TARNWICK",
                                                     "kestra batch engine", "Tarnwick Assistant"};
  std::vector<ustring> names;
  std::mt19937 random(2026);
  for (std::size_t i = 0; i < count; ++i) {
    std::string name;
    if (i % 50 < listed.size()) {
      name = listed[i % 50];
    } else {
      name = words[random() % words.size()];
      name += (random() % 2 == 0) ? " Toolbox" : " Blockset";
      if (i >= words.size()) name.append(" ").append(std::to_string(random() % 1000));
    }
    names.push_back(fl::i18n::utf8_to_ustring(name));
  }
  std::shuffle(names.begin(), names.end(), random);
  return names;
}

// Both sides copy the unsorted names inside the timed loop.
void BM_SortProducts(benchmark::State& state) {
  std::vector<ustring> const unsorted = product_names(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::vector<ustring> names = unsorted;
    install::cpputil::sortProductsInKESTRAbeticalOrder(names);
    benchmark::DoNotOptimize(names.data());
  }
}
BENCHMARK(BM_SortProducts)->Arg(10)->Arg(1000);

void BM_StdSortNames(benchmark::State& state) {
  std::vector<ustring> const unsorted = product_names(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::vector<ustring> names = unsorted;
    std::sort(names.begin(), names.end());
    benchmark::DoNotOptimize(names.data());
  }
}
BENCHMARK(BM_StdSortNames)->Arg(10)->Arg(1000);

[[maybe_unused]] bool const rows_added = [] {
  add_time_row(50, "5 `compareVersionNumbers`, per pair", "BM_CompareVersionNumbers",
               "glibc `strverscmp`, same UTF-8 pairs", "BM_Strverscmp",
               qx::bench::ratio_at_most(3));
  add_time_row(60, "6 `sortProductsInKESTRAbeticalOrder`, 10 names", "BM_SortProducts/10",
               "`std::sort` by `operator<`, 10 names", "BM_StdSortNames/10",
               qx::bench::ratio_at_most(3));
  add_time_row(61, "6 `sortProductsInKESTRAbeticalOrder`, 1,000 names", "BM_SortProducts/1000",
               "`std::sort` by `operator<`, 1,000 names", "BM_StdSortNames/1000",
               qx::bench::ratio_at_most(3));
  return true;
}();

}  // namespace
