#pragma once

// How the tool and the examples print text that comes from outside (file names, arguments,
// keys, values): on one line, every character visible, so that no such text can forge a line
// of output or move a terminal's cursor. A thin layer over fl::text, which holds the rules.

#include <cstddef>
#include <string>
#include <string_view>

namespace qx::tools {

/// Appends `text` to `out` with every character shown: tab, line feed and carriage return as
/// \t, \n and \r; the other C0 controls and DEL as \xHH; the C1 controls (U+0080 to U+009F) as
/// \u00HH; each byte that is not part of well-formed UTF-8 as \xHH; each byte of `also` (ASCII)
/// as a backslash and the byte. Everything else passes unchanged, so text that holds no control
/// character and is well-formed UTF-8 is appended as it is. A backslash is escaped only when
/// `also` holds it: with it the result reads back unambiguously, without it escaping twice
/// changes nothing.
void append_escaped(std::string& out, std::string_view text, std::string_view also = {});

/// `text` escaped by append_escaped, nothing else.
[[nodiscard]] std::string escaped(std::string_view text);

/// What an error message shows of an argument or a line it echoes: at most 200 bytes of
/// `text` (cut at a character boundary), escaped, then "... (N bytes)" when `text` was longer.
[[nodiscard]] std::string excerpt(std::string_view text);

/// Appends `utf8` as one JSON string, in double quotes: '"' and '\' with a backslash, \b, \f,
/// \n, \r and \t by name, the other C0 controls, DEL and the C1 controls as \u00hh, the rest
/// unchanged. Text that is not well-formed UTF-8 first has each ill-formed sequence replaced by
/// U+FFFD, as fl::i18n converts it, so the result is always valid JSON.
void append_json_string(std::string& out, std::string_view utf8);

}  // namespace qx::tools
