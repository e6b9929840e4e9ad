#pragma once

/// \file
/// Starting a program without a shell and reading its exit status.

#include <sys/types.h>
#include <boost/variant.hpp>
#include <string>
#include <vector>

#include "fl/platform_export.hpp"

namespace foundation::core {

/// Redirection alternative: the child keeps the parent's stream.
struct inherit {};
/// Redirection alternative: the stream goes to /dev/null.
struct discard {};
/// Where a standard stream of a started program goes.
using redirection = boost::variant<inherit, discard>;

/// How a program is started: redirections of its output streams and whether it is detached.
/// By default both streams are inherited and the program stays in the parent's session.
class QX_PLATFORM_API context {
 public:
  /// Redirects standard output; returns *this.
  context& std_out(redirection target);
  /// Redirects standard error; returns *this.
  context& std_err(redirection target);
  /// When true the program starts in a new session (setsid), away from the parent's
  /// terminal and process group; returns *this.
  context& detached_process(bool detached);

  /// Where standard output goes; inherit unless set.
  [[nodiscard]] redirection const& std_out() const noexcept { return std_out_; }
  /// Where standard error goes; inherit unless set.
  [[nodiscard]] redirection const& std_err() const noexcept { return std_err_; }
  /// True when the program is to start in a new session; false unless set.
  [[nodiscard]] bool detached_process() const noexcept { return detached_; }

 private:
  redirection std_out_;
  redirection std_err_;
  bool detached_ = false;
};

/// A program path (used as given, no PATH search) and its arguments, without argv[0].
class QX_PLATFORM_API command {
 public:
  /// Holds copies of the path and the arguments; nothing is checked until it is started.
  command(std::string program, std::vector<std::string> arguments);

  /// The program path.
  [[nodiscard]] std::string const& program() const noexcept { return program_; }
  /// The arguments, argv[1] onwards; may be empty.
  [[nodiscard]] std::vector<std::string> const& arguments() const noexcept { return arguments_; }

 private:
  std::string program_;
  std::vector<std::string> arguments_;
};

/// A started program. No shell is involved: argv[0] is the program path and each argument
/// is one argv element, byte for byte. The environment is the parent's.
class QX_PLATFORM_API process {
 public:
  /// Starts the program with posix_spawn. Throws std::system_error naming the program when
  /// it cannot be started (missing, not executable, an argument holding a NUL byte).
  process(command const& cmd, context const& ctx);
  /// Waits for a program whose exit status was never read, so no zombie is left behind;
  /// this blocks until it ends. Never throws.
  ~process();
  /// Takes over `other`'s child; `other` is left without one.
  process(process&& other) noexcept;
  /// Waits for this object's own child first (as the destructor does), then takes over.
  process& operator=(process&& other) noexcept;
  process(process const&) = delete;
  process& operator=(process const&) = delete;

  /// Waits for the program to end (EINTR retried) and returns its exit code, or 128 plus
  /// the signal number when a signal ended it; later calls return the same value. Throws
  /// std::system_error when waiting fails (for instance when SIGCHLD is ignored) and
  /// std::logic_error on a moved-from object.
  [[nodiscard]] int exit_status();

 private:
  void reap_quietly() noexcept;

  std::string program_;
  pid_t pid_ = -1;
  bool waited_ = false;
  int wait_error_ = 0;  // errno of a failed wait, reported again by later calls
  int status_ = 0;
};

}  // namespace foundation::core
