// qxinstall: the library's services from the command line, for scripts and for trying the
// library out. Exit status: 0 success, 1 a check failed, 2 a usage or input error. Every
// error is one line on stderr that names the command and the file or argument concerned.
#include <fcntl.h>
#include <unistd.h>
#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <iostream>
#include <streambuf>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli.hpp"
#include "escape.hpp"

namespace {

using namespace qx::cli;

[[nodiscard]] std::string command_name(CLI::App const& app) {
  auto const selected = app.get_subcommands();
  return selected.empty() ? app.get_name() : app.get_name() + " " + selected.front()->get_name();
}

// The one place the tool turns exceptions into an error line and an exit status. The line is
// escaped, so that no text in it (an argument, a file name, a library message) can break it.
int run_reporting_errors(std::string const& name, Handler const& run) {
  try {
    return run();
  } catch (CommandError const& error) {
    std::cerr << name << ": " << qx::tools::escaped(error.what()) << '\n';
    return error.status();
  } catch (std::exception const& error) {
    std::cerr << name << ": " << qx::tools::escaped(error.what()) << '\n';
  } catch (...) {
    std::cerr << name << ": unexpected error\n";
  }
  return exit_usage;
}

// Standard output, written to descriptor 1 directly: stdio's buffer forgets why a write failed
// once it writes again, and a later flush then fails with no errno at all. This keeps the
// errno of the first failed write; after it, output is dropped.
class StdoutBuffer : public std::streambuf {
 public:
  /// `error`: the failure to report for every write (EBADF for a stdout that was closed).
  explicit StdoutBuffer(int error = 0) : error_(error) { reset(); }
  /// The errno of the first write that failed, 0 while none has, after writing what waits.
  [[nodiscard]] int error() {
    static_cast<void>(sync());
    return error_;
  }

 protected:
  int_type overflow(int_type c) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  int sync() override {
    for (char const* next = pbase(); next < pptr() && error_ == 0;) {
      ssize_t const written = ::write(STDOUT_FILENO, next, static_cast<std::size_t>(pptr() - next));
      if (written >= 0)
        next += written;
      else if (errno != EINTR)
        error_ = errno;
    }
    reset();
    return error_ == 0 ? 0 : -1;
  }

 private:
  void reset() { setp(buffer_.data(), buffer_.data() + buffer_.size()); }
  std::array<char, 16384> buffer_{};
  int error_;
};

// A descriptor 0-2 that the caller closed is taken by /dev/null, so that no file the command
// opens becomes its stdout; output meant for a closed stdout then fails instead of vanishing.
// Returns EBADF when stdout was closed, else 0.
int guard_standard_streams() {
  static struct Failing : std::streambuf {
  } failing;  // overflow() fails every write
  bool stdout_closed = false;
  for (int fd = 0; fd <= 2; ++fd) {
    if (::fcntl(fd, F_GETFD) != -1 || errno != EBADF) continue;
    if (::open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY) != fd) std::_Exit(exit_usage);
    stdout_closed = stdout_closed || fd == 1;
    if (fd == 2) std::cerr.rdbuf(&failing);
  }
  return stdout_closed ? EBADF : 0;
}

// Output that could not be written must not pass for success (as coreutils do it).
int check_output(StdoutBuffer& out, int status) {
  std::cout.flush();
  int const error = out.error();
  if (error == 0) return status;
  std::cerr << "qxinstall: write error: " << std::generic_category().message(error) << '\n';
  return exit_usage;
}

// An empty value would switch an option off without a word (no rules checked, the default
// log written, nothing redacted): every option that takes a value refuses one, each item of a
// list too.
void refuse_empty_values(CLI::App& command) {
  CLI::Validator const non_empty(
      [](std::string const& value) {
        return value.empty() ? std::string("an empty value is refused") : std::string();
      },
      "", "");
  for (CLI::Option* option : command.get_options([](CLI::Option* candidate) {
         return candidate->nonpositional() && candidate->get_items_expected_min() > 0;
       })) {
    option->check(non_empty);
  }
}

int run_tool(int argc, char** argv, StdoutBuffer& out) {
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
    refuse_empty_values(*sub);
  }

  try {
    app.parse(argc, argv);
  } catch (CLI::ParseError const& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
      // A command's 0 means "allowed" or "done": its help exits 2 so that it never passes for it.
      int const status = app.exit(error) == 0 && !app.get_subcommands().empty() ? exit_usage : 0;
      return check_output(out, status);
    }
    if (app.get_subcommands().empty() && argc > 1 && argv[1][0] != '-') {
      std::cerr << "qxinstall: unknown command " << in_quotes(qx::tools::excerpt(argv[1]))
                << " (see qxinstall --help)\n";
      return exit_usage;
    }
    std::cerr << command_name(app) << ": " << qx::tools::excerpt(error.what()) << " (see "
              << command_name(app) << " --help)\n";
    return exit_usage;
  }

  for (auto const& [sub, run] : handlers) {
    if (sub->parsed()) return check_output(out, run_reporting_errors(command_name(app), run));
  }
  return exit_usage;  // require_subcommand(1) makes this unreachable
}

}  // namespace

int main(int argc, char** argv) {
  StdoutBuffer out(guard_standard_streams());
  std::streambuf* const previous = std::cout.rdbuf(&out);
  int const status = run_tool(argc, argv, out);
  std::cout.rdbuf(previous);  // before `out` goes: std::cout is flushed once more at exit
  return status;
}
