#include "install/cpputil/input_file_parser.hpp"

#include "support/trace_capture.hpp"

using fl::i18n::ustring_to_utf8, fl::i18n::utf8_to_ustring, install::cpputil::InputFileParser;

std::string render(install::cpputil::PropertyMap const& map) {
  std::string out;
  for (auto const& [key, value] : map) {
    auto const* single = std::get_if<ustring>(&value);
    for (ustring const& item : single ? std::vector{*single} : std::get<1>(value))
      out += ustring_to_utf8(key) + (single ? "='" : "[]='") + ustring_to_utf8(item) + "'\n";
  }
  return out;
}

class InputFile : public testing::TestWithParam<qx::test::Row> {
 protected:
  qx::test::TempDir dir_;
  InputFileParser parser_;
};

TEST_P(InputFile, KeepsTrimmedContentLinesTracesThemAndParsesThem) {
  ustring const file = utf8_to_ustring(dir_.write("answers.txt", GetParam()["content"]));
  EXPECT_EQ(parser_.getUserInputsFromFile(file), GetParam()["kept"]);
  qx::test::TraceCapture const capture("install::cpputil::InputFileParser");
  EXPECT_EQ(render(parser_.parse(file)), GetParam()["map"]);
  std::string traced;
  for (auto const& line : capture.lines()) traced += line + "\n";
  EXPECT_EQ(traced, GetParam()["trace"]);
  EXPECT_EQ(render(parser_.convertInputsToPropertyMap(parser_.getUserInputsFromFile(file))),
            GetParam()["map"]);
}
QX_TABLE_TESTS(InputFile, "input_file_parser_lines.tsv");

class PropertyLines : public InputFile {};
TEST_P(PropertyLines, ConvertToPropertiesAsParseDoesForTheKeptLines) {
  EXPECT_EQ(render(parser_.convertInputsToPropertyMap(GetParam()["inputs"])), GetParam()["map"]);
  ustring const file = utf8_to_ustring(dir_.write("answers.txt", GetParam()["inputs"]));
  EXPECT_EQ(parser_.parse(file),
            parser_.convertInputsToPropertyMap(parser_.getUserInputsFromFile(file)));
}
QX_TABLE_TESTS(PropertyLines, "input_file_parser_map.tsv");

QX_TABLE_TEST(TextHelpers, TrimLowerUnderscoresAndShouldAppend, "input_file_parser_strings.tsv") {
  InputFileParser parser;
  std::string const& text = GetParam()["text"];
  ustring blanks = utf8_to_ustring(text);
  parser.removeUnderscores(blanks);
  EXPECT_EQ(parser.trim(text), GetParam()["trim"]);
  EXPECT_EQ(parser.ltrim(text), GetParam()["ltrim"]);
  EXPECT_EQ(parser.rtrim(text), GetParam()["rtrim"]);
  EXPECT_EQ(parser.stringToLowerCase(text), GetParam()["lower"]);
  EXPECT_EQ(ustring_to_utf8(blanks), GetParam()["underscores"]);
  EXPECT_EQ(shouldAppend(text) ? "kept" : "dropped", GetParam()["shouldAppend"]);
}

TEST_F(InputFile, AMissingFileOrAnEmptyNameThrows) {
  for (ustring const& name : {ustring(), utf8_to_ustring(dir_.file("missing.txt"))})
    EXPECT_THAT([&] { static_cast<void>(parser_.parse(name)); },
                testing::ThrowsMessage<std::runtime_error>("input file does not exist!"));
}

TEST_F(InputFile, AnythingButARegularFileHasNoLinesAndIsNotWaitedFor) {
  qx::test::Deadline const deadline(10);
  for (std::string const& name :
       {dir_.path().string(), dir_.fifo("fifo"), std::string("/dev/zero")}) {
    EXPECT_EQ(parser_.getUserInputsFromFile(utf8_to_ustring(name)), "") << name;
    EXPECT_TRUE(parser_.parse(utf8_to_ustring(name)).empty()) << name;
  }
}

TEST_F(InputFile, LinesHaveNoLengthLimit) {
  std::string const value(10U << 20, 'x');
  EXPECT_EQ(parser_.parse(utf8_to_ustring(dir_.write("line.txt", "K=" + value))),
            (install::cpputil::PropertyMap{{u"k", ustring(value.size(), u'x')}}));
}
