#pragma once

#include <ostream>

#include "install/cpputil/input_file_parser.hpp"

namespace qx::tools {

/// Writes the map in its order: a single value as "key=value", each list entry as
/// "key[]=entry", one per line, in UTF-8.
void write_text(std::ostream& out, install::cpputil::PropertyMap const& map);

/// Writes the map as one JSON object in the map's order (UTF-16 code units): a single value
/// as a string, a list as an array of strings; indented by two blanks, ended by a newline.
void write_json(std::ostream& out, install::cpputil::PropertyMap const& map);

}  // namespace qx::tools
