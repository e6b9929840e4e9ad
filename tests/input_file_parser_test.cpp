#include "install/cpputil/input_file_parser.hpp"

#include <gtest/gtest.h>

#include <unistd.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "foundation/log/diagnostic_logger.hpp"
#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

using fl::i18n::ustring_to_utf8;
using fl::i18n::utf8_to_ustring;
using install::cpputil::InputFileParser;
using install::cpputil::PropertyMap;

constexpr char const* channel = "install::cpputil::InputFileParser";

// One line per key in map order: key='value' for a single value, key=['a','b'] for a list.
std::string render(PropertyMap const& map) {
  std::string out;
  for (auto const& [key, value] : map) {
    out += ustring_to_utf8(key) + "=";
    if (auto const* single = std::get_if<ustring>(&value)) {
      out += "'" + ustring_to_utf8(*single) + "'\n";
      continue;
    }
    std::string items;
    for (auto const& item : std::get<std::vector<ustring>>(value)) {
      items += (items.empty() ? "'" : ",'") + ustring_to_utf8(item) + "'";
    }
    out += "[" + items + "]\n";
  }
  return out;
}

ustring write(qx::test::TempDir const& dir, std::string const& content) {
  qx::test::write_file(dir.file("answers.txt"), content);
  return utf8_to_ustring(dir.file("answers.txt"));
}

TEST(InputFileParser, ReadsTrimmedContentLines) {
  std::vector<std::pair<std::string, std::string>> const cases = {
      {"", ""},
      {"\n  \n# a\n   # note\n\t\f\v\n", ""},
      {"# answers\n\n  Color = Blue  \r\nproduct.Alpha", "Color = Blue\nproduct.Alpha\n"},
      {"key = value # note\n", "key = value # note\n"},
      {"a=1\r\nb\rc\r\n", "a=1\nb\rc\n"},
      {"\xEF\xBB\xBF# c\nx\n", "\xEF\xBB\xBF# c\nx\n"},  // a byte-order mark is content
      {std::string(" \0 \n\xC2\xA0\n\x85\xFF\n", 10), std::string("\0\n\xC2\xA0\n\x85\xFF\n", 8)},
  };
  qx::test::TempDir const dir;
  for (auto const& [file, inputs] : cases) {
    EXPECT_EQ(InputFileParser().getUserInputsFromFile(write(dir, file)), inputs) << file;
  }
}

TEST(InputFileParser, TracesKeptLinesAtInfoLevelOnly) {
  qx::test::TempDir const dir;
  ustring const name = write(dir, "# c\n  a = 1 \n\nproduct.x\n");
  InputFileParser parser;
  {
    qx::test::TraceCapture const debug_only(channel, foundation::log::debug_level);
    static_cast<void>(parser.getUserInputsFromFile(name));
    EXPECT_TRUE(debug_only.records().empty());
  }
  qx::test::TraceCapture capture(channel, foundation::log::info_level);
  std::string const inputs = parser.getUserInputsFromFile(name);
  std::vector<qx::test::TraceRecord> const expected = {{channel, 4, " line=a = 1"},
                                                       {channel, 4, " line=product.x"}};
  EXPECT_EQ(capture.records(), expected);
  capture.clear();
  static_cast<void>(parser.convertInputsToPropertyMap(inputs));
  EXPECT_TRUE(capture.records().empty());
}

TEST(InputFileParser, MissingFileThrowsAndUnopenableFileIsEmpty) {
  qx::test::TempDir const dir;
  InputFileParser parser;
  for (ustring const& name : {ustring(), utf8_to_ustring(dir.file("missing.txt"))}) {
    try {
      static_cast<void>(parser.parse(name));
      ADD_FAILURE() << "no exception for '" << ustring_to_utf8(name) << "'";
    } catch (std::runtime_error const& error) {
      EXPECT_STREQ(error.what(), "input file does not exist!");
    }
  }
  ustring const folder = utf8_to_ustring(dir.path().string());
  EXPECT_EQ(parser.getUserInputsFromFile(folder), "");
  EXPECT_TRUE(parser.parse(folder).empty());
  if (geteuid() != 0) {  // root reads any file
    ustring const locked = write(dir, "a=1\n");
    std::filesystem::permissions(dir.file("answers.txt"), std::filesystem::perms::none);
    EXPECT_EQ(parser.getUserInputsFromFile(locked), "");
  }
}

TEST(InputFileParser, StringHelpers) {
  for (std::string const line : {"", " ", "\t\r", "#x", "\n\v\f"}) {
    EXPECT_FALSE(shouldAppend(line)) << line;
  }
  for (std::string const line : {"a", " #x", "x#", "\xC2\xA0", "\x01"}) {
    EXPECT_TRUE(shouldAppend(line)) << line;
  }
  InputFileParser parser;
  EXPECT_EQ(parser.trim("\t a b \r\n"), "a b");
  EXPECT_EQ(parser.ltrim("  x \v"), "x \v");
  EXPECT_EQ(parser.rtrim("\f x "), "\f x");
  EXPECT_EQ(parser.trim(" \v\f ") + parser.ltrim(" ") + parser.rtrim("\t"), "");
  EXPECT_EQ(parser.trim("\xC2\xA0x\x1F"), "\xC2\xA0x\x1F");
  EXPECT_EQ(parser.stringToLowerCase("Dest_Folder-1 \xC3\x84"
                                     "B@[`{"),
            "dest_folder-1 \xC3\x84"
            "b@[`{");
  ustring text = u"a_b__c_\u00C4\U0001F600";
  parser.removeUnderscores(text);
  EXPECT_EQ(text, u"a b  c \u00C4\U0001F600");
}

TEST(InputFileParser, ConvertsLinesToProperties) {
  std::vector<std::pair<std::string, std::string>> const cases = {
      {"", ""},
      {"a=1", ""},
      {"a=1\n", "a='1'\n"},
      {"a=1\nb=2", "a='1'\n"},
      {"a=b=c\n", "a='b=c'\n"},
      {"a==b\n", "a='b'\n"},
      {"a= =b\n", "a='=b'\n"},
      {"a=\nb==\n", "a=''\nb=''\n"},
      {"=x\n = x\n", ""},
      {"a=b#c\n", "a='b#c'\n"},
      {" Key Name = Some_Value \n", "key name='Some_Value'\n"},
      {" \t\v\f\rk\r = \tv\n\xC2\xA0k=1\n", "k='v'\n\xC2\xA0k='1'\n"},
      {"product..Alpha\nproduct.Alpha.Beta\nproduct.  Alpha  \nproduct._A_\nproduct.\n",
       "product=['Alpha','Alpha.Beta','Alpha',' A ','']\n"},
      {"my product.A\nx.platform.y\n.product.z\n",
       "=['product.z']\nmy product=['A']\nx=['platform.y']\n"},
      {"product.Alpha=1\n", "product.alpha='1'\n"},
      {"x.product.y\nx=1\n", "x='1'\n"},
      {"x=1\nx.product.y\n", "x='1'\n"},
      {"Color=a\nCOLOR=b\n\xC3\x84PFEL=1\n", "color='b'\n\xC3\x84pfel='1'\n"},
      {"Color = Blue\nproduct.Alpha_Beta\nproduct.Gamma\nplatform.x86\nPRODUCT=Delta\nplatform = "
       "x\n"
       "color=Red\nProduct.Epsilon\njust text\n",
       "color='Red'\nplatform=['x86']\nproduct=['Alpha Beta','Gamma']\n"},
      // UTF-16 code-unit order: a prefix first, a surrogate pair before U+FF21.
      {"b=1\nab=2\na=3\n\xEF\xBC\xA1=4\n\xF0\x9F\x98\x80=5\n",
       "a='3'\nab='2'\nb='1'\n\xF0\x9F\x98\x80='5'\n\xEF\xBC\xA1='4'\n"},
      // Ill-formed UTF-8: one U+FFFD per maximal subpart.
      {"k=\xFF\xFE\n\xC0=1\n\xFFproduct.\xE2\x82_\n",
       "k='\xEF\xBF\xBD\xEF\xBF\xBD'\n\xEF\xBF\xBD='1'\n\xEF\xBF\xBDproduct=['\xEF\xBF\xBD ']\n"},
  };
  InputFileParser parser;
  for (auto const& [inputs, map] : cases) {
    EXPECT_EQ(render(parser.convertInputsToPropertyMap(inputs)), map) << inputs;
  }
}

TEST(InputFileParser, ParsesFiles) {
  qx::test::TempDir const dir;
  InputFileParser parser;
  EXPECT_EQ(
      render(parser.parse(write(dir, "# answers\r\n  Color = Blue \r\n\r\nproduct.A_B\r\nx=1"))),
      "color='Blue'\nproduct=['A B']\nx='1'\n");
  EXPECT_TRUE(parser.parse(write(dir, "# only\n  # comments\n")).empty());

  std::string const long_value(4 << 20, 'v');
  PropertyMap const big =
      parser.parse(write(dir, "big = " + long_value + " \nproduct._" + long_value));
  EXPECT_EQ(std::get<ustring>(big.at(u"big")), ustring(long_value.size(), u'v'));
  EXPECT_EQ(std::get<std::vector<ustring>>(big.at(u"product")),
            std::vector<ustring>{u" " + ustring(long_value.size(), u'v')});

  // A million lines: comments, blanks, list lines and reassigned keys in turn.
  std::string file;
  for (int i = 0; i < 1'000'000; ++i) {
    char const* const kinds[] = {"# c\n", " \t\n", "product.p_", "K"};
    file += kinds[i % 4];
    if (i % 4 == 2)
      file += std::to_string(i) + "\n";
    if (i % 4 == 3)
      file += std::to_string(i % 1000) + " = " + std::to_string(i) + "\n";
  }
  PropertyMap const many = parser.parse(write(dir, file));
  EXPECT_EQ(many.size(), 251U);  // "product" and k3, k7, ..., k999
  auto const& products = std::get<std::vector<ustring>>(many.at(u"product"));
  ASSERT_EQ(products.size(), 250'000U);
  EXPECT_EQ(products.front() + products.back(), u"p 2p 999998");
  EXPECT_EQ(std::get<ustring>(many.at(u"k3")), u"999003");
}

}  // namespace
