// Uses the installed library the way an installer front end would: a Logger on a log file,
// an input file parsed into its property map. Exits 1 naming the first check that fails.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "install/cpputil.hpp"

namespace cpputil = install::cpputil;

int main(int argc, char** argv) {
  if (argc != 2) return 2;  // usage: consumer WORK_FOLDER
  std::filesystem::path const work = argv[1], input = work / "answers.txt";
  std::filesystem::path const log = work / "logs" / "install.log";
  std::filesystem::create_directories(work);
  std::filesystem::remove(log);
  std::ofstream(input) << "# answers\n  Color = Blue  \r\nproduct.Alpha_Beta\nproduct.Gamma\n";

  cpputil::logger::Logger const logger(log.string());  // an exception ends the run unhandled
  auto const map = cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(input.string()));
  cpputil::logger::append_message("parsed " + std::to_string(map.size()) + " properties");
  std::string const text(std::istreambuf_iterator<char>(std::ifstream(log).rdbuf()), {});
  char const* const failed =
      map != cpputil::PropertyMap{{u"color", ustring(u"Blue")},
                                  {u"product", std::vector<ustring>{u"Alpha Beta", u"Gamma"}}}
          ? "color = Blue, product = [Alpha Beta, Gamma]"
      : fl::i18n::ustring_to_utf8(cpputil::logger::get_destination().string()) != log.string()
          ? "the Logger's file is the destination"
      : text.find(") parsed 2 properties\n") == std::string::npos ? "the log holds the entry"
                                                                  : nullptr;
  if (failed != nullptr) std::cerr << "consumer: check failed: " << failed << '\n';
  return failed != nullptr ? 1 : 0;
}
