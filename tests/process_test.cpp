#include "foundation/core/process.hpp"

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>
#include <cerrno>
#include <system_error>

#include "support/support.hpp"

using namespace foundation::core;

QX_TABLE_TEST(ExitStatus, IsTheCodeOrSignalPlus128EvenAfterAMove, "process_exit_status.tsv") {
  process first(command("/bin/sh", {"-c", GetParam()["script"]}), context());
  process second(std::move(first));
  EXPECT_EQ(second.exit_status(), std::stoi(GetParam()["status"]));
  EXPECT_EQ(second.exit_status(), std::stoi(GetParam()["status"]));  // kept, not waited for again
  // NOLINTNEXTLINE(bugprone-use-after-move): the moved-from state is what is tested
  EXPECT_THROW(static_cast<void>(first.exit_status()), std::logic_error);
}

QX_TABLE_TEST(Unstartable, ThrowsSystemErrorNamingTheProgram, "process_unstartable.tsv") {
  command const cmd(GetParam()["program"], {"-c", GetParam()["argument"]});
  auto const error = std::make_error_code(std::errc(std::stoi(GetParam()["errno"])));
  EXPECT_THAT([&] { process(cmd, context()); },
              testing::Throws<std::system_error>(testing::AllOf(
                  testing::Property(&std::system_error::code, error),
                  testing::Property(&std::system_error::what, testing::HasSubstr(cmd.program())))));
}

TEST(Process, TheDestructorReapsAChildNeverWaitedFor) {
  qx::test::TempDir const dir;
  { process(command("/bin/sh", {"-c", "echo $$ > \"$0\"", dir.file("pid")}), context()); }
  pid_t const child = std::stoi(qx::test::read_file(dir.path() / "pid"));
  EXPECT_EQ(waitpid(child, nullptr, WNOHANG), -1);  // no zombie is left to collect
  EXPECT_EQ(errno, ECHILD);
}

// The child exits 0 when its output, error and session ("own", or the id) read as $1.
TEST(Process, DiscardsStreamsAndDetachesWhenAsked) {
  if (auto const lacking = qx::test::without_linux_files()) GTEST_SKIP() << *lacking;
  std::string const script =
      "s=$(cut -d' ' -f6 /proc/$$/stat); [ \"$s\" = $$ ] && s=own; "
      "[ \"$(readlink /proc/$$/fd/1) $(readlink /proc/$$/fd/2) $s\" = \"$1\" ]";
  std::string const our_out = std::filesystem::read_symlink("/proc/self/fd/1");
  for (bool const detach : {true, false}) {
    context ctx;
    ctx.std_err(discard()).detached_process(detach);
    if (detach) ctx.std_out(discard());
    std::string const sees = (detach ? "/dev/null" : our_out) + " /dev/null " +
                             (detach ? "own" : std::to_string(getsid(0)));
    EXPECT_EQ(process(command("/bin/sh", {"-c", script, "sh", sees}), ctx).exit_status(), 0)
        << sees;
  }
}

// An installer often ignores SIGPIPE and blocks signals in its threads; a child it starts must
// not inherit either (an ignored disposition survives exec), or `yes | head` never ends.
TEST(Process, TheChildStartsWithDefaultSignalsAndNoneBlocked) {
  if (auto const lacking = qx::test::without_linux_files()) GTEST_SKIP() << *lacking;
  struct sigaction ignore {};
  struct sigaction before {};
  ignore.sa_handler = SIG_IGN;
  ASSERT_EQ(sigaction(SIGPIPE, &ignore, &before), 0);
  sigset_t blocked;
  sigset_t mask_before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGUSR1);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, &blocked, &mask_before), 0);
  // Exits 0 when nothing is blocked and SIGPIPE (bit 12 of SigIgn) is not ignored.
  std::string const script =
      "blk=$(sed -n 's/^SigBlk:[[:space:]]*//p' /proc/$$/status); "
      "ign=$(sed -n 's/^SigIgn:[[:space:]]*//p' /proc/$$/status); "
      "[ $((0x$blk)) -eq 0 ] && [ $((0x$ign & 0x1000)) -eq 0 ]";
  int const status = process(command("/bin/sh", {"-c", script}), context()).exit_status();
  sigaction(SIGPIPE, &before, nullptr);
  pthread_sigmask(SIG_SETMASK, &mask_before, nullptr);
  EXPECT_EQ(status, 0);
}
