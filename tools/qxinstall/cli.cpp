#include "cli.hpp"

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace qx::cli {

// The library reads a folder or an unreadable file as an empty one; a user deserves to be told.
void require_readable_file(std::string const& path) {
  std::error_code error;
  auto const status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) throw CommandError(path + ": no such file", exit_usage);
  if (std::filesystem::is_directory(status))
    throw CommandError(path + ": is a folder, not a file", exit_usage);
  if (!std::ifstream(path).is_open()) throw CommandError(path + ": cannot be read", exit_usage);
}

std::string in_quotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

install::cpputil::PropertyMap parse_input_file(std::string const& path) {
  require_readable_file(path);
  try {
    return install::cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(path));
  } catch (std::runtime_error const& error) {
    throw CommandError(path + ": " + error.what(), exit_usage);
  }
}

std::optional<install::cpputil::logger::Logger> open_log(std::string const& path) {
  if (path.empty()) return std::nullopt;
  try {
    return std::optional<install::cpputil::logger::Logger>(std::in_place, path);
  } catch (std::runtime_error const& error) {
    throw CommandError(error.what(), exit_usage);
  }
}

}  // namespace qx::cli
