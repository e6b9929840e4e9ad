#pragma once

/// \file
/// An input file checked line by line: the same map InputFileParser::parse returns, beside every
/// line the parser ignores or reads surprisingly and every value that fails its rule, each with
/// its line, column, severity and code; and the table of those codes.

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "install/cpputil/export.hpp"
#include "install/cpputil/input_file_parser.hpp"

namespace install::cpputil {

/// How much a finding in an input file matters.
enum class DiagnosticSeverity { error, warning, note };

/// One finding in an input file.
struct InputFileDiagnostic {
  /// 1-based, counting every physical line of the file; 0 for the file as a whole.
  std::size_t line = 0;
  /// 1-based byte offset in that line (line feed excluded) where the fault begins, as
  /// compilers count; 0 when the finding concerns the whole line, and always 0 on line 0.
  std::size_t column = 0;
  /// error, warning or note.
  DiagnosticSeverity severity = DiagnosticSeverity::error;
  /// What was found, such as "ignored-line" or "rule-failed".
  std::string code;
  /// English: what was found, what the parser did with it and what to write instead. Text
  /// from the file or the rules appears with control bytes escaped C-style (backslash r,
  /// backslash x01), so a message holds no control character.
  std::string message;

  /// Equal when every field is.
  friend bool operator==(InputFileDiagnostic const&, InputFileDiagnostic const&) = default;
};

/// A line of an input file.
struct InputFileLine {
  /// Its number, 1-based, counting every physical line.
  std::size_t line = 0;
  /// Its text, trimmed as the parser reads it.
  std::string text;

  /// Equal when every field is.
  friend bool operator==(InputFileLine const&, InputFileLine const&) = default;
};

/// An input file read with diagnostics.
struct InputFileReport {
  /// Exactly what InputFileParser::parse returns for the same file.
  PropertyMap properties;
  /// Every finding, ordered by line (findings of one line in the order they were made).
  std::vector<InputFileDiagnostic> diagnostics;
  /// The errno of the open or read that failed when the file could not be read, or not to
  /// its end (the unreadable-file finding says so in words); 0 when it was read whole.
  int error = 0;
  /// Every line that holds content (neither blank nor a comment) but changes nothing in the map,
  /// in file order, each with an error finding that says why: what a file written from the map
  /// lacks. Empty for a file that is not UTF-8 (its one finding says so).
  std::vector<InputFileLine> ignored;

  /// Equal when every field is.
  friend bool operator==(InputFileReport const&, InputFileReport const&) = default;
};

/// One kind of finding that checkInputFile reports.
struct InputFileDiagnosticCode {
  /// The code, such as "rule-failed".
  std::string code;
  /// The severity of every finding with this code.
  DiagnosticSeverity severity = DiagnosticSeverity::error;
  /// What the code means, in one line of English.
  std::string meaning;

  /// Equal when every field is.
  friend bool operator==(InputFileDiagnosticCode const&, InputFileDiagnosticCode const&) = default;
};

/// Every code that checkInputFile reports, each with its severity and meaning, in a fixed order
/// (the order of the list below). Never throws but for allocation.
[[nodiscard]] QX_CPPUTIL_API std::vector<InputFileDiagnosticCode> inputFileDiagnosticCodes();

/// Reads `fileName` exactly as InputFileParser::parse does and reports, beside the same map,
/// every line the parser ignores or reads surprisingly. A file saved as UTF-16 or UTF-32 (with
/// or without a byte-order mark) gives the single error not-utf8 on line 0 and nothing else,
/// since every other finding would follow from it. With `rules` (as validate_args takes them;
/// empty means none) it also reports every single value that fails its rule, keys without a
/// rule (with the one nearest rule key, if any: blanks, hyphens and underscores are ignored,
/// case too, and a swap of neighbouring letters is one edit), rules of an unknown kind, rule
/// keys missing from the file, and rule keys that no input key can equal (upper-case ASCII
/// letters, whitespace at an end). Rule keys are indexed when there are many, so that a key's
/// suggestion takes time that grows with its length, not with the number of rule keys that
/// share its letters (keys of more than 20 bytes are compared with each rule key of about their
/// length). When most lines of the file are ignored (at least 5, and more than half), the first
/// finding says the file does not look like an answer file. Writes nothing to the installation
/// log and traces nothing.
/// Throws std::runtime_error "input file does not exist!" for a missing file or an empty name,
/// as parse does. A file that cannot be opened (not a regular file, no permission), or whose
/// read fails part-way, gives an unreadable-file error on line 0 with the system's reason, and
/// its errno in InputFileReport::error, beside the map parse returns for it (empty, or what was
/// read before the failure).
///
/// The codes, as inputFileDiagnosticCodes() lists them with their severity and meaning:
/// `not-utf8`, `unreadable-file`, `not-an-answer-file`, `byte-order-mark`,
/// `stray-byte-order-mark`, `invalid-utf8`, `carriage-return-line-end`, `carriage-return`,
/// `ignored-line`, `foreign-comment`, `section-header`, `colon-separator`, `empty-key`,
/// `list-key-assignment`, `list-line-ignored`, `empty-list-entry`, `duplicate-key`,
/// `bracket-in-key`, `unlikely-key`, `comment-in-value`, `rule-failed`, `quoted-value`,
/// `trailing-text`, `unknown-key`, `unknown-rule`, `unmatchable-rule-key`, `missing-key`.
[[nodiscard]] QX_CPPUTIL_API InputFileReport
checkInputFile(ustring const& fileName, std::map<std::string, std::string> const& rules = {});

/// "error", "warning" or "note".
[[nodiscard]] QX_CPPUTIL_API char const* toString(DiagnosticSeverity severity) noexcept;

}  // namespace install::cpputil
