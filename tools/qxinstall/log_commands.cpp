// log and log-file: entries in the installation log.
#include <CLI/CLI.hpp>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <memory>

#include "cli.hpp"
#include "foundation/log/diagnostic_logger.hpp"

namespace qx::cli {
namespace {

namespace logger = install::cpputil::logger;
namespace logging = boost::log;

// The library reports a dropped entry only on the log's trace channel, as "failed to open
// destination_file for u8msg <entry>" or "failed to write ...": this sink listens there
// while a command writes, so that the command can fail when its own entry was lost.
class DroppedEntries
    : public logging::sinks::basic_sink_backend<logging::sinks::synchronized_feeding> {
 public:
  void consume(logging::record_view const& record) {
    std::string const message =
        logging::extract_or_default<std::string>("Message", record, std::string());
    if (message.starts_with("failed to ") && reason_.empty())
      reason_ = message.substr(0, message.find(" for u8msg"));
  }
  [[nodiscard]] std::string const& reason() const { return reason_; }

 private:
  std::string reason_;
};

// Runs `write`, then throws CommandError (exit 1) with the trace's reason when an entry it
// wrote was dropped.
template <class Write>
void write_entry(Write&& write) {
  constexpr char const* channel = "install::cpputil::logger";
  auto const sink = boost::make_shared<logging::sinks::synchronous_sink<DroppedEntries>>();
  sink->set_filter(logging::expressions::attr<std::string>("Channel") == channel);
  logging::core::get()->add_sink(sink);
  foundation::log::set_enabled_levels(channel, foundation::log::info_level);
  struct Detach {
    decltype(sink) const& attached;
    ~Detach() {
      foundation::log::set_enabled_levels(channel, 0);
      logging::core::get()->remove_sink(attached);
    }
  } const detach{sink};
  write();
  std::string const reason = sink->locked_backend()->reason();
  if (!reason.empty()) throw CommandError("the entry was dropped: " + reason, exit_failed);
}

Handler setup_log(CLI::App& app) {
  struct Options {
    std::string log;
    std::vector<std::string> words;
  };
  auto options = std::make_shared<Options>();
  app.add_option("--to", options->log, "log file (default: the per-user log in the temp folder)")
      ->type_name("FILE");
  app.add_option("MESSAGE", options->words, "words of the message, joined by blanks")->required();
  return [options] {
    auto const log = open_log(options->log);
    std::string message;
    for (std::string const& word : options->words) message += (message.empty() ? "" : " ") + word;
    write_entry([&message] { logger::append_message(message); });
    return exit_ok;
  };
}

Handler setup_log_file(CLI::App& app) {
  struct Options {
    std::string log;
    std::string file;
    std::vector<std::string> redact;
  };
  auto options = std::make_shared<Options>();
  app.add_option("--to", options->log, "log file")->required()->type_name("FILE");
  app.add_option("PATH", options->file, "text file to copy into the log")->required();
  app.add_option("--redact", options->redact,
                 "input-file keys whose values are written as ********")
      ->delimiter(',')
      ->type_name("KEY[,KEY...]");
  return [options] {
    auto const log = open_log(options->log);
    require_regular_file(options->file);
    write_entry([&options] {
      try {
        if (options->redact.empty()) {
          logger::append_file(options->file);
        } else {
          logger::append_file_redacted(fl::i18n::utf8_to_ustring(options->file), options->redact);
        }
      } catch (std::runtime_error const& error) {
        throw CommandError(options->file + ": " + error.what(), exit_usage);
      }
    });
    return exit_ok;
  };
}

}  // namespace

std::vector<Command> log_commands() {
  return {
      {"log", "Append a message to the installation log", setup_log},
      {"log-file", "Append a text file to the installation log", setup_log_file},
  };
}

}  // namespace qx::cli
