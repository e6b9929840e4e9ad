// template and rewrite: answer files written from rules, and an input file in canonical form.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string_view>

#include "cli.hpp"
#include "diagnostic_text.hpp"
#include "escape.hpp"
#include "install/cpputil/input_file_writer.hpp"

namespace qx::cli {
namespace {

namespace cpputil = install::cpputil;

// --to FILE: the text written to FILE, replacing it at once, instead of printed; "-" prints.
// Standard output is never reached by a device's name: /dev/stdout is a link, and refused.
void add_to_option(CLI::App& app, std::string& to) {
  app.add_option("--to", to,
                 "write FILE instead of printing ('-': print): a regular file replaced at once, "
                 "keeping its owner, group and mode, or a new one with mode 0600; a link, "
                 "device, FIFO or folder is refused")
      ->type_name("FILE")
      ->check([](std::string const& name) {
        return name.empty() ? std::string("the file name is empty") : std::string();
      });
}

// Prints `text` when `to` is empty or "-", else runs `write` on the name `to`; CommandError
// (exit 2) with the library's reason when the file cannot be written.
template <class Write>
void write_to(std::string const& to, std::string_view text, Write&& write) {
  if (to.empty() || to == "-") {
    std::cout << text;
    return;
  }
  ustring const name = fl::i18n::utf8_to_ustring(utf8_name(to));
  try {
    write(name);
  } catch (std::runtime_error const& error) {
    throw CommandError(error.what(), exit_usage);
  }
}

Handler setup_template(CLI::App& app) {
  struct Options {
    std::string rules;
    std::string to;
  };
  auto options = std::make_shared<Options>();
  app.add_option("--rules", options->rules, "file of key=rule lines")
      ->required()
      ->type_name("RULES");
  add_to_option(app, options->to);
  app.footer(
      "Prints a commented answer file with one entry per rule: a strval key set to its first\n"
      "allowed value, every other key commented out with a placeholder.");
  return [options] {
    std::string const text =
        cpputil::inputFileTemplate(read_rules(options->rules, "qxinstall template"));
    write_to(options->to, text,
             [&text](ustring const& to) { cpputil::writeInputFileText(to, text); });
    return exit_ok;
  };
}

// Without --force, a file with errors is refused, every error listed; with it, every line the
// rewrite leaves out is named. Both on stderr, one a line.
void refuse_errors(std::string const& file, cpputil::InputFileReport const& report, bool force) {
  std::size_t const errors = static_cast<std::size_t>(std::count_if(
      report.diagnostics.begin(), report.diagnostics.end(),
      [](auto const& found) { return found.severity == cpputil::DiagnosticSeverity::error; }));
  std::string const name = tools::escaped(file);
  if (errors == 0 || force) {
    for (auto const& dropped : report.ignored)
      std::cerr << name << ':' << dropped.line << ": dropped: " << tools::excerpt(dropped.text)
                << '\n';
    return;
  }
  for (auto const& found : report.diagnostics)
    if (found.severity == cpputil::DiagnosticSeverity::error)
      std::cerr << name << ':' << tools::diagnostic_text(found) << '\n';
  throw CommandError(tools::excerpt(file) + ": " + std::to_string(errors) +
                         (errors == 1 ? " error" : " errors") +
                         ": nothing written; correct the file, or give --force to write it "
                         "without the lines they concern",
                     exit_usage);
}

Handler setup_rewrite(CLI::App& app) {
  struct Options {
    std::string file;
    std::string to;
    cpputil::InputFileWriteOptions write;
    bool force = false;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  add_to_option(app, options->to);
  app.add_option("--withhold", options->write.withhold,
                 "keys whose values are written as a comment saying they were withheld")
      ->delimiter(',')
      ->type_name("KEY[,KEY...]");
  app.add_flag("--force", options->force,
               "write even when check finds errors; each line the map lacks is named on stderr");
  app.footer(
      "Prints the answer file that reads back to FILE's property map: no comments, keys\n"
      "lower-cased and in map order, each list together. A file in which check finds errors\n"
      "is refused (exit 2), its errors listed on stderr: the lines they concern would be lost.\n"
      "With --force it is written, and every line left out is named on stderr as\n"
      "FILE:LINE: dropped: TEXT. A file that is not UTF-8 text is refused even then.\n"
      "--to may name FILE itself: it is read first, then replaced.");
  return [options] {
    auto const report = check_input_file(options->file);
    refuse_unless_utf8(options->file, report);
    refuse_errors(options->file, report, options->force);
    std::string const text = cpputil::formatInputFile(report.properties, options->write);
    write_to(options->to, text,
             [&text](ustring const& to) { cpputil::writeInputFileText(to, text); });
    return exit_ok;
  };
}

}  // namespace

std::vector<Command> writer_commands() {
  return {
      {"template", "Print a commented answer file for a rules file", setup_template},
      {"rewrite", "Print an input file in canonical form", setup_rewrite},
  };
}

}  // namespace qx::cli
