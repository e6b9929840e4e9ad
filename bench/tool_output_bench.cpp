// Case 8: the qxinstall tool printing a property map of 100,000 keys as JSON (parse --json),
// against printing it as key=value lines (parse); and the peak heap of check --json on a file
// of 1,000,000 findings, against that of check.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>

#include "diagnostic_text.hpp"
#include "heap_counter.hpp"
#include "install/cpputil/input_file_diagnostics.hpp"
#include "property_map_text.hpp"
#include "support.hpp"

namespace {

install::cpputil::PropertyMap const& keys() {
  static install::cpputil::PropertyMap const map = [] {
    install::cpputil::PropertyMap made;
    for (int i = 0; i < 100'000; ++i) {
      ustring const number = fl::i18n::utf8_to_ustring(std::to_string(i));
      made.emplace(u"k" + number, u"v" + number);
    }
    return made;
  }();
  return map;
}

template <void (*Write)(std::ostream&, install::cpputil::PropertyMap const&)>
void BM_WriteMap(benchmark::State& state) {
  for (auto _ : state) {
    std::ostringstream out;
    Write(out, keys());
    benchmark::DoNotOptimize(out.str().size());
  }
}
BENCHMARK(BM_WriteMap<qx::tools::write_json>)->Name("BM_WriteJson")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteMap<qx::tools::write_text>)->Name("BM_WriteText")->Unit(benchmark::kMillisecond);

// 1,000,000 lines that are neither assignments nor list lines: one ignored-line error each.
ustring const& findings_file() {
  static ustring const name = [] {
    std::string const path = qx::bench::scratch_dir() + "/findings.txt";
    std::FILE* const out = std::fopen(path.c_str(), "w");
    bool written = out != nullptr;
    for (int i = 0; written && i < 1'000'000; ++i)
      written = std::fprintf(out, "install option %07d without its value\n", i) > 0;
    if (out == nullptr || std::fclose(out) != 0 || !written)
      throw std::runtime_error("cannot write " + path);
    return fl::i18n::utf8_to_ustring(path);
  }();
  return name;
}

// Where the output goes: a terminal or a file keeps none of it in the process.
struct Discard : std::streambuf {
  int_type overflow(int_type c) override { return traits_type::not_eof(c); }
  std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

double text_peak_heap = -1;

// What check does, from reading the file to the last line of output, under one heap meter.
template <bool Json>
void BM_CheckOutput(benchmark::State& state) {
  for (auto _ : state) {
    Discard discard;
    std::ostream out(&discard);
    qx::bench::HeapMeter const heap;
    auto const report = install::cpputil::checkInputFile(findings_file());
    Json ? qx::tools::write_diagnostics_json(out, report.diagnostics)
         : qx::tools::write_diagnostics_text(out, "findings.txt", report.diagnostics);
    state.counters["peak_heap"] = static_cast<double>(heap.peak());
    if (!Json) text_peak_heap = static_cast<double>(heap.peak());
  }
}
// One run each: the figure is a heap size, and a run takes seconds.
BENCHMARK(BM_CheckOutput<true>)
    ->Name("BM_CheckJson")
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckOutput<false>)
    ->Name("BM_CheckText")
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond);

[[maybe_unused]] bool const rows_added = [] {
  qx::bench::add_time_row(80, "8 `qxinstall parse --json` output, 100,000 keys", "BM_WriteJson",
                          "`qxinstall parse` text output, same map", "BM_WriteText",
                          qx::bench::ratio_at_most(2));
  qx::bench::add_heap_row(
      81, "8 `qxinstall check --json`, 1,000,000 findings, peak heap",
      "BM_CheckJson/iterations:1/repeats:1", "peak_heap", "`qxinstall check`, same file",
      [] { return text_peak_heap; }, qx::bench::ratio_at_most(2));
  return true;
}();

}  // namespace
