#pragma once

// The report of an installation log's summary, as `qxinstall report` prints it and the
// walkthrough shows it: a text block per log for a ticket, a JSON object per log, and the
// failure signature that groups the same failure across a fleet of logs. Every text from the
// log is escaped for where it goes.

#include <cstdint>
#include <string>
#include <string_view>

#include "install/cpputil/log_reader.hpp"

namespace qx::tools {

/// True when every run of the log succeeded and no secret leaked.
[[nodiscard]] bool log_passed(install::cpputil::LogSummary const& summary);

/// Appends the text block of the log `path`: its runs, each with its outcome, product, times,
/// duration, first failure and the entries before it, the other failures, longest gaps, copied
/// files and leaks, each with its line.
void append_log_text(std::string& out, std::string_view path,
                     install::cpputil::LogSummary const& summary);

/// Appends the JSON object of the log `path` ({"path", "runs": [...]}), indented to sit in the
/// "logs" array of the report's document.
void append_log_json(std::string& out, std::string_view path,
                     install::cpputil::LogSummary const& summary);

/// A duration for a reader: "0.002 s", "189 s", "3725 s (1 h 2 min 5 s)".
[[nodiscard]] std::string duration_text(double seconds);

/// A time as ISO 8601: "2026-11-16T14:50:09", with the run's offset ("+09:00") when the run
/// gave its zone.
[[nodiscard]] std::string iso_time(std::chrono::local_seconds local,
                                   std::optional<std::chrono::sys_seconds> utc);

/// The failure's first line with what varies from one machine to the next replaced: quoted
/// text by '<text>', paths and URLs by <path>, hex runs by <hex>, numbers by <n>; at most 200
/// bytes.
[[nodiscard]] std::string failure_signature(std::string_view message);

}  // namespace qx::tools
