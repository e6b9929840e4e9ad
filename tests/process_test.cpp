#include "foundation/core/process.hpp"

#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <system_error>

#include "support/support.hpp"

using foundation::core::command;
using foundation::core::context;
using foundation::core::process;

TEST(Process, ReturnsExitCodeOrSignalPlus128EvenAfterAMove) {
  std::pair<char const*, int> const cases[] = {
      {"exit 0", 0}, {"exit 255", 255}, {"kill -TERM $$", 128 + SIGTERM}, {"kill -9 $$", 128 + 9}};
  for (auto const& [script, status] : cases) {
    process first(command("/bin/sh", {"-c", script}), context());
    process second(std::move(first));
    EXPECT_EQ(second.exit_status(), status) << script;
    EXPECT_EQ(second.exit_status(), status) << script;  // kept, not waited for again
    // NOLINTNEXTLINE(bugprone-use-after-move): the moved-from state is what is tested
    EXPECT_THROW(static_cast<void>(first.exit_status()), std::logic_error);
  }
}

TEST(Process, TheDestructorReapsAChildNeverWaitedFor) {
  qx::test::TempDir const dir;
  { process(command("/bin/sh", {"-c", "echo $$ > \"$0\"", dir.file("pid")}), context()); }
  pid_t const child = std::stoi(qx::test::read_file(dir.path() / "pid"));
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1);  // no zombie is left to collect
  EXPECT_EQ(errno, ECHILD);
}

TEST(Process, UnstartableProgramThrowsSystemErrorNamingIt) {
  std::pair<command, std::errc> const cases[] = {
      {command("/no/such/program", {}), std::errc::no_such_file_or_directory},
      {command("/etc/passwd", {}), std::errc::permission_denied},  // not executable
      {command("/bin/sh", {"-c", std::string("exit 0\0x", 8)}), std::errc::invalid_argument},
  };  // a NUL would cut the argument short: refused
  for (auto const& [cmd, error] : cases)
    EXPECT_THAT(
        [&] { process(cmd, context()); },
        testing::Throws<std::system_error>(testing::AllOf(
            testing::Property(&std::system_error::code, std::make_error_code(error)),
            testing::Property(&std::system_error::what, testing::HasSubstr(cmd.program())))));
}

#ifdef __linux__
// The child exits 0 when its output, error and session ("own", or the id) read as $1.
TEST(Process, DiscardsStreamsAndDetachesWhenAsked) {
  std::string const script =
      "s=$(cut -d' ' -f6 /proc/$$/stat); [ \"$s\" = $$ ] && s=own; "
      "[ \"$(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2) $s\" = \"$1\" ]";
  std::string const our_out = std::filesystem::read_symlink("/proc/self/fd/1");
  for (bool const detach : {true, false}) {
    context ctx;
    ctx.std_err(foundation::core::discard()).detached_process(detach);
    if (detach) ctx.std_out(foundation::core::discard());
    std::string const sees = (detach ? "/dev/null" : our_out) + " /dev/null " +
                             (detach ? "own" : std::to_string(getsid(0)));
    EXPECT_EQ(process(command("/bin/sh", {"-c", script, "sh", sees}), ctx).exit_status(), 0)
        << sees;
  }
}
#endif
