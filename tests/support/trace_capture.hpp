#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace qx::test {

/// One captured trace record.
struct TraceRecord {
  std::string channel;
  unsigned severity = 0;
  std::string message;
  friend bool operator==(TraceRecord const&, TraceRecord const&) = default;
};

/// Enables `levels` on the channel `channel` and collects its records through a Boost.Log
/// sink for the object's lifetime; afterwards the channel's mask is 0 again.
class TraceCapture {
 public:
  explicit TraceCapture(std::string channel, unsigned levels = 4U | 8U);
  ~TraceCapture();
  TraceCapture(TraceCapture const&) = delete;
  TraceCapture& operator=(TraceCapture const&) = delete;

  /// The records captured so far, in order.
  [[nodiscard]] std::vector<TraceRecord> records() const;
  /// The messages captured so far, in order.
  [[nodiscard]] std::vector<std::string> messages() const;
  /// Forgets what was captured.
  void clear();

 private:
  struct impl;
  std::unique_ptr<impl> impl_;
};

}  // namespace qx::test
