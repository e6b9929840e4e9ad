#include "install/cpputil/input_file_parser.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "support/table.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;
using install::cpputil::InputFileParser;

// One line per key in map order, key='value', or one line key[]='item' per list item.
std::string render(install::cpputil::PropertyMap const& map) {
  std::string out;
  for (auto const& [key, value] : map) {
    auto const* single = std::get_if<ustring>(&value);
    for (ustring const& item : single ? std::vector{*single} : std::get<1>(value))
      out += ustring_to_utf8(key) + (single ? "='" : "[]='") + ustring_to_utf8(item) + "'\n";
  }
  return out;
}

// Each kept line is traced at info level (4); turning them into properties traces nothing.
// A missing file throws; one that does not open, such as a folder, has no lines.
TEST(InputFileParser, ReadsTrimmedContentLinesTracesAndParsesThem) {
  qx::test::TempDir const dir;
  ustring const file = utf8_to_ustring(dir.file("answers.txt"));
  InputFileParser parser;
  for (auto const& row : qx::test::read_table("input_file_parser_lines.tsv")) {
    qx::test::write_file(dir.file("answers.txt"), row[1]);
    EXPECT_EQ(parser.getUserInputsFromFile(file), row[2]) << row[0];
    qx::test::TraceCapture const capture("install::cpputil::InputFileParser");
    EXPECT_EQ(render(parser.parse(file)), row[3]) << row[0];
    std::string traced;
    for (auto const& record : capture.records())
      traced += std::to_string(record.severity) + record.message + "\n";
    EXPECT_EQ(traced, row[4]) << row[0];
  }
  for (ustring const& name : {ustring(), utf8_to_ustring(dir.file("missing.txt"))})
    EXPECT_THAT([&] { static_cast<void>(parser.parse(name)); },
                testing::ThrowsMessage<std::runtime_error>("input file does not exist!"));
  EXPECT_EQ(parser.getUserInputsFromFile(utf8_to_ustring(dir.path().string())), "");  // folder
}

TEST(InputFileParser, ConvertsLinesToProperties) {
  InputFileParser parser;
  for (auto const& row : qx::test::read_table("input_file_parser_map.tsv"))
    EXPECT_EQ(render(parser.convertInputsToPropertyMap(row[1])), row[2]) << row[0];
}

TEST(InputFileParser, StringHelpers) {
  InputFileParser parser;
  for (auto const& row : qx::test::read_table("input_file_parser_strings.tsv")) {
    ustring blanks = utf8_to_ustring(row[1]);
    parser.removeUnderscores(blanks);
    std::vector<std::string> const got = {
        parser.trim(row[1]),     parser.ltrim(row[1]),
        parser.rtrim(row[1]),    parser.stringToLowerCase(row[1]),
        ustring_to_utf8(blanks), shouldAppend(row[1]) ? "kept" : "dropped"};
    EXPECT_EQ(got, std::vector<std::string>(row.begin() + 2, row.end())) << row[0];
  }
}

}  // namespace
