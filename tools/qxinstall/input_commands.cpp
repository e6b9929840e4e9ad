// parse and check: the input file's property map, and its values against rules.
#include <CLI/CLI.hpp>
#include <iostream>
#include <map>
#include <memory>
#include <variant>

#include "cli.hpp"
#include "install/cpputil/validation.hpp"
#include "property_map_text.hpp"
#include "rules_file.hpp"

namespace qx::cli {
namespace {

using fl::i18n::ustring_to_utf8;

Handler setup_parse(CLI::App& app) {
  struct Options {
    std::string file;
    bool json = false;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  app.add_flag("--json", options->json, "print a JSON object instead of key=value lines");
  app.footer("Single values print as key=value, list entries as key[]=entry, in map order.");
  return [options] {
    auto const map = parse_input_file(options->file);
    options->json ? tools::write_json(std::cout, map) : tools::write_text(std::cout, map);
    return exit_ok;
  };
}

Handler setup_check(CLI::App& app) {
  struct Options {
    std::string file;
    std::string rules;
    std::string log;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  app.add_option("--rules", options->rules, "file of key=rule lines")
      ->required()
      ->type_name("RULES");
  app.add_option("--log", options->log, "installation log for the notes of a failed rfile rule")
      ->type_name("LOG");
  app.footer(
      "Rules: strval:a,b,... (one of the values), boolval, intval, rfile (a non-empty file).\n"
      "Prints the first failure and exits 1, or prints ok.");
  return [options] {
    require_readable_file(options->rules);
    std::map<std::string, std::string> rules;
    try {
      rules = tools::read_rules_file(options->rules);
    } catch (tools::RulesFileError const& error) {
      throw CommandError(error.what(), exit_usage);
    }
    auto const map = parse_input_file(options->file);
    auto const log = open_log(options->log);
    std::map<std::string, std::string> arguments;
    for (auto const& [key, value] : map) {
      if (auto const* single = std::get_if<ustring>(&value))
        arguments.emplace(ustring_to_utf8(key), ustring_to_utf8(*single));
    }
    try {
      install::cpputil::validate_args(arguments, rules);
    } catch (std::exception const& failure) {
      std::cout << failure.what() << '\n';
      return exit_failed;
    }
    std::size_t checked = 0;
    for (auto const& entry : arguments) checked += rules.count(entry.first);
    std::cout << "ok: " << checked << " of " << arguments.size() << " values checked\n";
    return exit_ok;
  };
}

}  // namespace

std::vector<Command> input_commands() {
  return {
      {"parse", "Print an input file's property map", setup_parse},
      {"check", "Validate an input file's values against rules", setup_check},
  };
}

}  // namespace qx::cli
