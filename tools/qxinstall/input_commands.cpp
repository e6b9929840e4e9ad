// parse and check: the input file's property map, and every mistake in it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <variant>

#include <nlohmann/json.hpp>
#include "cli.hpp"

#include "install/cpputil/input_file_diagnostics.hpp"
#include "property_map_text.hpp"

namespace qx::cli {
namespace {

using install::cpputil::DiagnosticSeverity;

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
    auto const map = check_input_file(options->file).properties;
    options->json ? tools::write_json(std::cout, map) : tools::write_text(std::cout, map);
    return exit_ok;
  };
}

void print_text(std::string const& file, install::cpputil::InputFileReport const& report) {
  int counts[3] = {};
  for (auto const& found : report.diagnostics) {
    ++counts[static_cast<int>(found.severity)];
    std::cout << file << ':' << found.line << ':' << found.column << ": "
              << install::cpputil::toString(found.severity) << ": " << found.message << " ["
              << found.code << "]\n";
  }
  auto const counted = [&counts](DiagnosticSeverity severity, std::string const& word) {
    int const n = counts[static_cast<int>(severity)];
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
  };
  std::cout << counted(DiagnosticSeverity::error, "error") << ", "
            << counted(DiagnosticSeverity::warning, "warning") << ", "
            << counted(DiagnosticSeverity::note, "note") << '\n';
}

void print_json(install::cpputil::InputFileReport const& report) {
  auto diagnostics = nlohmann::ordered_json::array();
  for (auto const& found : report.diagnostics)
    diagnostics.push_back({{"line", found.line},
                           {"column", found.column},
                           {"severity", install::cpputil::toString(found.severity)},
                           {"code", found.code},
                           {"message", found.message}});
  std::cout << diagnostics.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
            << '\n';
}

Handler setup_check(CLI::App& app) {
  struct Options {
    std::string file;
    std::string rules;
    bool json = false;
    bool strict = false;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file")->required();
  app.add_option("--rules", options->rules, "file of key=rule lines")->type_name("RULES");
  app.add_flag("--json", options->json,
               "print one JSON array of {line, column, severity, code, message}");
  app.add_flag("--strict", options->strict, "count warnings as errors");
  app.footer(
      "Prints every line the parser ignores or reads surprisingly, and with --rules every value\n"
      "that fails its rule, as FILE:LINE:COLUMN: severity: message [code], then a summary\n"
      "(LINE 0: the whole file; COLUMN: the byte where the fault begins, 0: the whole line).\n"
      "Rules: strval:a,b,... (one of the values), boolval, intval, rfile (a non-empty file).\n"
      "Exits 1 when there are errors (with --strict, warnings too), 0 otherwise.");
  return [options] {
    auto const report = check_input_file(options->file, read_rules(options->rules));
    options->json ? print_json(report) : print_text(options->file, report);
    bool const failed = std::any_of(
        report.diagnostics.begin(), report.diagnostics.end(), [&options](auto const& found) {
          return found.severity == DiagnosticSeverity::error ||
                 (options->strict && found.severity == DiagnosticSeverity::warning);
        });
    return failed ? exit_failed : exit_ok;
  };
}

}  // namespace

std::vector<Command> input_commands() {
  return {
      {"parse", "Print an input file's property map", setup_parse},
      {"check", "Report every mistake in an input file, with its line", setup_check},
  };
}

}  // namespace qx::cli
