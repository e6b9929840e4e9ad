// log and log-file: entries in the installation log.
#include <CLI/CLI.hpp>
#include <chrono>
#include <iostream>
#include <memory>

#include "cli.hpp"
#include "escape.hpp"
#include "fl/filesystem.hpp"

namespace qx::cli {
namespace {

namespace logger = install::cpputil::logger;

// Runs `write` with a write failure handler in place, then throws CommandError (exit 1) with
// the system's reason when an entry it wrote was dropped. A log that could not be kept bounded
// is said on stderr, one line each, and fails nothing.
template <class Write>
void write_entry(char const* command, Write&& write) {
  std::optional<logger::WriteFailure> dropped;
  std::vector<logger::WriteFailure> unkept;
  struct Restore {
    logger::WriteFailureHandler previous;
    ~Restore() { logger::set_write_failure_handler(std::move(previous)); }
  } const restore{
      logger::set_write_failure_handler([&dropped, &unkept](logger::WriteFailure const& failure) {
        using Step = logger::WriteFailure::Step;
        if (failure.step == Step::rotate || failure.step == Step::remove)
          unkept.push_back(failure);
        else if (!dropped)
          dropped = failure;
      })};
  write();
  for (logger::WriteFailure const& failure : unkept) {
    bool const rotate = failure.step == logger::WriteFailure::Step::rotate;
    std::cerr << "qxinstall " << command << ": "
              << tools::excerpt(fl::i18n::ustring_to_utf8(failure.file.string()))
              << (rotate ? ": not rotated: " : ": not removed: ")
              << fl::filesystem::failure_reason({failure.error, std::generic_category()}) << '\n';
  }
  if (dropped) {
    throw CommandError("the entry was dropped: " + fl::filesystem::failure_reason(
                                                       {dropped->error, std::generic_category()}),
                       exit_failed);
  }
}

// What the --keep- options take: a whole number, 0 or more, of at most 18 digits.
CLI::Validator whole_number() {
  return {[](std::string& value) {
            bool const fits = !value.empty() && value.size() <= 18 &&
                              value.find_first_not_of("0123456789") == std::string::npos;
            return fits ? std::string()
                        : "expected a whole number of 0 or more (at most 18 digits), got " +
                              in_quotes(value);
          },
          ""};
}

Handler setup_log(CLI::App& app) {
  struct Options {
    std::string log;
    std::vector<std::string> words;
    std::optional<std::uintmax_t> bytes;
    std::optional<std::size_t> files;
    std::optional<unsigned> days;
  };
  auto options = std::make_shared<Options>();
  app.add_option("--to", options->log, "log file (default: the per-user log in the temp folder)")
      ->type_name("FILE");
  app.add_option("--keep-bytes", options->bytes,
                 "rotate the log first when it is larger (0: no limit)")
      ->type_name("N")
      ->check(whole_number());
  app.add_option("--keep-files", options->files,
                 "keep this many time-stamped old logs beside it (0: no limit)")
      ->type_name("N")
      ->check(whole_number());
  app.add_option("--keep-days", options->days, "remove old logs unchanged for longer (0: no limit)")
      ->type_name("N")
      ->check(whole_number());
  app.add_option("MESSAGE", options->words, "words of the message, joined by blanks")->required();
  app.footer(
      "With --keep-bytes, --keep-files or --keep-days the entry starts a run kept bounded, as a\n"
      "Logger with a RetentionPolicy: install.log larger than N bytes becomes\n"
      "install.<UTC time>.log and a new install.log is started; old ones beyond the count\n"
      "or age are removed. A log that cannot be rotated is said on stderr and fails nothing.");
  return [options] {
    std::optional<logger::RetentionPolicy> policy;
    if (options->bytes || options->files || options->days)
      policy = logger::RetentionPolicy{options->bytes.value_or(0), options->files.value_or(0),
                                       std::chrono::days(options->days.value_or(0))};
    std::string message;
    for (std::string const& word : options->words) message += (message.empty() ? "" : " ") + word;
    write_entry("log", [&] {
      auto const log = open_log(options->log, policy);
      logger::append_message(message);
    });
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
    write_entry("log-file", [&options] {
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
