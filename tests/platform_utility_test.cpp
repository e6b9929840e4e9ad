#include "install/platformutil/platform_utility.hpp"

#include <clocale>

#include "support/support.hpp"

using install::platformutil::PlatformUtility;

TEST(PlatformUtility, CurrentTimeUsesEnglishNamesInAnyLocale) {
  qx::test::ScopedEnv const lang("LC_ALL", "de_DE.UTF-8");
  std::setlocale(LC_ALL, "");  // may fail where the locale is not installed; then C stays
  std::string const text = PlatformUtility().getPlatformCurrentTime("%b %d, %Y %H:%M:%S");
  std::setlocale(LC_ALL, "C");
  EXPECT_EQ(qx::test::untimed("(" + text + ") "), "(T) ");  // English month, every field
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
