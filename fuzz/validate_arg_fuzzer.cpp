// Splits the input into key, value and rule text and runs validate_arg on them: only the
// exception that the validator's table gives the rule's kind, with the documented text, may
// leave it.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <fuzzer/FuzzedDataProvider.h>
#include <stdlib.h>
#include <unistd.h>

#include "inputfile/rule_kinds.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/validation.hpp"

namespace {

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

// A scratch folder holds the log and the default log and is the working folder, so that
// relative "rfile" paths and the log lines of failed file rules stay out of the way. It goes
// when libFuzzer ends the process with exit(); a crash leaves it for inspection.
std::filesystem::path const& scratch() {
  static std::filesystem::path const folder = [] {
    std::string pattern = (std::filesystem::temp_directory_path() / "qx_fuzz_XXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr);
    setenv("TMPDIR", pattern.c_str(), 1);
    require(chdir(pattern.c_str()) == 0);
    return std::filesystem::path(pattern);
  }();
  return folder;
}

void remove_scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(scratch(), ignored);
}

std::filesystem::path const& log_file() {
  static std::filesystem::path const path = scratch() / "install.log";
  static install::cpputil::logger::Logger const logger(path.string());
  // Registered after the statics above, so it runs before they are destroyed.
  static bool const cleanup_registered = std::atexit(remove_scratch) == 0;
  static_cast<void>(cleanup_registered);
  return path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  std::filesystem::path const& log = log_file();
  FuzzedDataProvider provider(data, size);
  std::string const key = provider.ConsumeRandomLengthString();
  std::string const value = provider.ConsumeRandomLengthString();
  std::string const rule = provider.ConsumeRemainingBytesAsString();
  namespace kinds = install::cpputil::rule_kinds;
  kinds::rule_kind const* const row = kinds::find(kinds::split(rule).first);
  // what() is a C string, so the text ends at the first NUL of key, value or rule.
  std::string const full = "key='" + key + "' value='" + value + "' rule='" + rule + "'";
  std::string const message(full.c_str());

  try {
    install::cpputil::validate_arg(key, value, rule);
  } catch (std::invalid_argument const& error) {
    require(row != nullptr && row->raises == kinds::failure::invalid_argument);
    require(error.what() == message);
  } catch (std::runtime_error const& error) {
    require(row != nullptr && row->raises == kinds::failure::runtime_error);
    require(error.what() == message);
  }

  std::error_code ignored;
  if (std::filesystem::file_size(log, ignored) > (1u << 20)) {
    std::filesystem::resize_file(log, 0, ignored);
  }
  return 0;
}
