// Case 4: reading a large installer input file into its property map, against reading and
// trimming its lines, and against Boost.PropertyTree's INI reader on the same answers; and
// reading it with diagnostics, against reading it plainly.

#include <benchmark/benchmark.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/property_tree/ini_parser.hpp>
#include <boost/property_tree/ptree.hpp>

#include "heap_counter.hpp"
#include "install/cpputil/input_file_diagnostics.hpp"
#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/input_file_writer.hpp"
#include "support.hpp"

namespace {

using qx::bench::add_time_row;

constexpr int line_count = 100'000;

// Both files hold the same answers line for line: assignments, "product."/"platform." list
// lines (unique assignments in the INI file, which refuses duplicate keys), comments and
// blank lines, with stray blanks and tabs for the trimming to remove.
struct InputFiles {
  std::string input;
  std::string ini;
  double input_bytes = 0;
  double ini_bytes = 0;
};

void write_line(std::FILE* input, std::FILE* ini, int i) {
  switch (i % 20) {
    case 0:
      std::fprintf(input, "# Section %06d: answers for the unattended installation\n", i);
      std::fprintf(ini, "# Section %06d: answers for the unattended installation\n", i);
      break;
    case 10:
      std::fputs("\n", input);
      std::fputs("\n", ini);
      break;
    case 5:
    case 15:
      std::fprintf(input, "product.Signal_Processing_Toolbox_%06d\n", i);
      std::fprintf(ini, "product_%06d = Signal_Processing_Toolbox\n", i);
      break;
    case 7:
      std::fprintf(input, "  platform.glnxa64_%06d\t\n", i);
      std::fprintf(ini, "  platform_%06d = glnxa64\t\n", i);
      break;
    default: {
      // Unique keys in no sorted order, as people write them.
      int const key = static_cast<int>((static_cast<long>(i) * 7919) % line_count);
      std::fprintf(input, "  installOption_%06d = /opt/quillford/R2026a/%06d\n", key, i % 977);
      std::fprintf(ini, "  installOption_%06d = /opt/quillford/R2026a/%06d\n", key, i % 977);
      break;
    }
  }
}

InputFiles make_files() {
  InputFiles files;
  files.input = qx::bench::scratch_dir() + "/installer_input.txt";
  files.ini = qx::bench::scratch_dir() + "/installer_input.ini";
  std::FILE* const input = std::fopen(files.input.c_str(), "w");
  std::FILE* const ini = std::fopen(files.ini.c_str(), "w");
  if (input == nullptr || ini == nullptr)
    throw std::runtime_error("cannot write the generated input files");
  for (int i = 0; i < line_count; ++i) {
    write_line(input, ini, i);
  }
  files.input_bytes = static_cast<double>(std::ftell(input));
  files.ini_bytes = static_cast<double>(std::ftell(ini));
  std::fclose(input);
  std::fclose(ini);
  return files;
}

InputFiles const& files() {
  static InputFiles const generated = make_files();
  return generated;
}

// Both sides of the parse row start each repetition from a heap settled the same way, whatever
// benchmark ran before them (some leave hundreds of megabytes of freed chunks behind): the free
// chunks merged and handed back.
void settle_heap(benchmark::State const&) {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

// Merges the small chunks freed so far, keeping the memory: a large request does that (kept
// in a volatile, since the compiler drops a free of what malloc just gave).
void merge_free_chunks() {
#ifdef __GLIBC__
  void* volatile block = std::malloc(64 * 1024);
  std::free(block);
#endif
}

// What a caller does with the map is not the parse: each map is destroyed untimed, and the
// chunks it freed are merged before the next call. Otherwise glibc merges them inside the
// next timed call, at its first request too large for them (the stream's buffer, a list that
// grows), and how many are still unmerged then depends on the order of that call's
// allocations, not on its work. The memory stays with the process: no page is faulted in again.
template <class Map>
void destroy_untimed(benchmark::State& state, Map& map) {
  state.PauseTiming();
  map = Map();
  merge_free_chunks();
  state.ResumeTiming();
}

void BM_InputFileParse(benchmark::State& state) {
  ustring const name = fl::i18n::utf8_to_ustring(files().input);
  install::cpputil::InputFileParser parser;
  // The heap grown to hold one map, as the baseline's preparation grows it: otherwise the first
  // timed call of each repetition faults the pages in, and the baseline's never does.
  static_cast<void>(parser.parse(name));
  merge_free_chunks();
  for (auto _ : state) {
    install::cpputil::PropertyMap properties = parser.parse(name);
    benchmark::DoNotOptimize(properties);
    destroy_untimed(state, properties);
  }
  // One more call, untimed, to count its heap: the peak during the call and what the
  // returned map keeps.
  qx::bench::HeapMeter const heap;
  install::cpputil::PropertyMap const properties = parser.parse(name);
  state.counters["peak_heap"] = static_cast<double>(heap.peak());
  state.counters["result_heap"] = static_cast<double>(heap.current());
}
BENCHMARK(BM_InputFileParse)->Setup(settle_heap)->Unit(benchmark::kMillisecond);

// The same file read with diagnostics: the same map plus a report of every line.
// Measured as parse is, against which it is judged: the heap grown first, each report destroyed
// untimed.
void BM_CheckInputFile(benchmark::State& state) {
  ustring const name = fl::i18n::utf8_to_ustring(files().input);
  static_cast<void>(install::cpputil::checkInputFile(name));
  merge_free_chunks();
  for (auto _ : state) {
    install::cpputil::InputFileReport report = install::cpputil::checkInputFile(name);
    benchmark::DoNotOptimize(report);
    destroy_untimed(state, report);
  }
}
BENCHMARK(BM_CheckInputFile)->Setup(settle_heap)->Unit(benchmark::kMillisecond);

// The floor: every line read and trimmed, nothing kept.
void BM_GetlineTrim(benchmark::State& state) {
  constexpr std::string_view whitespace = "\t\n\v\f\r ";
  std::string const& path = files().input;
  for (auto _ : state) {
    std::ifstream in(path);
    std::size_t kept = 0;
    for (std::string line; std::getline(in, line);) {
      std::string_view text(line);
      auto const first = text.find_first_not_of(whitespace);
      if (first == std::string_view::npos) continue;
      text = text.substr(first, text.find_last_not_of(whitespace) - first + 1);
      kept += text.size();
      benchmark::DoNotOptimize(text);
    }
    benchmark::DoNotOptimize(kept);
  }
}
BENCHMARK(BM_GetlineTrim)->Unit(benchmark::kMillisecond);

// The properties of the file as parse holds them just before it inserts them: each kept line's
// key (lower-cased) and its value or list entry, split and converted to UTF-16, in file order
// and side by side in one buffer, as parse makes them from the file as it reads it.
struct SplitLines {
  struct Line {
    std::size_t key_at, key_size, value_at, value_size;
    bool list;
  };
  std::u16string text;
  std::vector<Line> lines;
};

SplitLines split_lines() {
  install::cpputil::PropertyMap const parsed =
      install::cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(files().input));
  SplitLines split;
  auto const add = [&split](ustring const& key, ustring const& value, bool list) {
    split.lines.push_back(
        {split.text.size(), key.size(), split.text.size() + key.size(), value.size(), list});
    split.text += key + value;
  };
  std::map<ustring, std::size_t> next_entry;
  std::ifstream in(files().input);
  for (std::string line; std::getline(in, line);) {
    std::string_view const text = line;
    bool const list = text.find('=') == std::string_view::npos;
    auto const cut = list ? text.find('.') : text.find('=');
    if (cut == std::string_view::npos || text.find_first_not_of(" \t") == text.find('#')) continue;
    std::string key(text.substr(0, cut));
    key.erase(0, key.find_first_not_of(" \t"));
    key.erase(key.find_last_not_of(" \t") + 1);
    for (char& c : key) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    ustring const wide = fl::i18n::utf8_to_ustring(key);
    auto const found = parsed.find(wide);
    if (found == parsed.end()) continue;
    if (list)
      add(wide, std::get<std::vector<ustring>>(found->second).at(next_entry[wide]++), true);
    else
      add(wide, std::get<ustring>(found->second), false);
  }
  return split;
}

// What parse does with each line once it is split and converted: the key and the value made
// strings of their own, then the value stored or the entry appended.
[[gnu::noinline]] install::cpputil::PropertyMap insert_lines(SplitLines const& split) {
  std::u16string_view const text = split.text;
  install::cpputil::PropertyMap built;
  for (SplitLines::Line const& line : split.lines) {
    ustring key(text.substr(line.key_at, line.key_size));
    ustring value(text.substr(line.value_at, line.value_size));
    if (line.list) {
      auto const slot = built.try_emplace(std::move(key), std::vector<ustring>{}).first;
      std::get<std::vector<ustring>>(slot->second).push_back(std::move(value));
    } else {
      built.insert_or_assign(std::move(key), install::cpputil::PropertyValue(std::move(value)));
    }
  }
  return built;
}

// The thread's CPU time in nanoseconds.
double cpu_ns() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

// parse against what the result type alone costs: the same properties, already split and
// converted, put into a PropertyMap one by one in file order, as each line does it (an
// assignment stored, a list entry appended). File order matters: the allocator works
// differently when list entries arrive among the assignments than when whole lists come last.
// The two are timed in turn within each iteration (the thread's CPU time), the first of them
// changing every time, so that a burst of load, a change of clock speed or a cold cache falls
// on both alike: timed as two benchmarks a few seconds apart, the ratio moved from 0.85x to
// 1.3x on one machine. The time is parse's; the counter insert_ns the insertion's.
void BM_ParseBesideInsertion(benchmark::State& state) {
  ustring const name = fl::i18n::utf8_to_ustring(files().input);
  install::cpputil::InputFileParser parser;
  SplitLines const split = split_lines();
  static_cast<void>(parser.parse(name));  // the heap grown to hold a map on both sides
  merge_free_chunks();
  double inserting = 0;
  bool parse_first = true;
  auto const timed = [](auto&& make) {
    double const start = cpu_ns();
    auto made = make();
    double const took = cpu_ns() - start;
    benchmark::DoNotOptimize(made);
    made = {};
    merge_free_chunks();
    return took;
  };
  for (auto _ : state) {
    double parsing = 0;
    auto const parse = [&] { parsing = timed([&] { return parser.parse(name); }); };
    auto const insert = [&] { inserting += timed([&] { return insert_lines(split); }); };
    parse_first ? (parse(), insert()) : (insert(), parse());
    parse_first = !parse_first;
    state.SetIterationTime(parsing / 1e9);
  }
  state.counters["insert_ns"] = benchmark::Counter(inserting, benchmark::Counter::kAvgIterations);
}
// Twenty pairs or so a repetition: one burst of load is averaged out.
BENCHMARK(BM_ParseBesideInsertion)
    ->UseManualTime()
    ->MinTime(2.0)
    ->Setup(settle_heap)
    ->Unit(benchmark::kMillisecond);

// Writing the same file's map back as answer-file text.
void BM_FormatInputFile(benchmark::State& state) {
  install::cpputil::PropertyMap const properties =
      install::cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(files().input));
  for (auto _ : state) {
    std::string const text = install::cpputil::formatInputFile(properties);
    benchmark::DoNotOptimize(text);
  }
}
BENCHMARK(BM_FormatInputFile)->Unit(benchmark::kMillisecond);

void BM_PropertyTreeReadIni(benchmark::State& state) {
  std::string const& path = files().ini;
  for (auto _ : state) {
    boost::property_tree::ptree tree;
    boost::property_tree::read_ini(path, tree);
    benchmark::DoNotOptimize(tree);
  }
  qx::bench::HeapMeter const heap;
  boost::property_tree::ptree tree;
  boost::property_tree::read_ini(path, tree);
  state.counters["peak_heap"] = static_cast<double>(heap.peak());
}
BENCHMARK(BM_PropertyTreeReadIni)->Unit(benchmark::kMillisecond);

[[maybe_unused]] bool const rows_added = [] {
  // The map is the floor: parse is judged against inserting its result; reading the lines
  // and the INI reader are shown for scale.
  qx::bench::add_paired_row(40, "4 `InputFileParser::parse`, 100,000 lines (timed in turn)",
                            "BM_ParseBesideInsertion/min_time:2.000/manual_time",
                            "insert of the same properties into a `PropertyMap`", "insert_ns",
                            qx::bench::ratio_at_most(1.15));
  add_time_row(41, "4 `InputFileParser::parse`, 100,000 lines", "BM_InputFileParse",
               "`std::getline` + trim of each line", "BM_GetlineTrim");
  add_time_row(42, "4 `InputFileParser::parse`, 100,000 lines", "BM_InputFileParse",
               "`boost::property_tree::read_ini`, same answers", "BM_PropertyTreeReadIni");
  add_time_row(46, "4 `checkInputFile` (diagnostics), 100,000 lines", "BM_CheckInputFile",
               "`InputFileParser::parse`, same file", "BM_InputFileParse",
               qx::bench::ratio_at_most(1.5));
  add_time_row(47, "4 `formatInputFile` of the map of 100,000 lines", "BM_FormatInputFile",
               "`InputFileParser::parse`, same file", "BM_InputFileParse",
               qx::bench::ratio_at_most(1.2));
  qx::bench::add_heap_row(
      43, "4 `InputFileParser::parse`, peak heap", "BM_InputFileParse", "peak_heap",
      "input file size", [] { return files().input_bytes; }, qx::bench::ratio_at_most(4));
  qx::bench::add_heap_row(44, "4 `InputFileParser::parse`, heap kept by the result",
                          "BM_InputFileParse", "result_heap", "input file size",
                          [] { return files().input_bytes; });
  qx::bench::add_heap_row(45, "4 `read_ini` peak heap (peer)", "BM_PropertyTreeReadIni",
                          "peak_heap", "INI file size", [] { return files().ini_bytes; });
  return true;
}();

}  // namespace
