// Huge, ill-formed or absurd inputs give the documented result and leave the process running.
#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>

#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/url_opener.hpp"
#include "install/cpputil/validation.hpp"
#include "support/table.hpp"
#include "support/temp_dir.hpp"

namespace {

using namespace std::string_literals;
using fl::i18n::utf8_to_ustring;
using install::cpputil::PropertyMap;
namespace logger = install::cpputil::logger;
using Items = std::vector<ustring>;

class HostileInput : public ::testing::Test {
 protected:
  ustring write(std::string const& name, std::string const& content) const {
    qx::test::write_file(dir_.path() / name, content);
    return utf8_to_ustring(dir_.file(name));
  }

  qx::test::TempDir dir_;
  qx::test::ScopedEnv tmpdir_{"TMPDIR", dir_.path().c_str()};  // default log stays in here
  install::cpputil::InputFileParser parser_;
};

TEST_F(HostileInput, FiftyMegabyteFileParsesWhole) {
  // Kilobyte comments (few lines, so a quick test), blanks, a key and a list line, repeated.
  std::string const block = "# " + std::string(1000, 'c') + "\r\n \t\n  Key = v\r\nplatform.p\n";
  std::size_t const blocks = (50U << 20) / block.size();
  std::string file = "first = 1\n";
  for (std::size_t i = 0; i < blocks; ++i) file += block;
  PropertyMap expected{{u"first", u"1"}, {u"key", u"v"}, {u"last", u"=2"}};
  expected[u"platform"] = Items(blocks, u"p");
  expected[u"product"] = Items{u"tail"};  // no final line feed
  EXPECT_EQ(parser_.parse(write("big.txt", file + "last = =2\nproduct.tail")), expected);
}

TEST_F(HostileInput, TenMegabyteLineNulAndIllFormedBytesInTheLog) {
  std::string const text(10U << 20, 'x'), log = dir_.file("install.log");
  EXPECT_EQ(parser_.parse(write("line.txt", "K=" + text)),
            (PropertyMap{{u"k", ustring(text.size(), u'x')}}));
  logger::Logger const active(log);
  logger::append_file(write("line.txt", text));  // one entry
  logger::append_message("before\0after"s);
  logger::append_file(write("bad.txt", "a\xFF\n\xF0\x9F\x98"));  // bad byte, cut sequence
  EXPECT_THAT(qx::test::read_file(log),
              testing::AllOf(testing::HasSubstr("\n" + text + "\nEnd of the file "),
                             testing::HasSubstr(") before\0after\n"s),
                             testing::HasSubstr("\na\xEF\xBF\xBD\n\xEF\xBF\xBD\nEnd")));
}

// As "<(producer)" in a shell gives: /dev/fd/N, a pipe several buffers long, its writer running.
TEST_F(HostileInput, PipeReadsLikeAFile) {
  FILE* const producer = popen("yes 'product.p_q\n# c' | head -n 40000", "r");
  ASSERT_NE(producer, nullptr);
  EXPECT_EQ(parser_.parse(utf8_to_ustring("/dev/fd/" + std::to_string(fileno(producer)))),
            (PropertyMap{{u"product", Items(20000, u"p q")}}));
  EXPECT_EQ(pclose(producer), 0);  // not ended by SIGPIPE: the parser read to the end
}

TEST_F(HostileInput, OverlongNamesAndMegabyteUrlsFailAsDocumented) {
  std::string const folder = dir_.file(std::string(300, 'n'));  // above NAME_MAX, even for root
  EXPECT_THAT([&] { logger::Logger const failing(folder + ".log"); },
              testing::ThrowsMessage<std::runtime_error>("Install Logger: Cannot open file \"" +
                                                         folder + ".log\""));
  EXPECT_FALSE(install::cpputil::validate_rfile(folder));
  // The parser lets the failed existence test through rather than call the name missing.
  EXPECT_THROW(static_cast<void>(parser_.parse(utf8_to_ustring(folder))),
               std::filesystem::filesystem_error);
  for (auto const& row : qx::test::read_table("hostile_input_urls.tsv")) {
    std::string url = row[1];
    while (url.size() < row[1].size() + (1U << 20)) url += row[2];
    EXPECT_EQ(install::cpputil::URLOpener::isAllowedUrl(url + row[3]), row[4] == "allowed")
        << row[0];
  }
}

}  // namespace
