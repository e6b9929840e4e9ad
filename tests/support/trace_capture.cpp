#include "support/trace_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>

#include "foundation/log/diagnostic_logger.hpp"

namespace qx::test {
namespace {

namespace logging = boost::log;

// Keeps the records of one channel; the synchronous frontend serialises every access.
struct collector : logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
  std::string channel;
  std::vector<TraceRecord> records;

  void consume(logging::record_view const& rec) {
    auto name = logging::extract_or_default<std::string>("Channel", rec, std::string());
    if (name != channel) return;
    records.push_back({std::move(name), logging::extract_or_default<unsigned>("Severity", rec, 0U),
                       logging::extract_or_default<std::string>("Message", rec, std::string())});
  }
};

}  // namespace

struct TraceCapture::impl {
  boost::shared_ptr<logging::sinks::synchronous_sink<collector>> sink;
};

TraceCapture::TraceCapture(std::string channel, unsigned levels) : impl_(std::make_unique<impl>()) {
  impl_->sink = boost::make_shared<logging::sinks::synchronous_sink<collector>>();
  impl_->sink->locked_backend()->channel = channel;
  logging::core::get()->add_sink(impl_->sink);
  foundation::log::set_enabled_levels(channel, levels);
}

TraceCapture::~TraceCapture() {
  foundation::log::set_enabled_levels(impl_->sink->locked_backend()->channel, 0);
  logging::core::get()->remove_sink(impl_->sink);
}

std::vector<TraceRecord> TraceCapture::records() const {
  return impl_->sink->locked_backend()->records;
}

std::vector<std::string> TraceCapture::messages() const {
  std::vector<std::string> out;
  for (auto& record : records()) out.push_back(record.message);
  return out;
}

void TraceCapture::clear() {
  impl_->sink->locked_backend()->records.clear();
}

}  // namespace qx::test
