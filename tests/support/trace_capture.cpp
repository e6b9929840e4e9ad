#include "support/trace_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>

#include "foundation/log/diagnostic_logger.hpp"

namespace qx::test {

namespace logging = boost::log;

// Keeps the level and message of each record of one channel; the frontend serialises access.
struct TraceCapture::collector
    : logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
  std::string channel;
  std::vector<std::pair<unsigned, std::string>> records;
  std::function<void(std::string const&)> forward;
  void consume(logging::record_view const& record) {
    if (logging::extract_or_default<std::string>("Channel", record, std::string()) != channel)
      return;
    auto const message = logging::extract_or_default<std::string>("Message", record, std::string());
    records.emplace_back(logging::extract_or_default<unsigned>("Severity", record, 0U), message);
    if (forward) forward(message);  // the frontend's mutex is recursive: it may trace again
  }
};

TraceCapture::TraceCapture(std::string channel, unsigned levels,
                           std::function<void(std::string const&)> forward)
    : sink_(boost::make_shared<logging::sinks::synchronous_sink<collector>>()) {
  sink_->locked_backend()->channel = channel;
  sink_->locked_backend()->forward = std::move(forward);
  logging::core::get()->add_sink(sink_);
  foundation::log::set_enabled_levels(channel, levels);
}

TraceCapture::~TraceCapture() {
  foundation::log::set_enabled_levels(sink_->locked_backend()->channel, 0);
  logging::core::get()->remove_sink(sink_);
}

std::vector<std::string> TraceCapture::lines(std::string const& prefix) const {
  std::vector<std::string> out;
  for (auto const& [level, message] : sink_->locked_backend()->records)
    if (message.starts_with(prefix)) out.push_back(std::to_string(level) + untimed(message));
  return out;
}

void TraceCapture::clear() {
  sink_->locked_backend()->records.clear();
}

}  // namespace qx::test
