#include "fl/filesystem.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <vector>

#include "support/fake_syscalls.hpp"
#include "support/table.hpp"
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
  for (auto const& row : qx::test::read_table("filesystem_paths.tsv")) {
    ustring const text = fl::i18n::utf8_to_ustring(row[0]);
    EXPECT_EQ(fl::i18n::ustring_to_utf8(fs::detail::extract_parent_path(text)), row[1]) << row[0];
    EXPECT_EQ(fs::detail::make_native_access_form_with_cleanup_i18n(basic_path(text)), row[2]);
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

TEST(OutputStream, EachFlushIsOneWriteAndAppendKeepsContent) {
  qx::test::TempDir const dir;
  qx::test::FakeSyscalls calls;
  qx::test::write_file(dir.path() / "log", "old\n");
  fs::basic_ofstream<char> out(path_of(dir.file("log")), std::ios::out | std::ios::app);
  ASSERT_TRUE(out.is_open());
  std::string const big(100000, 'x');
  out << "first " << big << '\n';
  out.flush();
  out << "second\n";
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_EQ(calls.writes, (std::vector<std::size_t>{big.size() + 7, 7}));
  EXPECT_EQ(qx::test::read_file(dir.path() / "log"), "old\nfirst " + big + "\nsecond\n");
  EXPECT_EQ(calls.close_calls, 1);
  out.close();  // harmless second close
  EXPECT_EQ(calls.close_calls, 1);
}

TEST(OutputStreamOpen, PrivateFileRefusesLinks) {
  qx::test::TempDir const dir;
  fs::open_options const priv{.private_file = true, .create_mode = 0600};
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
