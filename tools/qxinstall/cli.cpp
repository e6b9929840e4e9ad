#include "cli.hpp"

#include <system_error>
#include <utility>

#include <iostream>
#include "escape.hpp"

#include "diagnostic_text.hpp"
#include "fl/filesystem.hpp"
#include "install/cpputil/validation.hpp"

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
    text += " (" + fl::filesystem::failure_reason(reason.code()) + ")";
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
                           fl::filesystem::failure_reason({report.error, std::generic_category()}),
                       exit_usage);
  }
  return report;
}

std::map<std::string, std::string> read_rules(std::string const& path, std::string_view command) {
  if (path.empty()) return {};
  auto file = install::cpputil::readRulesFile(fl::i18n::utf8_to_ustring(utf8_name(path)));
  if (file.findings.empty()) return std::move(file.rules);
  // Every mistake, one a line; the last ends the command.
  // Appended piece by piece: GCC 12 at -O3 warns falsely (-Wrestrict) of ":" + std::string.
  auto const text = [&path](install::cpputil::RulesFileFinding const& found) {
    std::string out = tools::excerpt(path);
    if (found.line != 0) out.append(":").append(std::to_string(found.line));
    return out.append(": ").append(found.message);
  };
  for (std::size_t i = 0; i + 1 < file.findings.size(); ++i)
    std::cerr << command << ": " << tools::escaped(text(file.findings[i])) << '\n';
  throw CommandError(text(file.findings.back()), exit_usage);
}

void refuse_unless_utf8(std::string const& path, install::cpputil::InputFileReport const& report) {
  for (auto const& found : report.diagnostics)
    if (found.code == "not-utf8" || found.code == "invalid-utf8")
      throw CommandError(tools::excerpt(path) + ":" + tools::diagnostic_text(found), exit_usage);
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
