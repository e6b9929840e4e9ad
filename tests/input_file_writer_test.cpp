#include "install/cpputil/input_file_writer.hpp"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <array>
#include <csignal>
#include <fstream>
#include <random>
#include <set>
#include <system_error>

#include "install/cpputil/input_file_diagnostics.hpp"
#include "support/support.hpp"

using namespace install::cpputil;
using fl::i18n::utf8_to_ustring;

std::vector<std::string> split(std::string const& text) {
  std::vector<std::string> items(1);
  for (char const c : text) {
    if (c == '|')
      items.emplace_back();
    else
      items.back().push_back(c);
  }
  return items;
}

class Writer : public testing::TestWithParam<qx::test::Row> {
 protected:
  std::string file(std::string const& content) { return dir_.write("in.txt", content); }
  PropertyMap parse(std::string const& content) {
    return InputFileParser().parse(utf8_to_ustring(file(content)));
  }
  qx::test::TempDir dir_;
};

TEST_P(Writer, WritesTheLinesThatReadBackOrRefusesNamingTheKey) {
  auto const& row = GetParam();
  PropertyValue value = utf8_to_ustring(row["value"]);
  if (row["kind"] != "single") {
    std::vector<ustring> entries;
    if (row["kind"] == "list")
      for (auto const& entry : split(row["value"])) entries.push_back(utf8_to_ustring(entry));
    value = entries;
  }
  PropertyMap const map{{utf8_to_ustring(row["key"]), value}};
  InputFileWriteOptions const options{
      row["withhold"].empty() ? std::vector<std::string>{} : split(row["withhold"]), row["header"]};
  std::string text;
  EXPECT_EQ(qx::test::what_of<std::invalid_argument>([&] { text = formatInputFile(map, options); }),
            row["error"].empty() ? "no exception" : row["error"]);
  EXPECT_EQ(text, row["text"]);
  if (row["error"].empty()) {
    EXPECT_EQ(parse(text), text.ends_with(": value withheld\n") ? PropertyMap{} : map);
  }
}
QX_TABLE_TESTS(Writer, "input_file_writer.tsv");

// The claim: every map parse returns is written, reads back equal, and writes the same again.
TEST_F(Writer, EveryMapOfTheReadersTablesAndCorpusReadsBackEqual) {
  std::vector<std::string> contents;
  for (auto const& [table, column] : {std::pair{"input_file_parser_lines.tsv", "content"},
                                      std::pair{"input_file_parser_map.tsv", "inputs"},
                                      std::pair{"input_file_diagnostics.tsv", "content"}})
    for (auto const& row : qx::test::read_table(table)) contents.push_back(row[column]);
  for (auto const& entry : std::filesystem::recursive_directory_iterator(QX_FUZZ_CORPUS_DIR))
    if (entry.is_regular_file()) contents.push_back(qx::test::read_file(entry.path()));
  for (std::string const& content : contents) {
    PropertyMap const map = parse(content);
    std::string const text = formatInputFile(map);
    EXPECT_EQ(parse(text), map) << content.substr(0, 200);
    EXPECT_EQ(formatInputFile(parse(text)), text);
  }
  EXPECT_GT(contents.size(), 70U);
}

TEST(WriterSurrogates, AnUnpairedSurrogateIsRefusedAndEscapedAPairIsWritten) {
  auto const refusal = [](PropertyMap const& map) {
    return qx::test::what_of<std::invalid_argument>([&] { (void)formatInputFile(map); });
  };
  std::string const unpaired = "holds an unpaired surrogate, which UTF-8 cannot carry";
  ustring const high(1, char16_t{0xD800});
  EXPECT_EQ(refusal({{u"k" + high, u"x"}}), "key \"k\\uD800\" cannot be written: it " + unpaired);
  EXPECT_EQ(refusal({{u"k", u"\u00c4\xDC00"}}),
            "key \"k\" cannot be written: its value " + unpaired);
  EXPECT_EQ(refusal({{u"k", std::vector<ustring>{u"product.x" + high}}}),
            "key \"k\" cannot be written: entry 1 " + unpaired);
  EXPECT_EQ(formatInputFile({{u"k\U0001F600", u"\U0001F600"}}),
            "k\xF0\x9F\x98\x80 = \xF0\x9F\x98\x80\n");
}

TEST(WriterMaps, KeysInMapOrderWithTheWithheldInPlace) {
  PropertyMap const map{{u"zeta", u"1"},
                        {u"product", std::vector<ustring>{u"A", u"B"}},
                        {u"license_key", u"secret"},
                        {u"\u00e4", u"2"}};
  EXPECT_EQ(
      formatInputFile(map, {{"License_Key"}, "Recorded"}),
      "# Recorded\n# license_key: value withheld\nproduct.A\nproduct.B\nzeta = 1\n\xC3\xA4 = 2\n");
}

class Template : public Writer {
 protected:
  // The template of `rules` checks with no error and no warning: what the rules themselves get
  // wrong is theirs to report, not the template's. False, after saying why, when it does not.
  // Each in a file of its own: ext4 flushes a file truncated and written again when it closes.
  bool checks_clean(std::map<std::string, std::string> const& rules, std::string const& name) {
    std::string const text = inputFileTemplate(rules);
    ustring const path = utf8_to_ustring(dir_.write(name, text));
    for (auto const& found : checkInputFile(path, rules).diagnostics) {
      if (found.severity == DiagnosticSeverity::note || found.code == "unknown-rule" ||
          found.code == "unmatchable-rule-key")
        continue;
      ADD_FAILURE() << found.line << ": " << found.message << "\n" << text;
      return false;
    }
    return true;
  }
};
TEST_P(Template, SaysWhatEachRuleAcceptsAndChecksWithoutErrorsOrWarnings) {
  std::map<std::string, std::string> rules;
  if (!GetParam()["rules"].empty())
    for (auto const& item : split(GetParam()["rules"]))
      rules.emplace(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
  EXPECT_EQ(inputFileTemplate(rules), GetParam()["template"]);
  EXPECT_TRUE(checks_clean(rules, "template.txt"));
}
QX_TABLE_TESTS(Template, "input_file_template.tsv");

// Rules made at random from what other formats, editors and typing slips put in keys and values.
TEST_F(Template, TheTemplateOfAnyRulesChecksClean) {
  static constexpr std::string_view pieces[] = {
      "a",        "Z",         " ",        "\t",
      "[",        "]",         "\r",       "\xEF\xBB\xBF",
      ";",        "//",        "*",        "#",
      "=",        ",",         ":",        "\"",
      "'",        "/",         "\\",       ".",
      "product",  "platform.", "_",        "\x01",
      "\xC2\x85", "\xFF",      "\xC3\xA9", std::string_view("\0", 1),
      "x #y"};
  std::mt19937 random(29);
  auto const text = [&random](unsigned most) {
    std::string out;
    for (unsigned n = random() % (most + 1); n > 0; --n)
      out += pieces[random() % std::size(pieces)];
    return out;
  };
  for (int seed = 0; seed < 2000; ++seed) {
    std::map<std::string, std::string> rules;
    for (unsigned n = random() % 4; n-- > 0;) {
      std::string rule = std::array{"strval:", "boolval", "intval", "rfile", ""}[random() % 5];
      if (rule.empty()) rule = text(2);
      for (unsigned v = rule == "strval:" ? random() % 3 + 1 : 0; v > 0; --v) rule += text(3) + ",";
      rules[text(4)] = rule;
    }
    if (!checks_clean(rules, std::to_string(seed) + ".txt")) break;
  }
}

// writeInputFile in the folder f, which holds a.txt ("old"); "D" in the table stands for f.
class WriteFile : public testing::TestWithParam<qx::test::Row> {
 protected:
  void SetUp() override { chmod(dir_.write("f/a.txt", "old").c_str(), 0644); }
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder_))
      names.insert(entry.path().filename());
    return names;
  }
  qx::test::TempDir dir_;
  std::string const folder_ = dir_.file("f");
};

// Sets up what the row's setup names at `target`; the reason when this machine cannot.
std::optional<std::string> make_setup(std::string const& setup, std::string const& folder,
                                      std::string const& target, qx::test::TempDir const& dir) {
  namespace fs = std::filesystem;
  if (setup == "read-only" || setup == "full" || setup == "device") {
    if (auto const refused = qx::test::mount_small_disk(folder, "64k")) return refused;
    chmod(dir.write("f/a.txt", "old").c_str(), 0644);
  }
  if (setup == "folder") fs::create_directory(target);
  if (setup == "link") fs::create_symlink(folder + "/a.txt", target);
  if (setup == "stdout") fs::create_symlink("/proc/self/fd/1", target);
  if (setup == "fifo") dir.fifo("f/fifo");
  if (setup == "device" && qx::test::make_device(target, 1, 7) != 0)
    return "cannot make a device here";
  if (setup == "owned" && (chown(target.c_str(), 4321, 4321) != 0 || chmod(target.c_str(), 0640)))
    return "cannot give a file to another user here";
  if (setup == "socket") {
    sockaddr_un address{};  // macOS's has a length field before the family
    address.sun_family = AF_UNIX;
    target.copy(address.sun_path, sizeof address.sun_path - 1);
    int const socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    bind(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    close(socket);
  }
  if (setup == "read-only" && qx::test::remount_read_only(folder) != 0)
    return "cannot make a read-only folder here";
  if (setup == "full")
    for (std::ofstream filler(folder + "/filler");
         filler << std::string(4096, 'x') << std::flush;) {
    }
  return std::nullopt;
}

TEST_P(WriteFile, ReplacesARegularFileAtOnceOrLeavesEverythingAsItWas) {
  auto const& row = GetParam();
  std::string const target = folder_ + "/" + row["target"];
  if (auto const refused = make_setup(row["setup"], folder_, target, dir_))
    GTEST_SKIP() << *refused;
  auto const before = names();
  auto const kind = std::filesystem::symlink_status(target).type();
  std::string what = qx::test::what_of<std::system_error>([&] {
    writeInputFile(utf8_to_ustring(target), {{utf8_to_ustring(row["key"]), u"new"}});
  });
  if (auto const at = what.find(folder_); at != std::string::npos)
    what.replace(at, folder_.size(), "D");
  EXPECT_EQ(what, row["error"]);
  bool const written = what == "no exception";
  auto after = before;
  if (written) after.insert(row["target"]);
  EXPECT_EQ(names(), after);  // nothing left behind, nothing lost
  EXPECT_EQ(qx::test::read_file(folder_ + "/a.txt"),
            written && row["target"] == "a.txt" ? "k = new\n" : "old");
  if (!written) {
    EXPECT_EQ(std::filesystem::symlink_status(target).type(), kind);
  }
  struct stat st {};
  if (written && lstat(target.c_str(), &st) == 0) {
    EXPECT_EQ(qx::test::read_file(target), "k = new\n");
    std::ostringstream kept;
    kept << std::oct << (st.st_mode & 07777) << std::dec << ' ';
    st.st_uid == geteuid() ? kept << "me" : kept << st.st_uid;
    EXPECT_EQ(kept.str(), row["kept"]);
  }
}
QX_TABLE_TESTS(WriteFile, "input_file_write.tsv");

// A user may not give a file away: replacing another user's file is refused, and it stays.
TEST_F(WriteFile, AnotherUsersFileThatTheCallerMayNotGiveAwayStays) {
  std::string const file = folder_ + "/a.txt";
  if (chown(file.c_str(), 4321, 4321) != 0 || chmod(folder_.c_str(), 0777) != 0 ||
      chmod(dir_.path().c_str(), 0711) != 0)
    GTEST_SKIP() << "cannot act as two other users here";
  int const status = qx::test::in_child([&file] {
    if (!qx::test::become_user(4322)) return 3;
    std::string const what = qx::test::what_of<std::system_error>([&file] {
      writeInputFile(utf8_to_ustring(file), {{u"k", u"new"}});
    });
    return what == "cannot write the answer file \"" + file +
                       "\": its owner and group cannot be given to the new file"
               ? 0
               : 2;
  });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(names(), std::set<std::string>{"a.txt"});
  EXPECT_EQ(qx::test::read_file(file), "old");
}

// The writer dies at its rename, as in a crash right before it: a seccomp filter makes each
// kind of rename fatal. The old file stays, and the whole new text beside it.
TEST_F(WriteFile, ACrashBeforeTheRenameLeavesTheOldFile) {
  int const status = qx::test::in_child([this] {
    if (!qx::test::kill_at_rename()) return 3;
    writeInputFile(utf8_to_ustring(folder_ + "/a.txt"), {{u"k", u"new"}});
    return 0;
  });
  if (WIFEXITED(status) && WEXITSTATUS(status) == 3) GTEST_SKIP() << "no seccomp filter here";
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS) << status;
  auto const left = names();  // ".a.txt.<random>.tmp" sorts first
  ASSERT_EQ(left.size(), 2U);
  EXPECT_EQ(qx::test::read_file(folder_ + "/a.txt"), "old");
  EXPECT_EQ(qx::test::read_file(folder_ + "/" + *left.begin()), "k = new\n");
}
