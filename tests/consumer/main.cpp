// A user's program on the library, installed or embedded: a Logger on a log file in the folder
// argv[1] and an input file parsed into its property map. Exits 1 when either goes wrong.
#include <filesystem>
#include <fstream>
#include <iterator>

#include "install/cpputil.hpp"

namespace cpputil = install::cpputil;

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::filesystem::path const work = argv[1], input = work / "answers.txt", log = work / "l.log";
  std::filesystem::create_directories(work);
  std::filesystem::remove(log);
  std::ofstream(input) << "# answers\n  Color = Blue  \r\nproduct.Alpha_Beta\nproduct.Gamma\n";
  cpputil::logger::Logger const logger(log.string());  // an exception ends the run unhandled
  auto const map = cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(input.string()));
  cpputil::logger::append_message("parsed " + std::to_string(map.size()) + " properties");
  std::string const text(std::istreambuf_iterator<char>(std::ifstream(log).rdbuf()), {});
  cpputil::PropertyMap const expected{{u"color", ustring(u"Blue")},
                                      {u"product", std::vector<ustring>{u"Alpha Beta", u"Gamma"}}};
  return map == expected && text.ends_with(") parsed 2 properties\n") ? 0 : 1;
}
