#include "install/cpputil/input_file_diagnostics.hpp"

#include "support/support.hpp"

using namespace install::cpputil;

std::string render(std::vector<InputFileDiagnostic> const& found) {
  std::string out;
  for (auto const& d : found)
    out += (out.empty() ? "" : "|") + std::to_string(d.line) + ":" + std::to_string(d.column) +
           " " + toString(d.severity) + " " + d.code + ": " + d.message;
  return out;
}

class Diagnostics : public testing::TestWithParam<qx::test::Row> {
 protected:
  // Reads `content` as an input file with diagnostics; the map must be what parse returns.
  InputFileReport check(std::string const& content,
                        std::map<std::string, std::string> const& rules = {}) {
    ustring const file = fl::i18n::utf8_to_ustring(dir_.write("in.txt", content));
    InputFileReport report = checkInputFile(file, rules);
    EXPECT_EQ(report.properties, InputFileParser().parse(file)) << content.substr(0, 200);
    return report;
  }
  qx::test::TempDir dir_;
};

TEST_P(Diagnostics, ReportsEveryFindingInLineOrder) {
  std::map<std::string, std::string> rules;
  std::istringstream items(GetParam()["rules"]);
  for (std::string item; std::getline(items, item, '|');)
    rules.emplace(item.substr(0, item.find('=')), item.substr(item.find('=') + 1));
  EXPECT_EQ(render(check(GetParam()["content"], rules).diagnostics), GetParam()["found"]);
}
QX_TABLE_TESTS(Diagnostics, "input_file_diagnostics.tsv");

TEST_F(Diagnostics, TheMapIsWhatParseReturnsForEveryTestAndCorpusFile) {
  int files = 0;
  for (auto const& [table, column] : {std::pair{"input_file_parser_lines.tsv", "content"},
                                      std::pair{"input_file_parser_map.tsv", "inputs"}})
    for (auto const& row : qx::test::read_table(table)) files += (check(row[column]), 1);
  for (auto const& entry : std::filesystem::recursive_directory_iterator(QX_FUZZ_CORPUS_DIR))
    if (entry.is_regular_file()) files += (check(qx::test::read_file(entry.path())), 1);
  EXPECT_GT(files, 40);
}

TEST(DiagnosticsFile, AMissingFileThrowsAsParseDoes) {
  EXPECT_THAT([] { (void)checkInputFile(u"/no/such/answers.txt"); },
              testing::ThrowsMessage<std::runtime_error>("input file does not exist!"));
}
