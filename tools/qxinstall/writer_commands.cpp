// template and rewrite: answer files written from rules, and an input file in canonical form.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string_view>

#include "cli.hpp"
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
    std::string const text = cpputil::inputFileTemplate(read_rules(options->rules));
    write_to(options->to, text,
             [&text](ustring const& to) { cpputil::writeInputFileText(to, text); });
    return exit_ok;
  };
}

Handler setup_rewrite(CLI::App& app) {
  struct Options {
    std::string file;
    std::string to;
    cpputil::InputFileWriteOptions write;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  add_to_option(app, options->to);
  app.add_option("--withhold", options->write.withhold,
                 "keys whose values are written as a comment saying they were withheld")
      ->delimiter(',')
      ->type_name("KEY[,KEY...]");
  app.footer(
      "Prints the answer file that reads back to FILE's property map: no comments, keys\n"
      "lower-cased and in map order, each list together, lines the reader ignores left out.\n"
      "--to may name FILE itself: it is read first, then replaced.");
  return [options] {
    auto const properties = check_input_file(options->file).properties;
    std::string const text = cpputil::formatInputFile(properties, options->write);
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
