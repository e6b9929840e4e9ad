#include "fl/filesystem.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <cerrno>
#include <filesystem>
#include <vector>

#include "fl/posix_io.hpp"
#include "support/temp_dir.hpp"

namespace {

namespace fs = fl::filesystem;
using fs::basic_path;

static_assert(!std::is_copy_constructible_v<fs::basic_ofstream<char>>);
static_assert(std::is_nothrow_destructible_v<fs::basic_ofstream<char>>);

basic_path path_of(std::string const& utf8) {
  return basic_path(fl::i18n::utf8_to_ustring(utf8));
}

TEST(PathText, ParentConcatenateAndCleanup) {
  struct Case {
    std::string in, parent, cleaned;
  };
  std::vector<Case> const cases = {
      {"a/b", "a", "a/b"},
      {"/a", "/", "/a"},
      {"a", "", "a"},
      {"/x/y/z.log", "/x/y", "/x/y/z.log"},
      {"a//./b", "a//.", "a/b"},
      {"./a", ".", "a"},
      {"/t/\xC3\xA4/f", "/t/\xC3\xA4", "/t/\xC3\xA4/f"},
  };
  for (auto const& c : cases) {
    ustring const text = fl::i18n::utf8_to_ustring(c.in);
    EXPECT_EQ(fl::i18n::ustring_to_utf8(fs::detail::extract_parent_path(text)), c.parent) << c.in;
    EXPECT_EQ(fs::detail::make_native_access_form_with_cleanup_i18n(basic_path(text)), c.cleaned)
        << c.in;
    EXPECT_EQ(fs::detail::make_native_form(text, true), text);
  }
  EXPECT_EQ(fs::detail::concatenate_pathname(u"/r", u"qx", true), u"/r/qx");
  EXPECT_EQ(fs::detail::concatenate_pathname(u"/r/", u"qx", true), u"/r/qx");
  EXPECT_EQ(fs::detail::concatenate_pathname(u"", u"qx", true), u"qx");
}

TEST(Exists, MissingEmptyAndFailingLookups) {
  qx::test::TempDir const dir;
  qx::test::write_file(dir.path() / "f", "x");
  EXPECT_TRUE(fs::exists(path_of(dir.file("f"))));
  EXPECT_TRUE(fs::exists(path_of(dir.path().string())));
  EXPECT_FALSE(fs::exists(path_of(dir.file("missing"))));
  EXPECT_FALSE(fs::exists(basic_path()));
  EXPECT_FALSE(fs::exists(path_of(dir.file("f") + "/below")));  // ENOTDIR counts as missing
  EXPECT_THROW((void)fs::exists(path_of(dir.file(std::string(5000, 'n')))),
               std::filesystem::filesystem_error);
}

TEST(CreateDirectories, NestedAndBelowAFile) {
  qx::test::TempDir const dir;
  EXPECT_TRUE(fs::create_directories(path_of(dir.file("a/b/c"))));
  EXPECT_TRUE(std::filesystem::is_directory(dir.path() / "a/b/c"));
  qx::test::write_file(dir.path() / "file", "x");
  EXPECT_THROW(fs::create_directories(path_of(dir.file("file/sub"))),
               std::filesystem::filesystem_error);
}

TEST(TempDirectoryName, ReadsTmpdirAtEveryCall) {
  {
    qx::test::ScopedEnv const env("TMPDIR", "/some/where/");
    EXPECT_EQ(fs::temp_directory_name(), u"/some/where/");
  }
  for (char const* value : {"", static_cast<char const*>(nullptr)}) {
    qx::test::ScopedEnv const env("TMPDIR", value);
    EXPECT_EQ(fs::temp_directory_name(), u"/tmp");
  }
}

// Records every write and can fail calls on demand.
struct FakeCalls {
  static inline std::vector<std::size_t> writes;
  static inline std::vector<int> write_errors;  // consumed front to back; 0 = real write
  static inline std::size_t short_limit = 0;    // >0: write at most this many bytes per call
  static inline int close_calls = 0;
  static inline int close_error = 0;

  static ssize_t write(int fd, void const* data, std::size_t size) {
    if (!write_errors.empty()) {
      int const error = write_errors.front();
      write_errors.erase(write_errors.begin());
      if (error != 0) {
        errno = error;
        return -1;
      }
    }
    if (short_limit > 0 && size > short_limit)
      size = short_limit;
    writes.push_back(size);
    return fl::posix::system_calls().write(fd, data, size);
  }
  static int close(int fd) {
    ++close_calls;
    int const rc = fl::posix::system_calls().close(fd);
    if (close_error != 0) {
      errno = close_error;
      return -1;
    }
    return rc;
  }
};

class OutputStream : public ::testing::Test {
 protected:
  void SetUp() override {
    FakeCalls::writes.clear();
    FakeCalls::write_errors.clear();
    FakeCalls::short_limit = 0;
    FakeCalls::close_calls = 0;
    FakeCalls::close_error = 0;
    previous_ = &fl::posix::replace_syscalls(table_);
  }
  void TearDown() override { fl::posix::replace_syscalls(*previous_); }

  qx::test::TempDir dir_;
  fl::posix::syscalls table_{fl::posix::system_calls().open, &FakeCalls::write, &FakeCalls::close};
  fl::posix::syscalls const* previous_ = nullptr;
};

TEST_F(OutputStream, EachFlushIsOneWriteAndAppendKeepsContent) {
  qx::test::write_file(dir_.path() / "log", "old\n");
  fs::basic_ofstream<char> out(path_of(dir_.file("log")), std::ios::out | std::ios::app);
  ASSERT_TRUE(out.is_open());
  std::string const big(100000, 'x');
  out << "first " << big << '\n';
  out.flush();
  out << "second\n";
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(FakeCalls::writes, (std::vector<std::size_t>{big.size() + 7, 7}));
  EXPECT_EQ(qx::test::read_file(dir_.path() / "log"), "old\nfirst " + big + "\nsecond\n");
  EXPECT_EQ(FakeCalls::close_calls, 1);
  out.close();  // harmless second close
  EXPECT_EQ(FakeCalls::close_calls, 1);
}

TEST_F(OutputStream, InterruptedAndShortWritesAreContinued) {
  FakeCalls::write_errors = {EINTR, 0, EINTR};
  FakeCalls::short_limit = 3;
  fs::basic_ofstream<char> out(path_of(dir_.file("log")), std::ios::out | std::ios::app);
  out << "abcdefgh";
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(FakeCalls::writes, (std::vector<std::size_t>{3, 3, 2}));
  EXPECT_EQ(qx::test::read_file(dir_.path() / "log"), "abcdefgh");
}

TEST_F(OutputStream, FailuresSetFailbitAndCloseIsNotRetried) {
  FakeCalls::write_errors = {ENOSPC};
  FakeCalls::close_error = EINTR;
  fs::basic_ofstream<char> out(path_of(dir_.file("log")), std::ios::out | std::ios::app);
  out << "lost";
  out.flush();
  EXPECT_TRUE(out.bad() || out.fail());
  EXPECT_EQ(out.last_error(), ENOSPC);
  out.clear();
  out.close();
  EXPECT_TRUE(out.fail());
  EXPECT_EQ(FakeCalls::close_calls, 1);
  EXPECT_EQ(qx::test::read_file(dir_.path() / "log"), "");
}

TEST(OutputStreamOpen, PrivateFileRefusesLinksAndIsCreatedOwnerOnly) {
  qx::test::TempDir const dir;
  fs::open_options const priv{.private_file = true, .create_mode = 0600};
  {
    fs::basic_ofstream<char> out(path_of(dir.file("mine")), std::ios::out | std::ios::app, priv);
    ASSERT_TRUE(out.is_open());
  }
  struct stat st {};
  ASSERT_EQ(::stat(dir.file("mine").c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600U);

  qx::test::write_file(dir.path() / "victim", "keep");
  std::filesystem::create_symlink(dir.path() / "victim", dir.path() / "link");
  fs::basic_ofstream<char> refused(path_of(dir.file("link")), std::ios::out | std::ios::app, priv);
  EXPECT_FALSE(refused.is_open());
  std::filesystem::create_hard_link(dir.path() / "victim", dir.path() / "hard");
  fs::basic_ofstream<char> hard(path_of(dir.file("hard")), std::ios::out | std::ios::app, priv);
  EXPECT_FALSE(hard.is_open());
  fs::basic_ofstream<char> plain(path_of(dir.file("link")), std::ios::out | std::ios::app);
  EXPECT_TRUE(plain.is_open());  // an ordinary open follows the link: the caller's choice
  plain.close();
  EXPECT_EQ(qx::test::read_file(dir.path() / "victim"), "keep");
}

TEST(InputStream, FoldersAndEmptyNamesDoNotOpen) {
  qx::test::TempDir const dir;
  qx::test::write_file(dir.path() / "f", "line\n");
  EXPECT_TRUE(fs::basic_ifstream<char>(path_of(dir.file("f"))).is_open());
  EXPECT_FALSE(fs::basic_ifstream<char>(path_of(dir.path().string())).is_open());
  EXPECT_FALSE(fs::basic_ifstream<char>(basic_path()).is_open());
  EXPECT_FALSE(fs::basic_ofstream<char>(basic_path()).is_open());
}

}  // namespace
