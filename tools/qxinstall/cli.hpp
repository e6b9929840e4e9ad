#pragma once

// What every qxinstall subcommand shares: exit codes, the error that ends a command, the
// registration entry, and the helpers that open the user's files.

#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "install/cpputil/input_file_diagnostics.hpp"
#include "install/cpputil/logger.hpp"

namespace CLI {
class App;
}

namespace qx::cli {

inline constexpr int exit_ok = 0;
inline constexpr int exit_failed = 1;
inline constexpr int exit_usage = 2;

/// Ends a command with a one-line message on stderr and the given exit status.
class CommandError : public std::runtime_error {
 public:
  CommandError(std::string const& message, int status)
      : std::runtime_error(message), status_(status) {}
  [[nodiscard]] int status() const noexcept { return status_; }

 private:
  int status_;
};

/// Runs a parsed subcommand and returns its exit status; may throw CommandError.
using Handler = std::function<int()>;

/// One subcommand: its name and summary, and `setup`, which adds its options to its CLI11
/// app and returns the handler that runs it once they are parsed.
struct Command {
  char const* name;
  char const* summary;
  std::function<Handler(CLI::App& app)> setup;
};

/// Every subcommand, in the order of the help text (commands.cpp).
[[nodiscard]] std::vector<Command> commands();

/// The commands of each group (one source file each).
[[nodiscard]] std::vector<Command> input_commands();
[[nodiscard]] std::vector<Command> log_commands();
[[nodiscard]] std::vector<Command> host_commands();
[[nodiscard]] std::vector<Command> ordering_commands();
[[nodiscard]] std::vector<Command> writer_commands();
[[nodiscard]] std::vector<Command> report_commands();

/// An argument as an error message echoes it: its excerpt (escaped, cut) in double quotes.
[[nodiscard]] std::string in_quotes(std::string_view text);

/// `path`, or CommandError (exit 2) when it is not UTF-8: the library takes UTF-16 names, and
/// replacing the bad bytes by U+FFFD could name another file. The message shows the bad bytes
/// as \xHH, for the same reason.
std::string const& utf8_name(std::string const& path);

/// `error`'s text, then the system's reason in parentheses when the library nested one in it.
[[nodiscard]] std::string text_of(std::exception const& error);

/// The report of the input file `path`, opened once by the library; CommandError (exit 2)
/// naming the file, with the system's reason, when it is missing or cannot be read (a folder,
/// a FIFO, no permission). `rules` as checkInputFile takes them.
[[nodiscard]] install::cpputil::InputFileReport check_input_file(
    std::string const& path, std::map<std::string, std::string> const& rules = {});

/// The rules of the rules file `path` (none for an empty path), read by the library. When it
/// finds mistakes (the file unreadable, a line not key=rule, a key given two rules), each is
/// written to stderr as "<command>: FILE:LINE: message" and the last ends the command as a
/// CommandError (exit 2).
[[nodiscard]] std::map<std::string, std::string> read_rules(std::string const& path,
                                                            std::string_view command);

/// CommandError (exit 2) with check's finding, "FILE:LINE:COLUMN: error: message [code]", when
/// the report says the file is not UTF-8 text (not-utf8, or invalid-utf8 for the first line
/// that holds such bytes): what the library read from it is not what its author wrote.
void refuse_unless_utf8(std::string const& path, install::cpputil::InputFileReport const& report);

/// Points the installation log at `path` for the command's lifetime when a path is given, kept
/// bounded by `policy` when one is given (without a path, the per-user default log is then the
/// destination); CommandError (exit 2) with the library's text and reason when the Logger
/// cannot be made.
[[nodiscard]] std::optional<install::cpputil::logger::Logger> open_log(
    std::string const& path,
    std::optional<install::cpputil::logger::RetentionPolicy> const& policy = std::nullopt);

}  // namespace qx::cli
