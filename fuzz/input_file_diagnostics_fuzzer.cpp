// Feeds arbitrary bytes, as an input file, to checkInputFile with a fixed set of rules: the map
// beside the diagnostics must be what parse returns, and every diagnostic must be well formed.
#include <unistd.h>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

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
      {"port", "intval"}, {"mode", "strval:a,b"}, {"flag", "BOOLVAL"}, {"password", "rfile"}};
  auto const report = install::cpputil::checkInputFile(name, rules);
  if (report.properties != install::cpputil::InputFileParser().parse(name)) std::abort();
  std::size_t lines = 1;
  for (std::size_t i = 0; i + 1 < size; ++i) lines += data[i] == '\n' ? 1 : 0;
  std::size_t previous = 0;
  for (auto const& found : report.diagnostics) {
    if (found.line < previous || found.line > lines || found.code.empty() || found.message.empty())
      std::abort();
    previous = found.line;
  }
  return 0;
}
