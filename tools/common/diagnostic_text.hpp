#pragma once

// How a finding of checkInputFile is printed, in the one form the tool, the examples and the
// tests share.

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "install/cpputil/input_file_diagnostics.hpp"

namespace qx::tools {

/// "LINE:COLUMN: severity: message [code]", as compilers print a finding after the file name.
/// The library's message holds no control character; it is written as it is.
[[nodiscard]] std::string diagnostic_text(install::cpputil::InputFileDiagnostic const& found);

/// Writes each finding as "FILE:" + diagnostic_text on its own line, `file` escaped (so that a
/// name holding a line feed cannot forge a finding), then the summary line
/// "N errors, N warnings, N notes" (singular for 1). Each line is written as it is made.
void write_diagnostics_text(std::ostream& out, std::string_view file,
                            std::vector<install::cpputil::InputFileDiagnostic> const& found);

/// Writes the findings as one JSON array of {line, column, severity, code, message} objects,
/// indented by two blanks and ended by a newline ("[]" when there is none). Each object is
/// written as it is made, so the output takes no memory that grows with the findings.
void write_diagnostics_json(std::ostream& out,
                            std::vector<install::cpputil::InputFileDiagnostic> const& found);

/// Writes the codes as one JSON array of {code, severity, meaning} objects, laid out as
/// write_diagnostics_json lays out findings.
void write_codes_json(std::ostream& out,
                      std::vector<install::cpputil::InputFileDiagnosticCode> const& codes);

}  // namespace qx::tools
