#include "cli.hpp"

namespace qx::cli {

// The one list of subcommands: a command exists exactly when its group lists it here.
std::vector<Command> commands() {
  std::vector<Command> all;
  for (auto group : {input_commands, writer_commands, ordering_commands, host_commands,
                     log_commands, report_commands}) {
    for (Command& command : group()) all.push_back(std::move(command));
  }
  return all;
}

}  // namespace qx::cli
