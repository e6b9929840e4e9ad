// qxinstall: the library's services from the command line, for scripts and for trying the
// library out. Exit status: 0 success, 1 a check failed, 2 a usage or input error. Every
// error is one line on stderr that names the command and the file or argument concerned.
#include <CLI/CLI.hpp>
#include <iostream>
#include <string>
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

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Services of libqxinstall_cpputil for scripts and for trying the library out.",
               "qxinstall"};
  app.footer("Exit status: 0 success, 1 a check failed, 2 a usage or input error.");
  app.require_subcommand(1);

  // Each command brings its own options and handler, so none can be parsed and not run.
  std::vector<std::pair<CLI::App*, Handler>> handlers;
  for (Command const& command : commands()) {
    CLI::App* const sub = app.add_subcommand(command.name, command.summary);
    handlers.emplace_back(sub, command.setup(*sub));
  }

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) return app.exit(error);
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
    if (sub->parsed()) return run_reporting_errors(command_name(app), run);
  }
  return exit_usage;  // require_subcommand(1) makes this unreachable
}
