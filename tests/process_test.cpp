#include "foundation/core/process.hpp"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "support/temp_dir.hpp"

namespace {

using foundation::core::command;
using foundation::core::context;
using foundation::core::discard;
using foundation::core::process;

int run_sh(std::string const& script, std::vector<std::string> const& args = {},
           context const& ctx = context()) {
  std::vector<std::string> argv{"-c", script, "sh"};
  argv.insert(argv.end(), args.begin(), args.end());
  process child(command("/bin/sh", argv), ctx);
  return child.exit_status();
}

TEST(Process, ReturnsExitCodeOrSignalPlus128) {
  EXPECT_EQ(run_sh("exit 0"), 0);
  EXPECT_EQ(run_sh("exit 3"), 3);
  EXPECT_EQ(run_sh("exit 255"), 255);
  EXPECT_EQ(run_sh("kill -TERM $$"), 128 + SIGTERM);
  EXPECT_EQ(run_sh("kill -KILL $$"), 128 + SIGKILL);
}

TEST(Process, PassesEachArgumentAsOneUnchangedArgvElement) {
  qx::test::TempDir dir;
  std::string const planted = dir.file("planted");
  std::string const tricky[] = {"two words",
                                "'single' \"double\"",
                                "a; touch " + planted,
                                "$(touch " + planted + ")",
                                "`touch " + planted + "`",
                                "*",
                                "line\nbreak\ttab",
                                "\xFF\xFE not UTF-8",
                                ""};
  for (auto const& argument : tricky) {
    SCOPED_TRACE(argument);
    std::string const out = dir.file("out");
    ASSERT_EQ(run_sh("printf '%s' \"$1\" > \"$2\"; exit $#", {argument, out}), 2);
    EXPECT_EQ(qx::test::read_file(out), argument);
  }
  EXPECT_FALSE(std::filesystem::exists(planted));
}

TEST(Process, UnstartableProgramThrowsSystemErrorNamingIt) {
  qx::test::TempDir dir;
  std::string const missing = dir.file("no-such-program");
  std::string const not_executable = dir.file("data.txt");
  qx::test::write_file(not_executable, "#!/bin/sh\nexit 0\n");
  struct Case {
    std::string program;
    std::vector<std::string> arguments;
    int error;
  };
  Case const cases[] = {
      {missing, {}, ENOENT},
      {not_executable, {}, EACCES},
      {"/bin/sh", {"-c", std::string("exit 0\0x", 8)}, EINVAL},  // would be cut at the NUL
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.program);
    try {
      process child(command(c.program, c.arguments), context());
      ADD_FAILURE() << "started";
    } catch (std::system_error const& error) {
      EXPECT_EQ(error.code(), std::error_code(c.error, std::generic_category()));
      EXPECT_NE(std::string(error.what()).find(c.program), std::string::npos) << error.what();
    }
  }
}

#ifdef __linux__
// What the shell's own descriptor 1 or 2 points at, and its session id, read from /proc.
std::string describe_child(context const& ctx, std::filesystem::path const& out) {
  run_sh(
      // Read before any redirection: the shell applies one to its own descriptors first.
      "o=$(readlink /proc/$$/fd/1); e=$(readlink /proc/$$/fd/2); "
      "s=$(cut -d' ' -f6 /proc/$$/stat); echo \"$o $e $s $$\" > \"$1\"",
      {out.string()}, ctx);
  return qx::test::read_file(out);
}

TEST(Process, DiscardsStreamsAndDetachesWhenAsked) {
  qx::test::TempDir dir;
  auto const out = dir.path() / "out";
  std::string const our_session = std::to_string(getsid(0));

  context discarding;
  discarding.std_out(discard()).std_err(discard()).detached_process(true);
  std::istringstream detached(describe_child(discarding, out));
  std::string fd1, fd2, session, pid;
  detached >> fd1 >> fd2 >> session >> pid;
  EXPECT_EQ(fd1, "/dev/null");
  EXPECT_EQ(fd2, "/dev/null");
  EXPECT_EQ(session, pid);  // leads a session of its own

  context only_stderr;
  only_stderr.std_err(discard());
  std::istringstream attached(describe_child(only_stderr, out));
  attached >> fd1 >> fd2 >> session >> pid;
  EXPECT_NE(fd1, "/dev/null");
  EXPECT_EQ(fd2, "/dev/null");
  EXPECT_EQ(session, our_session);  // stays in ours
}
#endif

TEST(Process, ExitStatusIsKeptAndMoveTransfersTheChild) {
  process first(command("/bin/sh", {"-c", "exit 7"}), context());
  process second(std::move(first));
  EXPECT_EQ(second.exit_status(), 7);
  EXPECT_EQ(second.exit_status(), 7);
  EXPECT_EQ(first.id(), -1);  // NOLINT(bugprone-use-after-move): checking the moved-from state
  EXPECT_THROW(static_cast<void>(first.exit_status()), std::logic_error);
}

TEST(Process, DestructorReapsAChildNeverWaitedFor) {
  pid_t pid = -1;
  {
    process child(command("/bin/sh", {"-c", "exit 0"}), context());
    pid = child.id();
    ASSERT_GT(pid, 0);
  }
  int raw = 0;
  EXPECT_EQ(waitpid(pid, &raw, WNOHANG), -1);  // no zombie left to collect
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
