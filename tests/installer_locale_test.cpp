#include "install/cpputil/installer_locale.hpp"

#include "support/trace_capture.hpp"

TEST(InstallerLocale, JoinsMessagesLanguageAndRegionWithUnderscore) {
  qx::test::TraceCapture const trace("install::cpputil::InstallerLocale");
  qx::test::ScopedEnv const all("LC_ALL", nullptr), ctype("LC_CTYPE", "ja_JP.UTF-8");
  std::pair<char const*, ustring> const cases[] = {
      {"pt_BR.UTF-8", u"pt_BR"}, {"de", u"de_"} /* no region is made up */, {"C", u"en_US"}};
  for (auto const& [messages, expected] : cases) {
    qx::test::ScopedEnv const env("LC_MESSAGES", messages);
    EXPECT_EQ(install::cpputil::installer_locale::getLocale(), expected) << messages;
  }
  EXPECT_TRUE(trace.lines().empty());
}
