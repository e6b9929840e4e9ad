#include "support/trace_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>

#include "foundation/log/diagnostic_logger.hpp"

namespace qx::test {

namespace logging = boost::log;

// Keeps the records of one channel as "<level><message>"; the frontend serialises access.
struct TraceCapture::collector
    : logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
  std::string channel;
  std::vector<std::string> lines;
  void consume(logging::record_view const& record) {
    if (logging::extract_or_default<std::string>("Channel", record, std::string()) != channel)
      return;
    lines.push_back(std::to_string(logging::extract_or_default<unsigned>("Severity", record, 0U)) +
                    logging::extract_or_default<std::string>("Message", record, std::string()));
  }
};

TraceCapture::TraceCapture(std::string channel, unsigned levels)
    : sink_(boost::make_shared<logging::sinks::synchronous_sink<collector>>()) {
  sink_->locked_backend()->channel = channel;
  logging::core::get()->add_sink(sink_);
  foundation::log::set_enabled_levels(channel, levels);
}

TraceCapture::~TraceCapture() {
  foundation::log::set_enabled_levels(sink_->locked_backend()->channel, 0);
  logging::core::get()->remove_sink(sink_);
}

std::vector<std::string> TraceCapture::lines() const {
  return sink_->locked_backend()->lines;
}

void TraceCapture::clear() {
  sink_->locked_backend()->lines.clear();
}

}  // namespace qx::test
