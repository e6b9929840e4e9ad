#include "install/platformutil/platform_utility.hpp"

#include <pwd.h>
#include <clocale>

#include "support/support.hpp"

using install::platformutil::PlatformUtility;

TEST(PlatformUtility, CurrentTimeUsesEnglishNamesInAnyLocale) {
  qx::test::ScopedEnv const lang("LC_ALL", "de_DE.UTF-8");
  if (std::setlocale(LC_ALL, "") == nullptr)
    GTEST_SKIP() << "de_DE.UTF-8 is not installed (scripts/bootstrap.sh generates it on Debian)";
  // Most German month abbreviations are the English ones; weekdays and AM/PM never are.
  std::string const text = PlatformUtility().getPlatformCurrentTime("(%b %d, %Y %H:%M:%S) %a %p");
  std::setlocale(LC_ALL, "C");
  EXPECT_THAT(qx::test::untimed(text),
              testing::MatchesRegex(R"(\(T\) (Mon|Tue|Wed|Thu|Fri|Sat|Sun) (AM|PM))"));
}

TEST(PlatformUtility, TimePatternEdges) {
  std::string const wide(3000, 'x');  // longer than the first buffer
  for (auto const& [pattern, text] :
       {std::pair{std::string(), ""}, {"literal %%", "literal %"}, {wide, wide.c_str()}})
    EXPECT_EQ(PlatformUtility().getPlatformCurrentTime(pattern), text);
}

TEST(PlatformUtility, UserNameComesFromTheAccountDatabase) {
  // The account database wins over $USER; neither an empty nor a bogus $USER changes it.
  std::string const name = PlatformUtility().getPlatformUserName();
  EXPECT_FALSE(name.empty());
  qx::test::ScopedEnv const user("USER", "somebody-else");
  EXPECT_EQ(PlatformUtility().getPlatformUserName(), name);
}

QX_TABLE_TEST(UserWithoutAccount, TakesUserUnlessItNamesAnotherFolder, "platform_user_name.tsv") {
  if (geteuid() != 0) GTEST_SKIP() << "only root can switch to a uid without an account";
  uid_t uid = 40000;
  while (getpwuid(uid) != nullptr) ++uid;
  qx::test::ScopedEnv const env("USER",
                                GetParam()["USER"] == "-" ? nullptr : GetParam()["USER"].c_str());
  auto const in_child_without_account = [&] {
    std::string const name = setuid(uid) == 0 ? PlatformUtility().getPlatformUserName() : "";
    std::cerr << "name: " << name;
    std::_Exit(name == GetParam()["name"] ? 0 : 1);
  };
  EXPECT_EXIT(in_child_without_account(), testing::ExitedWithCode(0), "");
}
