#include "install/cpputil/url_opener.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <system_error>

#include "install/cpputil/logger.hpp"
#include "support/table.hpp"
#include "support/temp_dir.hpp"

namespace {

using install::cpputil::URLOpener;

TEST(URLOpener, AllowsOnlyTheDomainAndLocalDocuments) {
  for (auto const& row : qx::test::read_table("url_opener_urls.tsv")) {
    bool allowed = row[2] != "allowed";
    EXPECT_NO_THROW(allowed = URLOpener::isAllowedUrl(row[1])) << row[0];
    EXPECT_EQ(allowed, row[2] == "allowed") << row[0];
  }
}

struct MockOpener : URLOpener {
  MOCK_METHOD(int, runCommand, (std::string const&, std::vector<std::string> const&),
              (const, override));
};

TEST(URLOpener, OpenUrlReportsFailuresInTheLog) {
  std::string const url = "https://www.quillford.com/caf\xC3\xA9?a=1&b=2";
#ifdef __APPLE__
  std::string const program = "/usr/bin/open";
#else
  std::string const program = "/usr/bin/xdg-open";
#endif
  struct Case {
    testing::Action<int(std::string const&, std::vector<std::string> const&)> launch;
    std::vector<std::string> lines;  // the log's entries without their "(time) " prefix
  } const cases[] = {
      {testing::Return(0), {}},
      {testing::Return(1), {"Unable to open " + url + " 1"}},
      {testing::Return(2147483647), {"Unable to open " + url}},  // INT_MAX: "no status"
      {testing::Throw(std::runtime_error("launch failed: no opener")),
       {"launch failed: no opener", "Unable to open " + url}},
      {testing::Throw(42), {"Unable to open " + url}},
  };
  for (auto const& c : cases) {
    qx::test::TempDir dir;
    MockOpener opener;
    EXPECT_CALL(opener, runCommand(program, std::vector<std::string>{url})).WillOnce(c.launch);
    {
      install::cpputil::logger::Logger const logger(dir.file("install.log"));
      EXPECT_EQ(opener.openUrl(fl::i18n::utf8_to_ustring(url)), c.lines.empty());
    }
    std::vector<std::string> lines;
    std::istringstream log(qx::test::read_file(dir.path() / "install.log"));
    for (std::string line; std::getline(log, line);)
      lines.push_back(line.substr(line.find(") ") + 2));
    EXPECT_EQ(lines, c.lines);
  }
}

TEST(URLOpener, RunCommandRunsTheProgramWithoutAShell) {
  URLOpener const opener;
  qx::test::TempDir dir;  // the shell works in here, where a planted file would show
  std::string const script = "cd \"$2\" && printf '%s' \"$1\" > out; exit $#";  // status 2
  for (auto const& row : qx::test::read_table("url_opener_arguments.tsv")) {
    EXPECT_EQ(opener.runCommand("/bin/sh", {"-c", script, "sh", row[1], dir.file("")}), 2)
        << row[0];
    EXPECT_EQ(qx::test::read_file(dir.path() / "out"), row[1]) << row[0];
  }
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "planted"));

  std::string const missing = dir.file("no-opener");
  EXPECT_THAT([&] { static_cast<void>(opener.runCommand(missing, {"https://quillford.com"})); },
              testing::ThrowsMessage<std::system_error>(testing::HasSubstr(missing)));
}

}  // namespace
