// Feeds arbitrary bytes, as an input file, to checkInputFile with a fixed set of rules: the map
// beside the diagnostics must be what parse returns, and every diagnostic must be well formed:
// in line order, its column within its line, its message free of control characters.
#include <unistd.h>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "install/cpputil/input_file_diagnostics.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static std::string const file = "/tmp/qx_diagnostics_fuzz_" + std::to_string(getpid());
  static struct Remover {
    ~Remover() { std::remove(file.c_str()); }
  } const remover;
  std::FILE* const out = std::fopen(file.c_str(), "wb");
  if (out == nullptr || std::fwrite(data, 1, size, out) != size || std::fclose(out) != 0)
    std::abort();
  ustring const name = fl::i18n::utf8_to_ustring(file);
  static std::map<std::string, std::string> const rules{
      {"port", "intval"},    {"mode", "strval:a,b"}, {"flag", "BOOLVAL"},
      {"password", "rfile"}, {"Timeout", "intval"},  {"install_for_all_users", "boolval"}};
  auto const report = install::cpputil::checkInputFile(name, rules);
  if (report.properties != install::cpputil::InputFileParser().parse(name)) std::abort();
  // The length of each line, as getline reads them (index 0: line 0, the whole file).
  std::vector<std::size_t> lengths{0};
  std::string_view rest(reinterpret_cast<char const*>(data), size);
  while (!rest.empty()) {
    std::size_t const end = rest.find('\n');
    lengths.push_back(std::min(end, rest.size()));
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
  std::size_t previous = 0;
  for (auto const& found : report.diagnostics) {
    if (found.line < previous || found.line >= lengths.size() || found.code.empty() ||
        found.message.empty() || found.column > lengths[found.line] ||
        (found.line == 0 && found.column != 0))
      std::abort();
    for (char const c : found.message)
      if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) std::abort();
    previous = found.line;
  }
  return 0;
}
