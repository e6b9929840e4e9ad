#pragma once

// Every kind of finding that checkInputFile reports, in one table: its code, its severity and
// what it means in one line. A new kind of finding is one row here; the checker names its row
// by the code (checked when it compiles), and the tool's `check --codes`, the public list and
// the README's table all come from, or are tested against, this table. Internal to the library.

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "install/cpputil/input_file_diagnostics.hpp"

namespace install::cpputil::diagnostic_codes {

/// One kind of finding.
struct code_row {
  std::string_view code;
  DiagnosticSeverity severity;
  std::string_view meaning;
};

inline constexpr code_row codes[] = {
    {"not-utf8", DiagnosticSeverity::error,
     "the file is UTF-16 or UTF-32 text, not UTF-8: nothing in it reads as meant"},
    {"unreadable-file", DiagnosticSeverity::error,
     "the file cannot be read, or not to its end (a folder, a FIFO, no permission, an I/O error)"},
    {"not-an-answer-file", DiagnosticSeverity::error,
     "most lines are ignored: the file is of another format (INI, preseed, a script)"},
    {"byte-order-mark", DiagnosticSeverity::error,
     "the file starts with a UTF-8 byte-order mark, read as part of its first key or line"},
    {"stray-byte-order-mark", DiagnosticSeverity::warning,
     "a UTF-8 byte-order mark inside the file, read as part of its line"},
    {"invalid-utf8", DiagnosticSeverity::error,
     "a line holds bytes that are not UTF-8 (Latin-1 or another legacy encoding): they become "
     "U+FFFD"},
    {"carriage-return-line-end", DiagnosticSeverity::error,
     "a carriage return ends a line (old Mac line ends): the next line is read as part of it"},
    {"carriage-return", DiagnosticSeverity::warning,
     "a carriage return inside a line stays part of its key or value"},
    {"ignored-line", DiagnosticSeverity::error,
     "a line that is neither key=value nor a list line is ignored"},
    {"foreign-comment", DiagnosticSeverity::error,
     "a line starting with ';', '*' or '//' is no comment here: it sets a key or is ignored"},
    {"section-header", DiagnosticSeverity::error,
     "a [section] line is ignored: answer files have no sections"},
    {"colon-separator", DiagnosticSeverity::error, "':' where '=' belongs: the line is ignored"},
    {"empty-key", DiagnosticSeverity::error, "an assignment without a key is ignored"},
    {"list-key-assignment", DiagnosticSeverity::error,
     "an assignment to the list key product or platform is ignored"},
    {"list-line-ignored", DiagnosticSeverity::error,
     "a list line for a key that holds a single value is ignored"},
    {"empty-list-entry", DiagnosticSeverity::warning,
     "a list line without a name adds an empty entry"},
    {"duplicate-key", DiagnosticSeverity::warning,
     "a key assigned again: the last value wins, this one is ignored"},
    {"bracket-in-key", DiagnosticSeverity::warning,
     "a key holds '[' or ']': it is an ordinary key, neither a list nor a section"},
    {"unlikely-key", DiagnosticSeverity::warning,
     "a key holds a blank, a quote or a slash: a line of another format, read as a key"},
    {"comment-in-value", DiagnosticSeverity::note,
     "a value holds \" #\": there are no end-of-line comments, the text stays part of it"},
    {"rule-failed", DiagnosticSeverity::error, "a value fails its rule"},
    {"quoted-value", DiagnosticSeverity::error,
     "a value fails its rule only because of its quotes, which are part of it"},
    {"trailing-text", DiagnosticSeverity::warning,
     "a rule reads only the start of a value and ignores the text after it"},
    {"unknown-key", DiagnosticSeverity::warning, "a key has no rule: its value is never checked"},
    {"unknown-rule", DiagnosticSeverity::warning,
     "a rule of an unknown kind: its key's value is never checked"},
    {"unmatchable-rule-key", DiagnosticSeverity::warning,
     "a rule key no input key can equal (upper-case letters, blanks at an end): never applied"},
    {"missing-key", DiagnosticSeverity::note, "a key has a rule but never appears in the file"},
};

/// The row of `code`; naming a code that has no row does not compile.
[[nodiscard]] consteval code_row const& row(std::string_view code) {
  for (code_row const& candidate : codes) {
    if (candidate.code == code) return candidate;
  }
  throw std::logic_error("no such diagnostic code");
}

}  // namespace install::cpputil::diagnostic_codes
