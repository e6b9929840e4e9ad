#include "install/cpputil/input_file_writer.hpp"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <array>
#include <csignal>
#include <cstddef>
#include <fstream>
#include <random>
#include <set>
#include <system_error>

#include "install/cpputil/input_file_diagnostics.hpp"
#include "support/support.hpp"

#ifndef SYS_rename
#define SYS_rename SYS_renameat  // newer processors have renameat and renameat2 only
#endif

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
  void SetUp() override { dir_.write("f/a.txt", "old"); }
  [[nodiscard]] std::set<std::string> names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder_))
      names.insert(entry.path().filename());
    return names;
  }
  qx::test::TempDir dir_;
  std::string const folder_ = dir_.file("f");
};

TEST_P(WriteFile, ReplacesTheFileAtOnceOrLeavesItAndNoTemporaryFile) {
  auto const& row = GetParam();
  std::string const& setup = row["setup"];
  std::string const target = folder_ + "/" + row["target"];
  if (setup == "read-only" || setup == "full") {
    if (auto const refused = qx::test::mount_small_disk(folder_, "64k")) GTEST_SKIP() << *refused;
    dir_.write("f/a.txt", "old");
  }
  if (setup == "folder") std::filesystem::create_directory(target);
  if (setup == "link") std::filesystem::create_symlink(folder_ + "/a.txt", target);
  if (setup == "read-only") {
    EXPECT_EQ(mount(nullptr, folder_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  }
  if (setup == "full")
    for (std::ofstream filler(folder_ + "/filler");
         filler << std::string(4096, 'x') << std::flush;) {
    }
  auto const before = names();
  std::string what = qx::test::what_of<std::system_error>([&] {
    writeInputFile(utf8_to_ustring(target), {{utf8_to_ustring(row["key"]), u"new"}});
  });
  if (auto const at = what.find(folder_); at != std::string::npos)
    what.replace(at, folder_.size(), "D");
  EXPECT_EQ(what, row["error"]);
  EXPECT_EQ(names(), before);  // nothing left behind, nothing lost
  bool const written = what == "no exception";
  EXPECT_EQ(qx::test::read_file(folder_ + "/a.txt"),
            written && row["target"] == "a.txt" ? "k = new\n" : "old");
  if (written) {
    EXPECT_EQ(qx::test::read_file(target), "k = new\n");
    EXPECT_EQ(std::filesystem::symlink_status(target).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  }
}
QX_TABLE_TESTS(WriteFile, "input_file_write.tsv");

// The writer dies at its rename, as in a crash right before it: a seccomp filter makes each
// kind of rename fatal. The old file stays, and the whole new text beside it.
TEST_F(WriteFile, ACrashBeforeTheRenameLeavesTheOldFile) {
  int const status = qx::test::in_child([this] {
    std::vector<sock_filter> filter{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr))};
    for (long const call : {SYS_rename, SYS_renameat, SYS_renameat2})
      filter.insert(filter.end(),
                    {BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<unsigned>(call), 0, 1),
                     BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS)});
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    sock_fprog const program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
      return 3;
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
