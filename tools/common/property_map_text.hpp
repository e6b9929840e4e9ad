#pragma once

#include <ostream>

#include "install/cpputil/input_file_parser.hpp"

namespace qx::tools {

/// Writes the map in its order, one line per value in UTF-8: a single value as "key=value",
/// each list entry as "key[]=entry". The text reads back unambiguously: in keys and values a
/// backslash is written as \\ and control characters as append_escaped shows them (\t, \n,
/// \r, \xHH, \u00HH), and in keys '[', ']' and '=' are written as \[, \] and \=, so the first
/// '=' without a backslash ends the key and "[]=" before it marks a list entry. An empty map
/// writes nothing.
void write_text(std::ostream& out, install::cpputil::PropertyMap const& map);

/// Writes the map as one JSON object in the map's order (UTF-16 code units): a single value
/// as a string, a list as an array of strings; indented by two blanks, ended by a newline.
/// Strings are escaped by append_json_string.
void write_json(std::ostream& out, install::cpputil::PropertyMap const& map);

}  // namespace qx::tools
