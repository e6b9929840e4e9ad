#pragma once

// Keeping a log bounded when a run starts on it: the names of its time-stamped siblings, the
// rotation under the log's lock, and the removal of old siblings (logger.hpp, RetentionPolicy).

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "fl/folder.hpp"
#include "fl/path.hpp"
#include "install/cpputil/logger.hpp"

namespace install::cpputil::logger::retention {

/// "2026-11-25T08-05-35Z": `time` in UTC as siblings' names carry it.
[[nodiscard]] std::string utc_stamp(std::chrono::system_clock::time_point time);

/// What the names of a log's siblings share: "install" and ".log" for "install.log", and for a
/// per-run log "install-<stamp>-<pid>.log" too.
struct family {
  std::string stem;
  std::string extension;
};
[[nodiscard]] family family_of(std::string_view name);

/// Where a sibling stands in its family's history: by its stamp, then its number (the count of
/// a rotation within one second, or a per-run log's process id).
struct sibling {
  std::string name;
  std::string stamp;
  unsigned long long number = 0;
  bool per_run = false;
  friend bool operator<(sibling const& a, sibling const& b);
};
/// The sibling that `name` is in `of`, if it is one.
[[nodiscard]] std::optional<sibling> sibling_of(std::string_view name, family const& of);

/// What starting a run on a log did.
struct run_start {
  /// The shared lock of the run, when the log is a regular file whose lock could be taken.
  std::optional<fl::filesystem::file_lock> lock;
  /// Why the log did not open, as a Logger's open step reports it; empty when it did.
  std::error_code open_error;
  /// The renames and removals that failed, to be reported once the destination is set.
  std::vector<WriteFailure> failures;
};

/// Opens the log at `real_path` (a judged destination: absolute, its folder resolved; through
/// no link and private when `careful`), rotates it under its exclusive lock when `policy` asks
/// and `may_rotate`, leaves it holding the run's shared lock, then removes old siblings.
/// `named` is the log as the caller named it, for the failures.
[[nodiscard]] run_start start_run(fl::filesystem::basic_path const& named,
                                  fl::filesystem::basic_path const& real_path, bool careful,
                                  RetentionPolicy const& policy, bool may_rotate);

}  // namespace install::cpputil::logger::retention
