// Inputs an attacker or a broken machine may hand the library: huge files and lines, NUL and
// ill-formed bytes, pipes and special files, absurd lengths. Each must give the documented
// result and leave the process running.
#include <gtest/gtest.h>

#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "install/cpputil/input_file_parser.hpp"
#include "install/cpputil/logger.hpp"
#include "install/cpputil/url_opener.hpp"
#include "install/cpputil/validation.hpp"
#include "support/temp_dir.hpp"

namespace {

using fl::i18n::utf8_to_ustring;
using install::cpputil::InputFileParser;
using install::cpputil::PropertyMap;
namespace logger = install::cpputil::logger;

ustring const& single(PropertyMap const& map, ustring const& key) {
  return std::get<ustring>(map.at(key));
}
std::vector<ustring> const& list(PropertyMap const& map, ustring const& key) {
  return std::get<std::vector<ustring>>(map.at(key));
}

// The whole file in one read; qx::test::read_file goes byte by byte, slow for megabytes.
std::string slurp(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream out;
  out << in.rdbuf();
  return std::move(out).str();
}

class HostileInput : public ::testing::Test {
 protected:
  [[nodiscard]] ustring write(std::string const& name, std::string const& content) const {
    qx::test::write_file(dir_.path() / name, content);
    return utf8_to_ustring(dir_.file(name));
  }

  qx::test::TempDir dir_;
  qx::test::ScopedEnv tmpdir_{"TMPDIR", dir_.path().c_str()};  // default log stays in here
  InputFileParser parser_;
};

TEST_F(HostileInput, FiftyMegabyteFileParsesWhole) {
  // A 64 KiB block of kilobyte comments, blank lines and assignments, repeated; its one list
  // line counts the blocks read. Long lines keep the line count, and so the test's time, low.
  std::string const filler(1000, 'c');
  std::string block;
  int keys = 0;
  for (; block.size() < (63U << 10); ++keys) {
    block += "# " + filler + "\r\n \t\n  Key" + std::to_string(keys) + " = value_" +
             std::to_string(keys) + "\r\n";
  }
  block += "platform.block_seen\n";
  std::size_t const blocks = (50U << 20) / block.size();
  std::string file = "first = 1\n";
  file.reserve(blocks * block.size() + 64);
  for (std::size_t i = 0; i < blocks; ++i) {
    file += block;
  }
  file += "last = =2\nproduct.tail";  // no final line feed
  ASSERT_GE(file.size(), 49U << 20);

  PropertyMap const map = parser_.parse(write("big.txt", file));
  ASSERT_EQ(map.size(), keys + 4U);  // the block's keys, first, last, platform, product
  EXPECT_EQ(single(map, u"first") + single(map, u"last"), u"1=2");
  ustring const last_key = utf8_to_ustring(std::to_string(keys - 1));
  EXPECT_EQ(single(map, u"key0"), u"value_0");
  EXPECT_EQ(single(map, u"key" + last_key), u"value_" + last_key);
  EXPECT_EQ(list(map, u"platform"), std::vector<ustring>(blocks, u"block seen"));
  EXPECT_EQ(list(map, u"product"), std::vector<ustring>{u"tail"});
}

TEST_F(HostileInput, TenMegabyteLine) {
  std::string const text(10U << 20, 'x');
  PropertyMap const map = parser_.parse(write("line.txt", "K=" + text));
  ASSERT_EQ(map.size(), 1U);
  EXPECT_EQ(single(map, u"k"), ustring(text.size(), u'x'));

  // Into the log as one entry through append_file.
  std::string const log = dir_.file("install.log");
  logger::Logger const active(log);
  logger::append_file(write("line.txt", text));
  EXPECT_NE(slurp(log).find("\n" + text + "\nEnd of the file "), std::string::npos);
}

TEST_F(HostileInput, NulBytesAreOrdinaryContent) {
  using namespace std::string_literals;
  PropertyMap const map =
      parser_.parse(write("nul.txt", "\0K\0ey\0 = va\0lue\0\nproduct.\0a_b\0\n\0\n"s));
  EXPECT_EQ(single(map, u"\0k\0ey\0"s), u"va\0lue\0"s);
  EXPECT_EQ(list(map, u"product"), std::vector<ustring>{u"\0a b\0"s});
  EXPECT_EQ(map.size(), 2U);

  EXPECT_FALSE(install::cpputil::validate_strval("a\0b"s, "a"));
  EXPECT_TRUE(install::cpputil::validate_strval("a\0b"s, "x,a\0b"s));

  std::string const log = dir_.file("install.log");
  logger::Logger const active(log);
  logger::append_message("before\0after"s);
  EXPECT_NE(slurp(log).find(") before\0after\n"s), std::string::npos);
}

TEST_F(HostileInput, IllFormedUtf8BecomesReplacementCharacters) {
  // Truncated sequence, lone continuation byte, overlong form, encoded surrogate.
  PropertyMap const map =
      parser_.parse(write("bad.txt", "k\xE2\x82=\x80v\xC0\xAF\nx=\xED\xA0\x80\n"));
  EXPECT_EQ(single(map, u"k\uFFFD"), u"\uFFFDv\uFFFD\uFFFD");
  EXPECT_EQ(single(map, u"x"), u"\uFFFD\uFFFD\uFFFD");

  std::string const log = dir_.file("install.log");
  logger::Logger const active(log);
  logger::append_file(write("bad_log.txt", "a\xFF\n\xF0\x9F\x98"));
  std::string const text = slurp(log);
  EXPECT_NE(text.find("\na\xEF\xBF\xBD\n\xEF\xBF\xBD\nEnd of the file "), std::string::npos);
}

// What a shell's process substitution "<(producer)" hands over: /dev/fd/N, the read end of
// a pipe whose writer is still running.
TEST_F(HostileInput, PipeReadsLikeAFile) {
  // Should the parser stop early, closing the read end must fail the writer, not kill us.
  std::signal(SIGPIPE, SIG_IGN);
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  std::string content;
  for (int i = 0; i < 20000; ++i) {  // several times a pipe's buffer
    content += "product.p_" + std::to_string(i) + "\n# c\n";
  }
  content += "a = 1";
  std::thread writer([&] {
    for (std::size_t done = 0; done < content.size();) {
      ssize_t const n = ::write(fds[1], content.data() + done, content.size() - done);
      if (n < 0 && errno == EINTR)
        continue;
      if (n <= 0)
        break;
      done += static_cast<std::size_t>(n);
    }
    close(fds[1]);
  });
  PropertyMap map;
  EXPECT_NO_THROW(map = parser_.parse(utf8_to_ustring("/dev/fd/" + std::to_string(fds[0]))));
  close(fds[0]);
  writer.join();
  EXPECT_EQ(single(map, u"a"), u"1");
  ASSERT_EQ(list(map, u"product").size(), 20000U);
  EXPECT_EQ(list(map, u"product").back(), u"p 19999");
}

TEST_F(HostileInput, OverlongPathNamesFailWithTheDocumentedErrors) {
  std::string const folder = dir_.file(std::string(300, 'n'));  // above NAME_MAX, even for root
  std::vector<std::pair<std::string, std::string>> const cases = {
      {folder + "/f.log", "Install Logger: Cannot create directory \"" + folder + "\""},
      {folder + ".log", "Install Logger: Cannot open file \"" + folder + ".log\""},
  };
  for (auto const& [path, error_text] : cases) {
    try {
      logger::Logger const failing(path);
      ADD_FAILURE() << "no exception for " << error_text;
    } catch (std::runtime_error const& error) {
      EXPECT_EQ(error.what(), error_text);
    }
  }
  EXPECT_TRUE(logger::get_destination().empty());
  EXPECT_FALSE(install::cpputil::validate_rfile(folder));
  // The parser lets the failed existence test through rather than call the name missing.
  EXPECT_THROW(static_cast<void>(parser_.parse(utf8_to_ustring(folder))),
               std::filesystem::filesystem_error);
}

TEST_F(HostileInput, MegabyteUrls) {
  std::size_t const mb = 1U << 20;
  std::string label_chain;
  for (std::size_t i = 0; i < mb / 2; ++i) {
    label_chain += "a.";
  }
  struct Case {
    std::string url;
    bool allowed;
  };
  std::vector<Case> const cases = {
      {"https://quillford.com/" + std::string(mb, 'p'), true},
      {"https://" + label_chain + "quillford.com/", true},
      {"file:///" + std::string(mb, 'd') + ".pdf", true},
      {"https://" + std::string(mb, 'h') + ".com/", false},
      {"https://quillford.com/" + std::string(mb, '%'), false},
      {"https://[" + std::string(mb, ':') + "]/", false},
      {std::string(mb, '/'), false},
      {"https://quillford.com:" + std::string(mb, '0') + "443/", true},
      {"https://quillford.com:" + std::string(mb, '9') + "/", false},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.url.substr(0, 40));
    bool allowed = !c.allowed;
    EXPECT_NO_THROW(allowed = install::cpputil::URLOpener::isAllowedUrl(c.url));
    EXPECT_EQ(allowed, c.allowed);
  }
}

}  // namespace
