// qxinstall: the library's services from the command line, for scripts and for trying the
// library out. Exit status: 0 success, 1 a check failed, 2 a usage or input error. Every
// error is one line on stderr that names the command and the file or argument concerned.
#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli.hpp"

namespace {

using namespace qx::cli;

[[nodiscard]] std::string command_name(CLI::App const& app) {
  auto const selected = app.get_subcommands();
  return selected.empty() ? app.get_name() : app.get_name() + " " + selected.front()->get_name();
}

// The one place the tool turns exceptions into an error line and an exit status.
int run_reporting_errors(std::string const& name, Handler const& run) {
  try {
    return run();
  } catch (CommandError const& error) {
    std::cerr << name << ": " << error.what() << '\n';
    return error.status();
  } catch (std::exception const& error) {
    std::cerr << name << ": " << error.what() << '\n';
  } catch (...) {
    std::cerr << name << ": unexpected error\n";
  }
  return exit_usage;
}

// A descriptor 0-2 that the caller closed is taken by /dev/null, so that no file the command
// opens becomes its stdout; output meant for a closed stdout then fails instead of vanishing.
void guard_standard_streams() {
  static struct Failing : std::streambuf {
  } failing;  // overflow() fails every write
  for (int fd = 0; fd <= 2; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    if (::open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY) != fd) std::_Exit(exit_usage);
    if (fd == 1) std::cout.rdbuf(&failing);
    if (fd == 2) std::cerr.rdbuf(&failing);
  }
}

// Output that could not be written must not pass for success (as coreutils do it).
int check_output(int status) {
  errno = 0;
  std::cout.flush();
  if (std::cout && std::fflush(stdout) == 0 && !std::ferror(stdout)) return status;
  int const error = errno != 0 ? errno : EBADF;  // a closed stdout fails without an errno
  std::cerr << "qxinstall: write error: " << std::generic_category().message(error) << '\n';
  return exit_usage;
}

}  // namespace

int main(int argc, char** argv) {
  guard_standard_streams();
  CLI::App app{"Services of libqxinstall_cpputil for scripts and for trying the library out.",
               "qxinstall"};
  app.footer("Exit status: 0 success, 1 a check failed, 2 a usage or input error.");
  app.require_subcommand(1);

  // Each command brings its own options and handler, so none can be parsed and not run.
  std::vector<std::pair<CLI::App*, Handler>> handlers;
  for (Command const& command : commands()) {
    CLI::App* const sub = app.add_subcommand(command.name, command.summary);
    // No "-h": a URL or name that starts with "-h" must not read as a request for help.
    sub->set_help_flag("--help",
                       "Print this help and exit 2, so that no script reads it as success");
    handlers.emplace_back(sub, command.setup(*sub));
  }

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      // A command's 0 means "allowed" or "done": its help exits 2 so that it never passes for it.
      int const status = app.exit(error) == 0 && !app.get_subcommands().empty() ? exit_usage : 0;
      return check_output(status);
    }
    if (app.get_subcommands().empty() && argc > 1 && argv[1][0] != '-') {
      std::cerr << "qxinstall: unknown command " << in_quotes(argv[1])
                << " (see qxinstall --help)\n";
      return exit_usage;
    }
    std::cerr << command_name(app) << ": " << error.what() << " (see " << command_name(app)
              << " --help)\n";
    return exit_usage;
  }

  for (auto const& [sub, run] : handlers) {
    if (sub->parsed()) return check_output(run_reporting_errors(command_name(app), run));
  }
  return exit_usage;  // require_subcommand(1) makes this unreachable
}
