// Uses the installed library the way an installer front end would: a Logger on a log file,
// an input file parsed into its property map. Exits 1 naming the first check that fails.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <variant>
#include <vector>

#include "install/cpputil.hpp"

namespace cpputil = install::cpputil;

namespace {

int failures = 0;

void check(bool ok, char const* what) {
  if (!ok) {
    std::cerr << "consumer: check failed: " << what << '\n';
    ++failures;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: consumer WORK_FOLDER\n";
    return 2;
  }
  std::filesystem::path const work = argv[1];
  std::filesystem::create_directories(work);
  std::filesystem::path const input = work / "answers.txt";
  std::filesystem::path const log = work / "logs" / "install.log";
  std::filesystem::remove(log);
  std::ofstream(input) << "# answers\n  Color = Blue  \r\nproduct.Alpha_Beta\nproduct.Gamma\n";

  try {
    cpputil::logger::Logger const logger(log.string());
    cpputil::PropertyMap const map =
        cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(input.string()));
    cpputil::logger::append_message("parsed " + std::to_string(map.size()) + " properties");

    check(map.size() == 2, "two properties");
    auto const color = map.find(u"color");
    check(color != map.end() && std::get<ustring>(color->second) == u"Blue", "color = Blue");
    auto const product = map.find(u"product");
    check(product != map.end() && std::get<std::vector<ustring>>(product->second) ==
                                      std::vector<ustring>{u"Alpha Beta", u"Gamma"},
          "product = [Alpha Beta, Gamma]");
    check(fl::i18n::ustring_to_utf8(cpputil::logger::get_destination().string()) == log.string(),
          "the Logger's file is the destination");
  } catch (std::exception const& error) {
    std::cerr << "consumer: " << error.what() << '\n';
    return 1;
  }

  std::ifstream in(log);
  std::string const text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  check(text.find(") parsed 2 properties\n") != std::string::npos, "the log holds the entry");
  if (failures == 0)
    std::cout << "consumer: parsed " << input.string() << " and logged to " << log.string() << '\n';
  return failures == 0 ? 0 : 1;
}
