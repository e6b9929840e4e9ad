#include "cli.hpp"

#include <system_error>
#include <utility>

#include "escape.hpp"
#include "fl/filesystem.hpp"
#include "rules_file.hpp"

namespace qx::cli {

std::string const& utf8_name(std::string const& path) {
  if (!fl::i18n::is_valid_utf8(path))
    throw CommandError(tools::excerpt(path) + ": the name is not UTF-8", exit_usage);
  return path;
}

std::string in_quotes(std::string_view text) {
  // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) of "\"" + std::string.
  std::string quoted = "\"";
  quoted += tools::excerpt(text);
  quoted += '"';
  return quoted;
}

std::string text_of(std::exception const& error) {
  std::string text = error.what();
  try {
    std::rethrow_if_nested(error);
  } catch (std::system_error const& reason) {
    text += " (" + fl::filesystem::failure_reason(reason.code().value()) + ")";
  } catch (std::exception const& reason) {
    text += " (" + std::string(reason.what()) + ")";
  }
  return text;
}

install::cpputil::InputFileReport check_input_file(
    std::string const& path, std::map<std::string, std::string> const& rules) {
  ustring const name = fl::i18n::utf8_to_ustring(utf8_name(path));
  install::cpputil::InputFileReport report;
  try {
    report = install::cpputil::checkInputFile(name, rules);
  } catch (std::exception const& error) {
    throw CommandError(tools::excerpt(path) + ": " + text_of(error), exit_usage);
  }
  if (report.error != 0) {
    throw CommandError(tools::excerpt(path) + ": the file cannot be read: " +
                           fl::filesystem::failure_reason(report.error),
                       exit_usage);
  }
  return report;
}

std::map<std::string, std::string> read_rules(std::string const& path) {
  if (path.empty()) return {};
  try {
    return tools::read_rules_file(utf8_name(path));
  } catch (tools::RulesFileError const& error) {
    throw CommandError(error.what(), exit_usage);
  }
}

std::optional<install::cpputil::logger::Logger> open_log(
    std::string const& path,
    std::optional<install::cpputil::logger::RetentionPolicy> const& policy) {
  using install::cpputil::logger::Logger;
  if (path.empty() && !policy) return std::nullopt;
  if (!path.empty()) utf8_name(path);
  try {
    if (!policy) return std::optional<Logger>(std::in_place, path);
    if (path.empty()) return std::optional<Logger>(std::in_place, *policy);
    return std::optional<Logger>(std::in_place, path, *policy);
  } catch (std::runtime_error const& error) {
    throw CommandError(text_of(error), exit_usage);
  }
}

}  // namespace qx::cli
