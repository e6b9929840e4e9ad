#pragma once

// checkInputFile of a text held in memory: what the template writer asks of each line it
// considers writing. Internal to the library.

#include <map>
#include <string>
#include <string_view>

#include "install/cpputil/input_file_diagnostics.hpp"

namespace install::cpputil::text_check {

/// What checkInputFile reports for a file that holds exactly `text`.
[[nodiscard]] InputFileReport check_text(std::string_view text,
                                         std::map<std::string, std::string> const& rules);

}  // namespace install::cpputil::text_check
