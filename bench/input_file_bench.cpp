// Case 4: reading a large installer input file into its property map, against reading and
// trimming its lines, and against Boost.PropertyTree's INI reader on the same answers; and
// reading it with diagnostics, against reading it plainly.

#include <benchmark/benchmark.h>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <cctype>
#include <cstdio>
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

// Both sides of the parse row start from a heap settled the same way, whatever benchmark ran
// before them (some leave hundreds of megabytes of freed chunks behind): the free chunks
// merged and handed back.
void settle_heap(benchmark::State const&) {
#ifdef __GLIBC__
  malloc_trim(0);
#endif
}

void BM_InputFileParse(benchmark::State& state) {
  ustring const name = fl::i18n::utf8_to_ustring(files().input);
  install::cpputil::InputFileParser parser;
  for (auto _ : state) {
    install::cpputil::PropertyMap const properties = parser.parse(name);
    benchmark::DoNotOptimize(properties);
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
void BM_CheckInputFile(benchmark::State& state) {
  ustring const name = fl::i18n::utf8_to_ustring(files().input);
  for (auto _ : state) {
    install::cpputil::InputFileReport const report = install::cpputil::checkInputFile(name);
    benchmark::DoNotOptimize(report);
  }
}
BENCHMARK(BM_CheckInputFile)->Unit(benchmark::kMillisecond);

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

// What the result type alone costs: the same keys and values, already split and converted,
// put into a PropertyMap one by one in file order, as each line does it (an assignment stored,
// a list entry appended), which is then destroyed. File order matters: the allocator works
// differently when list entries arrive among the assignments than when whole lists come last.
void BM_InsertIntoPropertyMap(benchmark::State& state) {
  using install::cpputil::PropertyValue;
  install::cpputil::PropertyMap const parsed =
      install::cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(files().input));
  // Each kept line's key and, for an assignment, its value or, for a list line, its entry.
  struct Line {
    ustring key;
    ustring value;
    bool list;
  };
  std::vector<Line> lines;
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
    if (list) {
      auto const& entries = std::get<std::vector<ustring>>(found->second);
      lines.push_back({wide, entries.at(next_entry[wide]++), true});
    } else {
      lines.push_back({wide, std::get<ustring>(found->second), false});
    }
  }
  for (auto _ : state) {
    install::cpputil::PropertyMap built;
    for (Line const& line : lines) {
      if (line.list) {
        auto const slot = built.try_emplace(line.key, std::vector<ustring>{}).first;
        std::get<std::vector<ustring>>(slot->second).push_back(line.value);
      } else {
        built.insert_or_assign(line.key, PropertyValue(line.value));
      }
    }
    benchmark::DoNotOptimize(built);
  }
}
BENCHMARK(BM_InsertIntoPropertyMap)->Setup(settle_heap)->Unit(benchmark::kMillisecond);

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
  add_time_row(40, "4 `InputFileParser::parse`, 100,000 lines", "BM_InputFileParse",
               "insert of the same properties into a `PropertyMap`", "BM_InsertIntoPropertyMap",
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
