// The entries that open and close a run, and the count of lost entries between them.
#include <atomic>
#include <charconv>
#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "fl/filesystem.hpp"
#include "fl/text.hpp"
#include "install/cpputil/logger.hpp"
#include "install/platformutil/platform_utility.hpp"
#include "logger/run_ledger.hpp"

namespace install::cpputil::logger {
namespace {

// The run this process opened last. Lost entries are counted apart from the lock: a failing
// write may come from any thread at any time.
std::atomic<unsigned long long> lost_entries{0};
std::atomic<int> last_loss_error{0};
std::mutex run_mutex;
std::optional<std::chrono::steady_clock::time_point> run_started;

// "name: value", the value on one line whatever it holds.
void add_fact(std::string& entry, std::string_view name, std::string_view value) {
  entry += '\n';
  entry += name;
  entry += ": ";
  fl::text::append_escaped(entry, value);
}

// strftime's "+0900 JST" as "+09:00 JST".
std::string local_zone(install::platformutil::PlatformUtility const& platform) {
  std::string const zone = platform.getPlatformCurrentTime("%z %Z");
  if (zone.size() < 5 || (zone[0] != '+' && zone[0] != '-')) return zone;
  return zone.substr(0, 3) + ':' + zone.substr(3);
}

char const* outcome_text(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::succeeded:
      return "succeeded";
    case RunOutcome::failed:
      return "failed";
    case RunOutcome::cancelled:
      return "cancelled";
  }
  return "failed";
}

}  // namespace

void ledger::note_lost_entry(WriteFailure const& failure) noexcept {
  last_loss_error.store(failure.error, std::memory_order_relaxed);
  lost_entries.fetch_add(1, std::memory_order_relaxed);
}

void begin_run(RunInfo const& info) {
  install::platformutil::PlatformUtility const platform;
  {
    std::lock_guard lock(run_mutex);
    run_started = std::chrono::steady_clock::now();
    lost_entries.store(0, std::memory_order_relaxed);
    last_loss_error.store(0, std::memory_order_relaxed);
  }
  std::string entry = "Installation run started";
  add_fact(entry, "product", info.product);
  add_fact(entry, "version", info.version);
  add_fact(entry, "process", std::to_string(platform.getPlatformProcessId()));
  add_fact(entry, "user", platform.getPlatformUserName());
  add_fact(entry, "host", platform.getPlatformHostName());
  add_fact(entry, "time zone", local_zone(platform));
  add_fact(entry, "log", fl::i18n::ustring_to_utf8(ledger::current_log_file().string()));
  append_message(entry);
}

void end_run(RunOutcome outcome) {
  std::string entry = "Installation run ended: ";
  entry += outcome_text(outcome);
  {
    std::lock_guard lock(run_mutex);
    if (run_started) {
      std::chrono::duration<double> const took = std::chrono::steady_clock::now() - *run_started;
      // Whatever the C locale's decimal point is, the reader reads a '.'.
      char seconds[32];
      char* const end = std::to_chars(seconds, seconds + sizeof seconds, took.count(),
                                      std::chars_format::fixed, 3)
                            .ptr;
      add_fact(entry, "duration", std::string(seconds, end) + " s");
    }
  }
  unsigned long long const lost = lost_entries.load(std::memory_order_relaxed);
  std::string losses = std::to_string(lost);
  if (lost > 0) {
    losses += ", the last: ";
    losses += fl::filesystem::failure_reason(
        {last_loss_error.load(std::memory_order_relaxed), std::generic_category()});
  }
  add_fact(entry, "lost entries", losses);
  append_message(entry);
}

}  // namespace install::cpputil::logger
