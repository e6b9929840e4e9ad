// Case 8: the qxinstall tool printing a property map of 100,000 keys as JSON (parse --json),
// against printing it as key=value lines (parse).

#include <benchmark/benchmark.h>

#include <sstream>
#include <string>

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

[[maybe_unused]] bool const rows_added = [] {
  qx::bench::add_time_row(80, "8 `qxinstall parse --json` output, 100,000 keys", "BM_WriteJson",
                          "`qxinstall parse` text output, same map", "BM_WriteText",
                          qx::bench::ratio_at_most(2));
  return true;
}();

}  // namespace
