// The file layer when the kernel interrupts, writes short or fails: this test's build of the
// layer routes its system calls to fakes (support/fake_posix.hpp).
#include <fcntl.h>
#include <cerrno>

#include "fl/filesystem.hpp"
#include "support/fake_posix.hpp"
#include "support/support.hpp"

using qx::fake::script;

class FileFaults : public testing::Test {
 protected:
  void SetUp() override { script = {}; }
  [[nodiscard]] fl::filesystem::basic_ofstream<char> open_log() const {
    return fl::filesystem::basic_ofstream<char>(fl::filesystem::make_path(log_), std::ios::app);
  }
  qx::test::TempDir dir_;
  std::string const log_ = dir_.file("log");
};

// O_NONBLOCK means nothing to a regular file; a device keeps it only until it is checked.
TEST_F(FileFaults, OpensWithoutBlockingAndClearsTheFlagOnADevice) {
  auto const out = open_log();
  int const wanted = O_NONBLOCK | O_CLOEXEC | O_NOCTTY | O_APPEND | O_CREAT | O_WRONLY;
  ASSERT_EQ(script.open_flags.size(), 1U);
  EXPECT_EQ(script.open_flags[0] & wanted, wanted);
  EXPECT_TRUE(script.set_flags.empty());
  fl::filesystem::basic_ofstream<char> const device(fl::filesystem::make_path(u"/dev/null"));
  ASSERT_EQ(script.set_flags.size(), 1U);
  EXPECT_EQ(script.set_flags[0] & O_NONBLOCK, 0);
}

// A kernel without openat2 is no reason to follow links: the path is walked a folder at a
// time, and a link in it, or at its end, still refuses the private file.
TEST_F(FileFaults, WithoutOpenat2APrivateFileIsOpenedByItsPathAndALinkStillRefused) {
  auto const open_private = [](std::string const& name) {
    script.openat2_errors = {ENOSYS};
    return fl::filesystem::basic_ofstream<char>(fl::filesystem::make_path(name), std::ios::app,
                                                {.private_file = true, .create_mode = 0600});
  };
  EXPECT_FALSE(open_private(log_).error());
  EXPECT_TRUE(std::filesystem::exists(log_));
  std::filesystem::path const dir = std::filesystem::path(log_).parent_path();
  std::filesystem::create_directory(dir / "real");
  std::filesystem::create_directory_symlink(dir / "real", dir / "link");
  std::filesystem::create_symlink(log_, dir / "real" / "to.log");
  for (std::filesystem::path const& name : {dir / "link" / "x.log", dir / "real" / "to.log"})
    EXPECT_EQ(open_private(name).error(), std::errc::too_many_symbolic_link_levels) << name;
  EXPECT_FALSE(std::filesystem::exists(dir / "real" / "x.log"));
  std::filesystem::path relative = std::filesystem::relative(dir / "real" / "y.log");
  EXPECT_FALSE(open_private(relative).error()) << relative;
}

TEST_F(FileFaults, InterruptedCallsAreRetriedAndShortWritesContinued) {
  script.open_errors = {EINTR};
  script.write_errors = {EINTR};
  script.short_write_limit = 5;
  auto out = open_log();
  out << "survives interruptions";
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(script.open_flags.size(), 2U);
  EXPECT_EQ(qx::test::read_file(log_), "survives interruptions");
}

TEST_F(FileFaults, EachFlushIsOneWrite) {
  std::string const big(100000, 'x');
  auto out = open_log();
  out << "first " << big << '\n' << std::flush << "second\n";
  out.close();
  EXPECT_EQ(script.writes, (std::vector<std::size_t>{big.size() + 7, 7}));
}

TEST_F(FileFaults, CloseIsNotRetriedAfterEintr) {
  script.close_error = EINTR;
  auto out = open_log();
  out << "closed once";
  out.close();
  EXPECT_TRUE(out.fail());
  EXPECT_EQ(script.close_calls, 1);
  EXPECT_EQ(qx::test::read_file(log_), "closed once");
}

// The stream keeps the first failure's errno and counts what reached the file.
TEST_F(FileFaults, AFailedWriteFailsTheStreamAndKeepsItsReason) {
  for (int const error : {ENOSPC, EIO}) {
    script.write_errors = {0, error};
    script.short_write_limit = 3;
    auto out = open_log();
    EXPECT_TRUE((out << "dropped" << std::flush).fail()) << error;
    EXPECT_EQ(out.error().value(), error);
    EXPECT_EQ(out.written(), 3U);
  }
  EXPECT_EQ(qx::test::read_file(log_), "drodro");
}

TEST_F(FileFaults, FlushToDiskReachesTheDiskOrSaysWhyNot) {
  script.fsync_errors = {0, EIO};
  auto out = open_log();
  EXPECT_FALSE(out.flush_to_disk());
  EXPECT_EQ(script.fsync_calls, 1);
  EXPECT_EQ(out.flush_to_disk(), std::errc::io_error);
  EXPECT_EQ(out.error(), std::errc::io_error);
  EXPECT_TRUE(out.fail());
}
