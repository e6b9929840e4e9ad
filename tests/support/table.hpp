#pragma once

#include <string>
#include <vector>

namespace qx::test {

/// Rows of tests/data/<name>: one row per line, fields separated by a TAB. Lines that are
/// empty or start with '#' are skipped. In fields, \t \n \r \v \f \0 \\ and \xHH stand for
/// the byte they name, and a field of exactly \e is the empty text. Throws when the file is
/// missing, so a renamed table cannot pass by being empty.
[[nodiscard]] std::vector<std::vector<std::string>> read_table(std::string const& name);

}  // namespace qx::test
