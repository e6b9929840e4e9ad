#pragma once

#include <boost/log/sinks/sync_frontend.hpp>

#include "support/support.hpp"

namespace qx::test {

/// Enables `levels` on the trace channel `channel` and collects its records through a
/// Boost.Log sink until the scope ends; the channel's mask is 0 again afterwards. Each record's
/// message is also handed to `forward`, if given, as a sink that logs what it receives would.
class TraceCapture {
 public:
  explicit TraceCapture(std::string channel, unsigned levels = 4U | 8U,
                        std::function<void(std::string const&)> forward = {});
  ~TraceCapture();
  TraceCapture(TraceCapture const&) = delete;
  TraceCapture& operator=(TraceCapture const&) = delete;
  /// The records so far whose message starts with `prefix`, in order, each its level followed
  /// by its message with times as untimed() writes them ("4 msg=x").
  [[nodiscard]] std::vector<std::string> lines(std::string const& prefix = "") const;
  void clear();

 private:
  struct collector;
  boost::shared_ptr<boost::log::sinks::synchronous_sink<collector>> sink_;
};

}  // namespace qx::test
