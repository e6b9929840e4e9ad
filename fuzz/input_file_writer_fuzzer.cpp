// Writes property maps built from the input near the edge of what an answer file can hold: each
// is either written and read back equal (and written again to the same text), or refused with
// std::invalid_argument. The rest of the input, read as a file, gives a map that is always
// written. Reading back goes through the lines' own functions, which parse uses.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>

#include "inputfile/input_lines.hpp"
#include "install/cpputil/input_file_writer.hpp"

namespace {

namespace lines = install::cpputil::input_lines;
using install::cpputil::PropertyMap;

// What parse gives for a file that holds `text`.
PropertyMap read_back(std::string_view text) {
  PropertyMap map;
  for (auto end = text.find('\n'); !text.empty(); end = text.find('\n')) {
    std::string_view const line = lines::trim(text.substr(0, end));
    if (lines::is_content(line)) lines::apply_line(map, line);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return map;
}

void require(bool condition) {
  if (!condition) std::abort();
}

// Pieces that sit on the edges: markers, dots, '#', blanks, then case, separators, whitespace
// and lone surrogates, which most often make a map that no file gives. A text takes its pieces
// from the first group alone or from both, so that both outcomes stay frequent.
constexpr std::u16string_view pieces[] = {
    u"a",  u"\u00c4",    u"\U0001F600", u"product", u"platform", u"product.", u"platform.", u".",
    u"x.", u".product.", u"#",          u" ",       u"\0",       u"\uFEFF",   u"A",         u"=",
    u"_",  u"\t",        u"\n",         u"\r",      u"\xD800",   u"\xDC00"};
constexpr std::size_t first_group = 14;

ustring text(FuzzedDataProvider& in) {
  std::size_t const last = in.ConsumeBool() ? first_group - 1 : std::size(pieces) - 1;
  ustring out;
  for (int n = in.ConsumeIntegralInRange(0, 4); n > 0; --n)
    out += pieces[in.ConsumeIntegralInRange<std::size_t>(0, last)];
  return out;
}

void written_reads_back(PropertyMap const& map) {
  std::string const written = install::cpputil::formatInputFile(map);
  require(read_back(written) == map);
  require(install::cpputil::formatInputFile(read_back(written)) == written);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  PropertyMap map;
  for (int keys = in.ConsumeIntegralInRange(0, 3); keys > 0; --keys) {
    ustring key = text(in);
    if (in.ConsumeBool()) {
      map.insert_or_assign(std::move(key), text(in));
    } else {
      std::vector<ustring> entries(in.ConsumeIntegralInRange(0, 3));
      for (ustring& entry : entries) entry = text(in);
      map.insert_or_assign(std::move(key), std::move(entries));
    }
  }
  try {
    written_reads_back(map);
  } catch (std::invalid_argument const&) {
    // No file gives this map.
  }
  written_reads_back(read_back(in.ConsumeRemainingBytesAsString()));
  return 0;
}
