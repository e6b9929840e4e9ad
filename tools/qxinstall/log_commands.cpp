// log and log-file: entries in the installation log.
#include <CLI/CLI.hpp>
#include <memory>

#include "cli.hpp"
#include "escape.hpp"
#include "fl/filesystem.hpp"

namespace qx::cli {
namespace {

namespace logger = install::cpputil::logger;

// Runs `write` with a write failure handler in place, then throws CommandError (exit 1) with
// the system's reason when an entry it wrote was dropped.
template <class Write>
void write_entry(Write&& write) {
  std::optional<logger::WriteFailure> dropped;
  struct Restore {
    logger::WriteFailureHandler previous;
    ~Restore() { logger::set_write_failure_handler(std::move(previous)); }
  } const restore{
      logger::set_write_failure_handler([&dropped](logger::WriteFailure const& failure) {
        if (!dropped) dropped = failure;
      })};
  write();
  if (dropped) {
    throw CommandError("the entry was dropped: " + fl::filesystem::failure_reason(dropped->error),
                       exit_failed);
  }
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
    utf8_name(options->file);
    write_entry([&options] {
      try {
        if (options->redact.empty()) {
          logger::append_file(options->file);
        } else {
          logger::append_file_redacted(fl::i18n::utf8_to_ustring(options->file), options->redact);
        }
      } catch (std::runtime_error const& error) {
        throw CommandError(tools::excerpt(options->file) + ": " + text_of(error), exit_usage);
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
