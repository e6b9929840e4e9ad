#include "install/cpputil/url_opener.hpp"

#include <csignal>
#include <system_error>

#include "install/cpputil/logger.hpp"
#include "support/support.hpp"

using install::cpputil::URLOpener;

QX_TABLE_TEST(AllowedUrl, OnlyTheDomainAndLocalDocuments, "url_opener_urls.tsv") {
  EXPECT_EQ(URLOpener::isAllowedUrl(GetParam()["url"]), GetParam()["verdict"] == "allowed");
}

QX_TABLE_TEST(MegabyteUrl, GetsTheVerdictOfItsShortForm, "hostile_input_urls.tsv") {
  std::string url = GetParam()["prefix"];
  while (url.size() < GetParam()["prefix"].size() + (1U << 20)) url += GetParam()["piece"];
  EXPECT_EQ(URLOpener::isAllowedUrl(url + GetParam()["suffix"]),
            GetParam()["verdict"] == "allowed");
}

struct MockOpener : URLOpener {
  MOCK_METHOD(int, runCommand, (std::string const&, std::vector<std::string> const&),
              (const, override));
};

QX_TABLE_TEST(OpenUrl, ReportsAFailedLaunchInTheLog, "url_opener_launch.tsv") {
  qx::test::TempDir const dir;
  std::string const url = "https://www.quillford.com/caf\xC3\xA9?a=1&b=2";
#ifdef __APPLE__
  std::string const program = "/usr/bin/open";
#else
  std::string const program = "/usr/bin/xdg-open";
#endif
  std::string const& launch = GetParam()["launch"];
  install::cpputil::logger::Logger const logger(dir.file("install.log"));
  MockOpener opener;
  EXPECT_CALL(opener, runCommand(program, std::vector<std::string>{url})).WillOnce([&] {
    if (launch == "throw-int") throw 42;
    if (launch.starts_with("throw ")) throw std::runtime_error(launch.substr(6));
    return std::stoi(launch.substr(7));
  });
  EXPECT_EQ(opener.openUrl(fl::i18n::utf8_to_ustring(url)), GetParam()["log"].empty());
  EXPECT_EQ(qx::test::untimed(qx::test::read_file(dir.file("install.log"))), GetParam()["log"]);
}

QX_TABLE_TEST(RunCommand, HandsEachArgumentOverWithoutAShell, "url_opener_arguments.tsv") {
  qx::test::TempDir const dir;
  std::string const script = "cd \"$2\" && printf '%s' \"$1\" > out; exit $#";  // status 2
  std::string const& argument = GetParam()["argument"];
  EXPECT_EQ(URLOpener().runCommand("/bin/sh", {"-c", script, "sh", argument, dir.file("")}), 2);
  EXPECT_EQ(qx::test::read_file(dir.path() / "out"), argument);
  EXPECT_FALSE(std::filesystem::exists(dir.path() / "planted"));
}

TEST(RunCommand, AProgramThatCannotStartThrowsSystemErrorNamingIt) {
  EXPECT_THAT([] { static_cast<void>(URLOpener().runCommand("/no/such/opener", {"x"})); },
              testing::ThrowsMessage<std::system_error>(testing::HasSubstr("/no/such/opener")));
}

// A host ignoring SIGCHLD (only a child of the test does) reaps for us: exit 3 reads as 0.
TEST(RunCommand, AStatusLostToAHostIgnoringSigchldCountsAsSuccess) {
  qx::test::TempDir const dir;
  std::vector<std::string> const arguments{"-c", "touch \"$0\"; exit 3", dir.file("ran")};
  auto const in_child_ignoring_sigchld = [&] {
    std::signal(SIGCHLD, SIG_IGN);
    int const status = URLOpener().runCommand("/bin/sh", arguments);
    std::_Exit(std::filesystem::exists(dir.path() / "ran") ? status : 100);
  };
  EXPECT_EXIT(in_child_ignoring_sigchld(), testing::ExitedWithCode(0), "");
}
