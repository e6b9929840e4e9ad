// A short tour of the installation log: a Logger points the process's log at a file,
// entries are appended to it, and the program prints what it wrote.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include "install/cpputil/logger.hpp"

namespace logger = install::cpputil::logger;

int main() {
  std::filesystem::path const log_path = std::filesystem::path(QX_EXAMPLE_LOG_DIR) / "install.log";
  std::filesystem::remove(log_path);
  try {
    logger::Logger const log(log_path.string());
    logger::append_message(std::string("Installation started"));
    logger::append_message(u"Checking the target folder\nfree space: 12 GB");
    logger::append_message(std::string("Installation finished"));
  } catch (std::exception const& error) {
    std::cerr << "error: " << error.what() << '\n';
    return 1;
  }
  std::ifstream in(log_path);
  std::cout << "The log at " << log_path.string() << " now reads:\n"
            << std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return 0;
}
