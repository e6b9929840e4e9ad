#include "install/cpputil/input_file_diagnostics.hpp"

#include <random>

#include "diagnostic_text.hpp"
#include "inputfile/suggestion.hpp"
#include "support/support.hpp"

using namespace install::cpputil;

std::string render(std::vector<InputFileDiagnostic> const& found) {
  std::string out;
  for (auto const& d : found) out += (out.empty() ? "" : "|") + qx::tools::diagnostic_text(d);
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

// Every slip of the corpus, checked against rules for all the keys it was made from: at least
// 99% get the key that was meant, and none gets another.
TEST_F(Diagnostics, SuggestsTheKeyMeantForTheSlipsPeopleMake) {
  auto const slips = qx::test::read_table("key_suggestions.tsv");
  std::string content;
  std::map<std::string, std::string> rules;
  for (auto const& row : slips) {
    content += row["slip"] + "=x\n";
    rules.emplace(row["key"], "strval:x");
  }
  std::map<std::size_t, std::string> suggested;  // by line
  for (auto const& found : check(content, rules).diagnostics) {
    auto const at = found.message.find("; did you mean ");
    if (found.code == "unknown-key" && at != std::string::npos)
      suggested[found.line] = found.message.substr(at + 15, found.message.size() - at - 16);
  }
  std::size_t meant = 0;
  for (auto const& [line, key] : suggested) {
    EXPECT_EQ(key, slips.at(line - 1)["key"]) << slips.at(line - 1)["slip"];
    meant += key == slips.at(line - 1)["key"] ? 1 : 0;
  }
  std::cout << meant << " of " << slips.size() << " slips get the key meant\n";
  EXPECT_GE(meant * 100, slips.size() * 99);
}

TEST(DiagnosticsFile, AMissingFileThrowsAsParseDoes) {
  EXPECT_THAT([] { (void)checkInputFile(u"/no/such/answers.txt"); },
              testing::ThrowsMessage<std::runtime_error>("input file does not exist!"));
}

// The index finds what comparing every word finds. Words of a few letters, digits and
// separators lie near one another; each set is asked once as it is (compared word by word) and
// once among enough words of bytes no query holds to be indexed.
TEST(Suggestions, TheIndexFindsWhatComparingEveryWordFinds) {
  using install::cpputil::suggestion::Candidates;
  std::mt19937 random(29);
  auto const made = [&random](std::string_view bytes, std::size_t length) {
    std::string word;
    while (word.size() < length) word += bytes[random() % bytes.size()];
    return word;
  };
  std::vector<std::string> others;
  for (std::size_t length = 1; length <= Candidates::indexed_length + 4; ++length)
    for (int n = 0; n < 64; ++n) others.push_back(made("\x80\x81\x82\x83\x84\x85\x86\x87", length));
  int indexed = 0;
  for (int round = 0; round < 100; ++round) {
    std::vector<std::string> words(random() % 40 + 1);
    for (auto& word : words) word = made("ab1_-", random() % (Candidates::indexed_length + 5) + 1);
    std::vector<std::string_view> alone(words.begin(), words.end()),
        among(others.begin(), others.end());
    among.insert(among.end(), words.begin(), words.end());
    Candidates const compared(alone), looked_up(among);
    for (int n = 0; n < 40; ++n) {
      std::string const word = made("abAB1_- ", random() % (Candidates::indexed_length + 5) + 1);
      EXPECT_EQ(compared.nearest(word), looked_up.nearest(word)) << word;
      indexed += word.size() > 3 && word.size() < Candidates::indexed_length ? 1 : 0;
    }
  }
  EXPECT_GT(indexed, 2000);
}
