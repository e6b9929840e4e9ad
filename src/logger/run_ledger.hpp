#pragma once

// What the entries that open and close a run need from the log's writer: the entries this
// process lost, and the file entries go to now.

#include "fl/path.hpp"
#include "install/cpputil/logger.hpp"

namespace install::cpputil::logger::ledger {

/// Counts an entry that did not reach the log whole, for the next end_run. Any thread.
void note_lost_entry(WriteFailure const& failure) noexcept;

/// The file entries go to now: the destination, or the per-user default log file.
[[nodiscard]] fl::filesystem::basic_path current_log_file();

}  // namespace install::cpputil::logger::ledger
