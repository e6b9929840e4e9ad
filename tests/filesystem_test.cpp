#include "fl/filesystem.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <fstream>
#include <tuple>

#include "support/support.hpp"

namespace fs = fl::filesystem;
using fl::i18n::utf8_to_ustring, fs::basic_path;

basic_path path_of(std::string const& utf8) {
  return fs::make_path(utf8);
}

// On POSIX the native form of a path is its text.
QX_TABLE_TEST(PathText, ParentFolderAndJoinedName, "filesystem_paths.tsv") {
  ustring const text = utf8_to_ustring(GetParam()["path"]);
  EXPECT_EQ(fl::i18n::ustring_to_utf8(fs::detail::extract_parent_path(text)), GetParam()["parent"]);
  EXPECT_EQ(fs::detail::concatenate_pathname(text, u"qx", true),
            utf8_to_ustring(GetParam()["joined"]));
  EXPECT_EQ(fs::make_path(text).string(), text);  // the empty text too: the empty path
}

TEST(Exists, MissingEmptyAndFailingLookups) {
  qx::test::TempDir const dir;
  EXPECT_TRUE(fs::exists(path_of(dir.write("f", "x"))));
  EXPECT_TRUE(fs::exists(path_of(dir.path().string())));
  EXPECT_FALSE(fs::exists(path_of(dir.file("missing"))));
  EXPECT_FALSE(fs::exists(basic_path()));
  EXPECT_FALSE(fs::exists(path_of(dir.file("f") + "/below")));  // ENOTDIR counts as missing
  EXPECT_THROW((void)fs::exists(path_of(dir.file(std::string(5000, 'n')))),
               std::filesystem::filesystem_error);
}

QX_TABLE_TEST(TempDirectoryName, ReadsTmpdirAtEveryCall, "temp_directory_name.tsv") {
  std::string const& value = GetParam()["TMPDIR"];
  qx::test::ScopedEnv const env("TMPDIR", value == "-" ? nullptr : value.c_str());
  EXPECT_EQ(fl::i18n::ustring_to_utf8(fs::temp_directory_name()), GetParam()["folder"]);
}

TEST(FileStreams, AppendKeepsContentAndCloseTwiceIsHarmless) {
  qx::test::TempDir const dir;
  fs::basic_ofstream<char> out(path_of(dir.write("log", "old\n")), std::ios::out | std::ios::app);
  ASSERT_TRUE(out.is_open());
  out << "new\n";
  out.close();
  out.close();
  EXPECT_TRUE(out.good());
  EXPECT_FALSE(out.is_open());
  EXPECT_EQ(qx::test::read_file(dir.file("log")), "old\nnew\n");
}

// A NUL would cut the name short, and so name another file.
TEST(FileStreams, EveryOperationRefusesANameThatHoldsNul) {
  qx::test::TempDir const dir;
  basic_path const cut = path_of(dir.write("f", "x") + std::string("\0/../g", 6));
  EXPECT_FALSE(fs::exists(cut));
  EXPECT_THROW(fs::create_directories(cut), std::filesystem::filesystem_error);
  std::error_code const refused = std::make_error_code(std::errc::invalid_argument);
  EXPECT_EQ(fs::basic_ifstream<char>(cut).error(), refused);
  EXPECT_EQ(fs::basic_ofstream<char>(cut, std::ios::app).error(), refused);
  EXPECT_EQ(std::tuple(fs::rename(cut, path_of(dir.file("g"))), fs::remove_file(cut),
                       fs::sync_folder(cut)),
            std::tuple(refused, refused, refused));
  EXPECT_EQ(qx::test::read_file(dir.file("f")), "x");
}

// The file grows after the open, so the write passes the limit that it was expected to fit:
// it fails with EFBIG, SIGXFSZ never reaches the process.
TEST(FileStreams, AWritePastTheFileSizeLimitFailsWithoutKillingTheProcess) {
  qx::test::TempDir const dir;
  std::string const file = dir.write("f", "");
  int const status = qx::test::in_child([&file] {
    rlimit const limit{4096, 4096};
    if (setrlimit(RLIMIT_FSIZE, &limit) != 0) return 3;
    fs::basic_ofstream<char> out(path_of(file), std::ios::app);
    std::ofstream(file, std::ios::app) << std::string(4000, 'g');
    out << std::string(200, 'S') << std::flush;
    return out.fail() && out.error() == std::errc::file_too_large && out.written() == 96 ? 0 : 2;
  });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

// Whatever is at the name is refused, even a link to nowhere, which is never followed.
TEST(FileStreams, AnExclusiveOpenOnlyCreates) {
  qx::test::TempDir const dir;
  std::filesystem::create_symlink(dir.file("absent"), dir.file("link"));
  fs::basic_ofstream<char> const out(path_of(dir.file("link")), std::ios::out, {.exclusive = true});
  EXPECT_EQ(out.error(), std::errc::file_exists);
  EXPECT_FALSE(std::filesystem::exists(dir.file("absent")));
}

QX_TABLE_TEST(JudgeDestination, ByTheFoldersTheSystemResolves, "filesystem_destinations.tsv") {
  qx::test::TempDir const dir;
  std::filesystem::path const before = std::filesystem::current_path();
  std::filesystem::current_path(dir.path());
  std::istringstream setup(GetParam()["setup"]);
  for (std::string name, mode; setup >> name >> mode;) {
    if (mode == "->") {
      setup >> mode;
      std::filesystem::create_symlink(mode, name);
      continue;
    }
    std::filesystem::create_directory(name);
    chmod(name.c_str(), std::stoul(mode, nullptr, 8));
    if (auto const colon = mode.find(':'); colon != std::string::npos) {
      uid_t const owner = std::stoul(mode.substr(colon + 1));
      if (chown(name.c_str(), owner, owner) != 0) GTEST_SKIP() << "cannot give away a folder";
    }
  }
  fs::destination const judged = fs::judge_destination(path_of(GetParam()["path"]));
  std::filesystem::current_path(before);
  std::string real =
      judged.error ? judged.error.message() : fl::i18n::ustring_to_utf8(judged.real_path.string());
  std::string const prefix = std::filesystem::canonical(dir.path()).string();
  if (real.starts_with(prefix)) real.replace(0, prefix.size(), "D");
  EXPECT_EQ(real, GetParam()["real"]);
  EXPECT_EQ(judged.shared ? "yes" : "no", GetParam()["shared"]);
}

// The name is replaced only while it still holds the file (or the nothing) seen before.
TEST(Replace, OnlyWhatWasSeenAtTheName) {
  qx::test::TempDir const dir;
  std::error_code error;
  fs::file_entry const seen = fs::symlink_status(path_of(dir.write("a", "old")), error);
  fs::file_entry const nothing = fs::symlink_status(path_of(dir.file("b")), error);
  std::error_code const stale(ESTALE, std::generic_category());
  EXPECT_EQ(fs::replace(path_of(dir.write("n1", "1")), path_of(dir.file("a")), seen),
            std::error_code());
  EXPECT_EQ(fs::replace(path_of(dir.write("n2", "2")), path_of(dir.file("a")), seen), stale);
  dir.write("b", "planted");
  EXPECT_EQ(fs::replace(path_of(dir.file("n2")), path_of(dir.file("b")), nothing), stale);
  EXPECT_EQ(qx::test::read_file(dir.file("a")) + qx::test::read_file(dir.file("b")), "1planted");
}

// No link is followed anywhere in a private file's path, a folder's included.
TEST(FileStreams, PrivateFileRefusesLinksButAPlainOpenFollowsThem) {
  qx::test::TempDir const dir;
  fs::open_options const private_file{.private_file = true, .create_mode = 0600};
  std::filesystem::create_symlink(dir.write("victim", "keep"), dir.file("link"));
  std::filesystem::create_hard_link(dir.file("victim"), dir.file("hard"));
  std::filesystem::create_symlink(dir.path(), dir.file("folder"));
  for (char const* name : {"link", "hard", "folder/victim"})
    EXPECT_FALSE(
        fs::basic_ofstream<char>(path_of(dir.file(name)), std::ios::app, private_file).is_open())
        << name;
  EXPECT_TRUE(fs::basic_ofstream<char>(path_of(dir.file("link")), std::ios::app).is_open());
  EXPECT_EQ(qx::test::read_file(dir.file("victim")), "keep");
}

// Lines of every length, across the reader's chunks and longer than its buffer: split at line
// feeds only, a CR kept, a last line without its line feed kept; both forms give the same.
TEST(LineReader, SplitsAtLineFeedsWhateverTheLengths) {
  qx::test::TempDir const dir;
  std::vector<std::string> lines;
  std::string text;
  for (std::size_t length : {0, 1, 65535, 0, 65536, 200000, 7, 131072, 3}) {
    lines.push_back(std::string(length, 'a') + (length == 7 ? std::string("\r\0b", 3) : ""));
    text += lines.back() + "\n";
  }
  lines.emplace_back("last, without a line feed");
  text += lines.back();
  std::string const file = dir.write("lines.txt", text);
  fs::line_reader copies(path_of(file));
  fs::line_reader views(path_of(file));
  std::vector<std::string> copied;
  std::vector<std::string> viewed;
  std::string line;
  std::string_view view;
  while (copies.next(line)) copied.push_back(line);
  while (views.next(view)) viewed.emplace_back(view);
  EXPECT_EQ(copied, lines);
  EXPECT_EQ(viewed, lines);
  EXPECT_EQ(views.error(), std::error_code());
  fs::line_reader folder(path_of(dir.path().string()));
  EXPECT_FALSE(folder.next(view));
  EXPECT_EQ(folder.error(), std::errc::is_a_directory);
}
