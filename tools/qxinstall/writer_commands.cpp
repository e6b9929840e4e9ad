// template and rewrite: answer files written from rules, and an input file in canonical form.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli.hpp"
#include "install/cpputil/input_file_writer.hpp"

namespace qx::cli {
namespace {

Handler setup_template(CLI::App& app) {
  auto rules = std::make_shared<std::string>();
  app.add_option("--rules", *rules, "file of key=rule lines")->required()->type_name("RULES");
  app.footer(
      "Prints a commented answer file with one entry per rule: a strval key set to its first\n"
      "allowed value, every other key commented out with a placeholder.");
  return [rules] {
    std::cout << install::cpputil::inputFileTemplate(read_rules(*rules));
    return exit_ok;
  };
}

Handler setup_rewrite(CLI::App& app) {
  struct Options {
    std::string file;
    install::cpputil::InputFileWriteOptions write;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  app.add_option("--withhold", options->write.withhold,
                 "keys whose values are written as a comment saying they were withheld")
      ->delimiter(',')
      ->type_name("KEY[,KEY...]");
  app.footer(
      "Prints the answer file that reads back to FILE's property map: no comments, keys\n"
      "lower-cased and in map order, each list together, lines the reader ignores left out.");
  return [options] {
    std::cout << install::cpputil::formatInputFile(check_input_file(options->file).properties,
                                                   options->write);
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
