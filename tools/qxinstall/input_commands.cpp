// parse and check: the input file's property map, and every mistake in it.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include "cli.hpp"
#include "diagnostic_text.hpp"
#include "install/cpputil/input_file_diagnostics.hpp"
#include "install/cpputil/validation.hpp"
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
  app.footer(
      "Single values print as key=value, list entries as key[]=entry, one per line, in map\n"
      "order. In keys and values a backslash prints as \\\\ and a control character as \\t,\n"
      "\\n, \\r, \\xHH or \\u00HH; in keys '[', ']' and '=' print as \\[, \\] and \\=, so the\n"
      "first '=' without a backslash ends the key. A file that is not UTF-8 text (UTF-16, or\n"
      "bytes of another encoding such as Latin-1) is refused with check's finding (exit 2).");
  return [options] {
    auto const report = check_input_file(options->file);
    refuse_unless_utf8(options->file, report);
    auto const& map = report.properties;
    options->json ? tools::write_json(std::cout, map) : tools::write_text(std::cout, map);
    return exit_ok;
  };
}

// The rules part of check's help, from the kinds the validator checks.
std::string rule_kinds_help() {
  std::string help = "Rules, one \"key = rule\" per line; a rule of another kind accepts anything:";
  for (auto const& kind : install::cpputil::validation_rule_kinds()) {
    std::string const usage = kind.name + (kind.takes_values ? ":VALUE,..." : "");
    help += "\n  " + usage + std::string(usage.size() < 18 ? 18 - usage.size() : 1, ' ') +
            kind.accepts + (kind.takes_values ? "VALUE, ..." : "");
  }
  return help;
}

// The table of codes: "code  severity  meaning" in aligned columns, or one JSON array.
void write_codes(std::ostream& out, bool json) {
  auto const codes = install::cpputil::inputFileDiagnosticCodes();
  if (json) return tools::write_codes_json(out, codes);
  std::size_t width = 0;
  for (auto const& code : codes) width = std::max(width, code.code.size());
  for (auto const& code : codes) {
    std::string const severity = install::cpputil::toString(code.severity);
    out << code.code << std::string(width + 2 - code.code.size(), ' ') << severity
        << std::string(9 - severity.size(), ' ') << code.meaning << '\n';
  }
}

Handler setup_check(CLI::App& app) {
  struct Options {
    std::string file;
    std::string rules;
    bool json = false;
    bool strict = false;
    bool codes = false;
  };
  auto options = std::make_shared<Options>();
  app.add_option("FILE", options->file, "installer input file (not with --codes)");
  app.add_option("--rules", options->rules, "file of key=rule lines")->type_name("RULES");
  app.add_flag("--json", options->json,
               "print one JSON array of {line, column, severity, code, message}");
  app.add_flag("--strict", options->strict, "count warnings as errors");
  app.add_flag("--codes", options->codes,
               "print every code a finding can have, with its severity and meaning");
  app.footer(
      "Prints every line the parser ignores or reads surprisingly, and with --rules every value\n"
      "that fails its rule, as FILE:LINE:COLUMN: severity: message [code], then a summary\n"
      "(LINE 0: the whole file; COLUMN: the byte where the fault begins, 0: the whole line).\n"
      "Exits 1 when there are errors (with --strict, warnings too), 0 otherwise.\n" +
      rule_kinds_help());
  return [options] {
    if (options->codes != options->file.empty())
      throw CommandError("give either FILE or --codes", exit_usage);
    if (options->codes) {
      write_codes(std::cout, options->json);
      return exit_ok;
    }
    auto const report =
        check_input_file(options->file, read_rules(options->rules, "qxinstall check"));
    options->json ? tools::write_diagnostics_json(std::cout, report.diagnostics)
                  : tools::write_diagnostics_text(std::cout, options->file, report.diagnostics);
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
