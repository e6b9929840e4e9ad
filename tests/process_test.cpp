#include "foundation/core/process.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <sstream>
#include <system_error>

#include "support/temp_dir.hpp"

namespace {

using foundation::core::command;
using foundation::core::context;
using foundation::core::process;

TEST(Process, ReturnsExitCodeOrSignalPlus128EvenAfterAMove) {
  std::pair<char const*, int> const cases[] = {{"exit 0", 0},
                                               {"exit 255", 255},
                                               {"kill -TERM $$", 128 + SIGTERM},
                                               {"kill -KILL $$", 128 + SIGKILL}};
  for (auto const& [script, status] : cases) {
    process first(command("/bin/sh", {"-c", script}), context());
    process second(std::move(first));
    EXPECT_EQ(second.exit_status(), status) << script;
    EXPECT_EQ(second.exit_status(), status) << script;  // kept, not waited for again
    EXPECT_EQ(first.id(), -1);  // NOLINT(bugprone-use-after-move): the moved-from state
    EXPECT_THROW(static_cast<void>(first.exit_status()), std::logic_error);
  }
}

TEST(Process, UnstartableProgramThrowsSystemErrorNamingIt) {
  qx::test::TempDir dir;
  std::pair<command, int> const cases[] = {
      {command(dir.file("no-such-program"), {}), ENOENT},
      {command("/etc/passwd", {}), EACCES},  // a file without execute permission
      {command("/bin/sh", {"-c", std::string("exit 0\0x", 8)}), EINVAL},  // would be cut at NUL
  };
  for (auto const& [cmd, error_number] : cases) {
    try {
      process child(cmd, context());
      ADD_FAILURE() << cmd.program() << " started";
    } catch (std::system_error const& error) {
      EXPECT_EQ(error.code(), std::error_code(error_number, std::generic_category()));
      EXPECT_NE(std::string(error.what()).find(cmd.program()), std::string::npos) << error.what();
    }
  }
}

#ifdef __linux__
TEST(Process, DiscardsStreamsAndDetachesWhenAsked) {
  qx::test::TempDir dir;
  for (bool const detach : {true, false}) {
    context ctx;
    ctx.std_err(foundation::core::discard()).detached_process(detach);
    if (detach) ctx.std_out(foundation::core::discard());
    // Read before any redirection: the shell applies one to its own descriptors first.
    std::string const script =
        "o=$(readlink /proc/$$/fd/1); e=$(readlink /proc/$$/fd/2); "
        "s=$(cut -d' ' -f6 /proc/$$/stat); echo \"$o $e $s $$\" > \"$1\"";
    ASSERT_EQ(process(command("/bin/sh", {"-c", script, "sh", dir.file("out")}), ctx).exit_status(),
              0);
    std::istringstream child(qx::test::read_file(dir.path() / "out"));
    std::string fd1, fd2, session, pid;
    child >> fd1 >> fd2 >> session >> pid;
    EXPECT_EQ(fd1 == "/dev/null", detach);
    EXPECT_EQ(fd2, "/dev/null");
    EXPECT_EQ(session, detach ? pid : std::to_string(getsid(0)));  // its own session, or ours
  }
}
#endif

TEST(Process, DestructorReapsAChildNeverWaitedFor) {
  pid_t const pid = process(command("/bin/sh", {"-c", "exit 0"}), context()).id();
  ASSERT_GT(pid, 0);
  EXPECT_EQ(waitpid(pid, nullptr, WNOHANG), -1);  // no zombie left to collect
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
