#include "diagnostic_text.hpp"

#include "escape.hpp"

namespace qx::tools {

using install::cpputil::DiagnosticSeverity;
using install::cpputil::InputFileDiagnostic;

std::string diagnostic_text(InputFileDiagnostic const& found) {
  return std::to_string(found.line) + ':' + std::to_string(found.column) + ": " +
         install::cpputil::toString(found.severity) + ": " + found.message + " [" + found.code +
         ']';
}

void write_diagnostics_text(std::ostream& out, std::string_view file,
                            std::vector<InputFileDiagnostic> const& found) {
  std::string const prefix = escaped(file) + ':';
  int counts[3] = {};
  for (auto const& one : found) {
    ++counts[static_cast<int>(one.severity)];
    out << prefix << diagnostic_text(one) << '\n';
  }
  auto const counted = [&counts](DiagnosticSeverity severity, std::string const& word) {
    int const n = counts[static_cast<int>(severity)];
    return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
  };
  out << counted(DiagnosticSeverity::error, "error") << ", "
      << counted(DiagnosticSeverity::warning, "warning") << ", "
      << counted(DiagnosticSeverity::note, "note") << '\n';
}

// The layout of a JSON dump indented by two, object by object.
void write_diagnostics_json(std::ostream& out, std::vector<InputFileDiagnostic> const& found) {
  std::string entry;
  char const* separator = "[\n";
  for (auto const& one : found) {
    entry.assign(separator);
    separator = ",\n";
    entry += "  {\n    \"line\": " + std::to_string(one.line) +
             ",\n    \"column\": " + std::to_string(one.column) + ",\n    \"severity\": ";
    append_json_string(entry, install::cpputil::toString(one.severity));
    entry += ",\n    \"code\": ";
    append_json_string(entry, one.code);
    entry += ",\n    \"message\": ";
    append_json_string(entry, one.message);
    entry += "\n  }";
    out << entry;
  }
  out << (found.empty() ? "[]\n" : "\n]\n");
}

void write_codes_json(std::ostream& out,
                      std::vector<install::cpputil::InputFileDiagnosticCode> const& codes) {
  std::string entry;
  char const* separator = "[\n";
  for (auto const& code : codes) {
    entry.assign(separator);
    separator = ",\n";
    entry += "  {\n    \"code\": ";
    append_json_string(entry, code.code);
    entry += ",\n    \"severity\": ";
    append_json_string(entry, install::cpputil::toString(code.severity));
    entry += ",\n    \"meaning\": ";
    append_json_string(entry, code.meaning);
    entry += "\n  }";
    out << entry;
  }
  out << (codes.empty() ? "[]\n" : "\n]\n");
}

}  // namespace qx::tools
