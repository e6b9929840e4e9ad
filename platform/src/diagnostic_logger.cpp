#include "foundation/log/diagnostic_logger.hpp"

#include <map>
#include <memory>
#include <mutex>

#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>

namespace foundation::log {
namespace {

// Level masks by channel name. Entries are never removed, so a channel may keep a pointer
// to its mask for its whole life, and set_enabled_levels may name a channel built later.
class level_registry {
 public:
  std::atomic<unsigned>* mask_for(std::string const& name) {
    std::lock_guard lock(mutex_);
    auto& slot = masks_[name];
    if (!slot) slot = std::make_unique<std::atomic<unsigned>>(0U);
    return slot.get();
  }

 private:
  std::mutex mutex_;
  std::map<std::string, std::unique_ptr<std::atomic<unsigned>>> masks_;
};

level_registry& registry() {
  static level_registry instance;
  return instance;
}

}  // namespace

struct basic_diagnostic_logger<char>::impl {
  boost::log::sources::severity_channel_logger_mt<unsigned, std::string> source;
  explicit impl(std::string const& channel) : source(boost::log::keywords::channel = channel) {}
};

basic_diagnostic_logger<char>::basic_diagnostic_logger(std::string name)
    : mask_(registry().mask_for(name)), impl_(std::make_unique<impl>(name)) {}

basic_diagnostic_logger<char>::~basic_diagnostic_logger() = default;

void basic_diagnostic_logger<char>::write(unsigned level, std::string_view message) const {
  auto& source = impl_->source;
  if (auto record = source.open_record(boost::log::keywords::severity = level)) {
    boost::log::record_ostream stream(record);
    stream << message;
    stream.flush();
    source.push_record(std::move(record));
  }
}

void set_enabled_levels(std::string const& channel, unsigned mask) {
  registry().mask_for(channel)->store(mask, std::memory_order_relaxed);
}

}  // namespace foundation::log
