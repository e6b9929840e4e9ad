#include "install/cpputil/url_opener.hpp"

#include <gmock/gmock.h>

#include <regex>
#include <stdexcept>
#include <system_error>

#include "install/cpputil/logger.hpp"
#include "support/table.hpp"
#include "support/temp_dir.hpp"

namespace {

using install::cpputil::URLOpener;

TEST(URLOpener, AllowsOnlyTheDomainAndLocalDocuments) {
  for (auto const& row : qx::test::read_table("url_opener_urls.tsv"))
    EXPECT_EQ(URLOpener::isAllowedUrl(row[1]), row[2] == "allowed") << row[0];
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
  qx::test::TempDir const dir;
  auto const log = dir.path() / "install.log";
  install::cpputil::logger::Logger const logger(log.string());
  static std::regex const stamp(R"((^|\n)\([^)]*\) )");  // each entry's "(time) "
  for (auto const& row : qx::test::read_table("url_opener_launch.tsv")) {
    std::filesystem::remove(log);
    MockOpener opener;
    EXPECT_CALL(opener, runCommand(program, std::vector<std::string>{url})).WillOnce([&] {
      if (row[1] == "throw-int") throw 42;
      if (row[1].starts_with("throw ")) throw std::runtime_error(row[1].substr(6));
      return std::stoi(row[1].substr(7));
    });
    EXPECT_EQ(opener.openUrl(fl::i18n::utf8_to_ustring(url)), row[2].empty()) << row[0];
    EXPECT_EQ(std::regex_replace(qx::test::read_file(log), stamp, "$1"), row[2]) << row[0];
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

  EXPECT_THAT([&] { static_cast<void>(opener.runCommand("/no/such/opener", {"x"})); },
              testing::ThrowsMessage<std::system_error>(testing::HasSubstr("/no/such/opener")));
}

}  // namespace
