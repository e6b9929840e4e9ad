#include "fl/filesystem.hpp"

#include <filesystem>

#include "support/support.hpp"

namespace fs = fl::filesystem;
using fs::basic_path;

basic_path path_of(std::string const& utf8) {
  return fs::make_path(fl::i18n::utf8_to_ustring(utf8));
}

QX_TABLE_TEST(PathText, ParentFolder, "filesystem_paths.tsv") {
  ustring const text = fl::i18n::utf8_to_ustring(GetParam()["path"]);
  EXPECT_EQ(fl::i18n::ustring_to_utf8(fs::detail::extract_parent_path(text)), GetParam()["parent"]);
  EXPECT_EQ(fs::make_path(text).string(), text);  // the native form is the text itself
}

TEST(PathText, ConcatenateAddsOneSeparatorAndEmptyTextIsTheEmptyPath) {
  EXPECT_TRUE(fs::make_path(u"").empty());
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

class FileStreams : public testing::Test {
 protected:
  qx::test::TempDir dir_;
};

TEST_F(FileStreams, AppendKeepsContentAndCloseTwiceIsHarmless) {
  qx::test::write_file(dir_.path() / "log", "old\n");
  fs::basic_ofstream<char> out(path_of(dir_.file("log")), std::ios::out | std::ios::app);
  ASSERT_TRUE(out.is_open());
  out << "new\n";
  out.close();
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_FALSE(out.is_open());
  EXPECT_EQ(qx::test::read_file(dir_.path() / "log"), "old\nnew\n");
}

TEST_F(FileStreams, PrivateFileRefusesLinksButAPlainOpenFollowsThem) {
  fs::open_options const private_file{.private_file = true, .create_mode = 0600};
  qx::test::write_file(dir_.path() / "victim", "keep");
  std::filesystem::create_symlink(dir_.path() / "victim", dir_.path() / "link");
  std::filesystem::create_hard_link(dir_.path() / "victim", dir_.path() / "hard");
  for (char const* name : {"link", "hard"}) {
    EXPECT_FALSE(
        fs::basic_ofstream<char>(path_of(dir_.file(name)), std::ios::app, private_file).is_open())
        << name;
  }
  EXPECT_TRUE(fs::basic_ofstream<char>(path_of(dir_.file("link")), std::ios::app).is_open());
  EXPECT_EQ(qx::test::read_file(dir_.path() / "victim"), "keep");
}
