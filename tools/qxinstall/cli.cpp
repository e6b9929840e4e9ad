#include "cli.hpp"

#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>
#include <utility>

namespace qx::cli {

std::string const& utf8_name(std::string const& path) {
  if (fl::i18n::ustring_to_utf8(fl::i18n::utf8_to_ustring(path)) != path)
    throw CommandError(
        fl::i18n::ustring_to_utf8(fl::i18n::utf8_to_ustring(path)) + ": the name is not UTF-8",
        exit_usage);
  return path;
}

// Checked without opening, so that the library opens the file once: a FIFO or a device is
// refused here rather than read (or waited for) there, and the library would read a folder
// or an unreadable file as an empty one.
void require_regular_file(std::string const& path) {
  struct stat st {};
  if (::stat(utf8_name(path).c_str(), &st) != 0) {
    int const error = errno;
    throw CommandError(path + ": " +
                           (error == ENOENT ? std::string("no such file")
                                            : std::generic_category().message(error)),
                       exit_usage);
  }
  if (!S_ISREG(st.st_mode)) throw CommandError(path + ": is not a regular file", exit_usage);
  if (::access(path.c_str(), R_OK) != 0)
    throw CommandError(path + ": cannot be read: " + std::generic_category().message(errno),
                       exit_usage);
}

std::string in_quotes(std::string_view text) {
  return "\"" + std::string(text) + "\"";
}

install::cpputil::PropertyMap parse_input_file(std::string const& path) {
  require_regular_file(path);
  try {
    return install::cpputil::InputFileParser().parse(fl::i18n::utf8_to_ustring(path));
  } catch (std::runtime_error const& error) {
    throw CommandError(path + ": " + error.what(), exit_usage);
  }
}

std::optional<install::cpputil::logger::Logger> open_log(std::string const& path) {
  if (path.empty()) return std::nullopt;
  utf8_name(path);
  try {
    return std::optional<install::cpputil::logger::Logger>(std::in_place, path);
  } catch (std::runtime_error const& error) {
    throw CommandError(error.what(), exit_usage);
  }
}

}  // namespace qx::cli
