#include "foundation/core/process.hpp"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "retry.hpp"
#include "system.hpp"

namespace foundation::core {
namespace {

[[noreturn]] void fail(int error, std::string const& what, std::string const& program) {
  throw std::system_error(error, std::generic_category(), what + " \"" + program + "\"");
}

// Owns one posix_spawn helper object (file actions or attributes): made by Init, released
// by Destroy; a failed init is reported as a failure to start `program`.
template <class Object, int (*Init)(Object*), int (*Destroy)(Object*)>
class spawn_object {
 public:
  explicit spawn_object(std::string const& program) {
    if (int const rc = Init(&object_); rc != 0) fail(rc, "cannot start", program);
  }
  ~spawn_object() { Destroy(&object_); }
  spawn_object(spawn_object const&) = delete;
  spawn_object& operator=(spawn_object const&) = delete;
  Object* get() noexcept { return &object_; }

 private:
  Object object_{};
};

using file_actions = spawn_object<posix_spawn_file_actions_t, posix_spawn_file_actions_init,
                                  posix_spawn_file_actions_destroy>;
using spawn_attributes =
    spawn_object<posix_spawnattr_t, posix_spawnattr_init, posix_spawnattr_destroy>;

int redirect(posix_spawn_file_actions_t* actions, int fd, redirection const& target) {
  if (boost::get<discard>(&target) != nullptr) {
    return posix_spawn_file_actions_addopen(actions, fd, "/dev/null", O_WRONLY, 0);
  }
  return 0;
}

// Signals the parent may ignore (an ignored disposition survives exec); the child starts
// with the default for each and with nothing blocked.
sigset_t signals_to_default() {
  sigset_t set;
  sigemptyset(&set);
  for (int const sig : {SIGPIPE, SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGCHLD, SIGTSTP, SIGTTIN,
                        SIGTTOU, SIGUSR1, SIGUSR2, SIGALRM}) {
    sigaddset(&set, sig);
  }
  return set;
}

int configure(posix_spawnattr_t* attributes, bool detached) {
  short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  if (detached) flags |= POSIX_SPAWN_SETSID;
  sigset_t none;
  sigemptyset(&none);
  sigset_t const defaults = signals_to_default();
  if (int const rc = posix_spawnattr_setflags(attributes, flags); rc != 0) return rc;
  if (int const rc = posix_spawnattr_setsigmask(attributes, &none); rc != 0) return rc;
  return posix_spawnattr_setsigdefault(attributes, &defaults);
}

// Waits for the child `pid` to end: its pid with `raw` its wait status, or -1 with errno.
pid_t wait_for(pid_t pid, int& raw) noexcept {
  pid_t rc = 0;
  QX_RETRY(rc, waitpid(pid, &raw, 0));
  return rc;
}

bool holds_nul(std::string const& text) {
  return text.find('\0') != std::string::npos;
}

}  // namespace

context& context::std_out(redirection target) {
  std_out_ = std::move(target);
  return *this;
}

context& context::std_err(redirection target) {
  std_err_ = std::move(target);
  return *this;
}

context& context::detached_process(bool detached) {
  detached_ = detached;
  return *this;
}

command::command(std::string program, std::vector<std::string> arguments)
    : program_(std::move(program)), arguments_(std::move(arguments)) {}

process::process(command const& cmd, context const& ctx) : program_(cmd.program()) {
  // A NUL byte would silently cut an argument short; refuse rather than pass something else.
  if (holds_nul(program_)) fail(EINVAL, "cannot start", program_);
  std::vector<char*> argv;
  argv.reserve(cmd.arguments().size() + 2);
  argv.push_back(const_cast<char*>(program_.c_str()));
  for (auto const& argument : cmd.arguments()) {
    if (holds_nul(argument)) fail(EINVAL, "cannot start", program_);
    argv.push_back(const_cast<char*>(argument.c_str()));  // posix_spawn does not write to it
  }
  argv.push_back(nullptr);
  // Where posix_spawn runs the child as a plain fork (older C libraries, user-mode emulators),
  // a failed exec shows only as exit status 127: checking first reports it the same everywhere.
  if (faccessat(AT_FDCWD, program_.c_str(), X_OK, AT_EACCESS) != 0)
    fail(errno, "cannot start", program_);

  file_actions actions(program_);
  spawn_attributes attributes(program_);
  int rc = redirect(actions.get(), STDOUT_FILENO, ctx.std_out());
  if (rc == 0) rc = redirect(actions.get(), STDERR_FILENO, ctx.std_err());
  if (rc == 0) rc = configure(attributes.get(), ctx.detached_process());
  if (rc == 0) {
    QX_RETRY_ERROR_NUMBER(rc, posix_spawn(&pid_, program_.c_str(), actions.get(), attributes.get(),
                                          argv.data(), qx::system::environment()));
  }
  if (rc != 0) {
    pid_ = -1;
    fail(rc, "cannot start", program_);
  }
}

process::~process() {
  reap_quietly();
}

process::process(process&& other) noexcept
    : program_(std::move(other.program_)),
      pid_(std::exchange(other.pid_, -1)),
      waited_(other.waited_),
      wait_error_(other.wait_error_),
      status_(other.status_) {}

process& process::operator=(process&& other) noexcept {
  if (this != &other) {
    reap_quietly();
    program_ = std::move(other.program_);
    pid_ = std::exchange(other.pid_, -1);
    waited_ = other.waited_;
    wait_error_ = other.wait_error_;
    status_ = other.status_;
  }
  return *this;
}

int process::exit_status() {
  if (pid_ < 0) throw std::logic_error("process: no child to wait for");
  if (!waited_) {
    int raw = 0;
    pid_t const rc = wait_for(pid_, raw);
    waited_ = true;
    if (rc < 0) {
      wait_error_ = errno;
    } else if (WIFEXITED(raw)) {
      status_ = WEXITSTATUS(raw);
    } else if (WIFSIGNALED(raw)) {
      status_ = 128 + WTERMSIG(raw);
    } else {
      status_ = raw;
    }
  }
  if (wait_error_ != 0) fail(wait_error_, "cannot wait for", program_);
  return status_;
}

void process::reap_quietly() noexcept {
  if (pid_ < 0 || waited_) return;
  int raw = 0;
  static_cast<void>(wait_for(pid_, raw));
  waited_ = true;
}

}  // namespace foundation::core
