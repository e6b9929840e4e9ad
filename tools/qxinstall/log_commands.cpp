// log and log-file: entries in the installation log.
#include <CLI/CLI.hpp>
#include <memory>

#include "cli.hpp"

namespace qx::cli {
namespace {

namespace logger = install::cpputil::logger;

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
    logger::append_message(message);
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
    try {
      if (options->redact.empty()) {
        logger::append_file(options->file);
      } else {
        logger::append_file_redacted(fl::i18n::utf8_to_ustring(options->file), options->redact);
      }
    } catch (std::runtime_error const& error) {
      throw CommandError(options->file + ": " + error.what(), exit_usage);
    }
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
