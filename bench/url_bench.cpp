// Case 7: deciding whether a URL may be opened (no peer: the figure stands alone).

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "install/cpputil/url_opener.hpp"
#include "support.hpp"

namespace {

void BM_IsAllowedUrl(benchmark::State& state) {
  std::vector<std::string> const urls{
      "https://quillford.com/help/install",
      "https://www.quillford.com/support/downloads?release=R2026a",
      "file:///opt/quillford/R2026a/license.txt",
      "file:///Users/ann/Documents/Release%20Notes.pdf",
      "http://quillford.com/",
      "https://evilquillford.com/",
      "https://quillford.com.example.org/",
      "https://user@quillford.com/",
      "file:///tmp/setup.exe",
      "javascript:alert(1)",
      "not a url",
      "",
  };
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(install::cpputil::URLOpener::isAllowedUrl(urls[i]));
    if (++i == urls.size()) i = 0;
  }
}
BENCHMARK(BM_IsAllowedUrl);

[[maybe_unused]] bool const rows_added = [] {
  qx::bench::add_time_row(70, "7 `URLOpener::isAllowedUrl`, 4 accepted + 8 refused URLs, per call",
                          "BM_IsAllowedUrl", "(no peer)", {});
  return true;
}();

}  // namespace
