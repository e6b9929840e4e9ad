#include "support/trace_capture.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>

#include "foundation/log/diagnostic_logger.hpp"

namespace qx::test {
namespace {

class collecting_backend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
 public:
  explicit collecting_backend(std::string channel) : channel_(std::move(channel)) {}

  void consume(boost::log::record_view const& rec) {
    auto channel = boost::log::extract<std::string>("Channel", rec);
    if (!channel || *channel != channel_)
      return;
    TraceRecord record;
    record.channel = *channel;
    record.severity = boost::log::extract_or_default<unsigned>("Severity", rec, 0U);
    record.message = boost::log::extract_or_default<std::string>("Message", rec, std::string());
    std::lock_guard lock(mutex_);
    records_.push_back(std::move(record));
  }

  std::vector<TraceRecord> records() const {
    std::lock_guard lock(mutex_);
    return records_;
  }

  void clear() {
    std::lock_guard lock(mutex_);
    records_.clear();
  }

 private:
  std::string channel_;
  mutable std::mutex mutex_;
  std::vector<TraceRecord> records_;
};

using sink_t = boost::log::sinks::synchronous_sink<collecting_backend>;

}  // namespace

struct TraceCapture::impl {
  std::string channel;
  boost::shared_ptr<collecting_backend> backend;
  boost::shared_ptr<sink_t> sink;
};

TraceCapture::TraceCapture(std::string channel, unsigned levels) : impl_(std::make_unique<impl>()) {
  impl_->channel = std::move(channel);
  impl_->backend = boost::make_shared<collecting_backend>(impl_->channel);
  impl_->sink = boost::make_shared<sink_t>(impl_->backend);
  boost::log::core::get()->add_sink(impl_->sink);
  foundation::log::set_enabled_levels(impl_->channel, levels);
}

TraceCapture::~TraceCapture() {
  foundation::log::set_enabled_levels(impl_->channel, 0);
  boost::log::core::get()->remove_sink(impl_->sink);
}

std::vector<TraceRecord> TraceCapture::records() const {
  return impl_->backend->records();
}

std::vector<std::string> TraceCapture::messages() const {
  std::vector<std::string> out;
  for (auto& record : records())
    out.push_back(record.message);
  return out;
}

void TraceCapture::clear() {
  impl_->backend->clear();
}

}  // namespace qx::test
