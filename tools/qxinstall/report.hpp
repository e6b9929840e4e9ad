#pragma once

// What the report command hands to its HTML page (report_html.cpp).

#include <cstdint>
#include <string>
#include <vector>

#include "install/cpputil/log_reader.hpp"

namespace qx::cli {

/// A failure signature of the fleet: how many runs show it, and where it was seen first.
struct FleetSignature {
  std::string signature;
  std::uint64_t runs = 0;
  std::string path;
  std::uint64_t line = 0;
};

/// A log the report read, with its summary.
struct ReportedLog {
  std::string path;
  install::cpputil::LogSummary summary;
};

/// One self-contained HTML page for the logs and the fleet's signatures: no request leaves it,
/// every text from a log is escaped. Each log is read once more for its runs' timelines.
[[nodiscard]] std::string report_html(std::vector<ReportedLog> const& logs,
                                      std::vector<FleetSignature> const& signatures);

}  // namespace qx::cli
