// Reads arbitrary bytes as an installation log: the reader never stops before the end, its
// entries cover the file's lines one after the other, each message holds as many lines as its
// entry takes, and the summary of the same file stays inside its lines.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fl/filesystem.hpp"
#include "install/cpputil/log_reader.hpp"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

// One file per process, rewritten for each input: the reader reads files only.
std::string const& scratch_file() {
  static std::string const name = [] {
    std::string pattern = "/tmp/log_reader_fuzzer_XXXXXX";
    int const fd = ::mkstemp(pattern.data());
    require(fd >= 0);
    ::close(fd);
    return pattern;
  }();
  return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::string const& file = scratch_file();
  std::FILE* const out = std::fopen(file.c_str(), "wb");
  require(out != nullptr && std::fwrite(data, 1, size, out) == size && std::fclose(out) == 0);
  std::uint64_t lines = 0;
  for (std::size_t i = 0; i < size; ++i) lines += data[i] == '\n' ? 1 : 0;
  if (size > 0 && data[size - 1] != '\n') ++lines;

  auto const path = fl::filesystem::make_path(file);
  install::cpputil::LogReader reader(path);
  std::uint64_t next_line = 1;
  for (install::cpputil::LogEntry entry; reader.next(entry);) {
    require(entry.line == next_line && entry.line_count >= 1);
    std::uint64_t message_lines = 1;
    for (char const c : entry.message) message_lines += c == '\n' ? 1 : 0;
    require(message_lines == entry.line_count);
    require(entry.kind == install::cpputil::LogEntryKind::outside
                ? !entry.local_time && entry.time_text.empty()
                : entry.local_time && entry.time_text.size() == 21);
    next_line += entry.line_count;
  }
  require(reader.error() == 0 && next_line - 1 == lines && reader.lines() == lines);

  install::cpputil::LogSummaryOptions options;
  options.secret_keys = {"password", "key"};
  options.context = 2;
  auto const summary = install::cpputil::summarizeLog(path, options);
  require(summary.lines == lines);
  std::uint64_t last = 0;
  for (auto const& run : summary.runs) {
    require(run.first_line > last && run.first_line <= run.last_line && run.last_line <= lines);
    require(run.failures.empty() == !run.first_failure);
    for (auto const& leak : run.leaks)
      require(leak.line >= run.first_line && leak.line <= run.last_line);
    last = run.last_line;
  }
  return 0;
}
