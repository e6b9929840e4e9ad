#include "install/cpputil/installer_locale.hpp"

#include <gtest/gtest.h>

#include "support/temp_dir.hpp"
#include "support/trace_capture.hpp"

namespace {

using install::cpputil::installer_locale::getLocale;

struct Case {
  char const* lc_messages;
  char const* lang;
  ustring expected;
};

TEST(InstallerLocale, JoinsLanguageAndRegionWithUnderscore) {
  qx::test::ScopedEnv const lc_all("LC_ALL", nullptr);
  qx::test::TraceCapture const trace("install::cpputil::InstallerLocale");
  Case const cases[] = {
      {nullptr, "en_US.UTF-8", u"en_US"},
      {"pt_BR.UTF-8", "en_US.UTF-8", u"pt_BR"},
      {nullptr, "de_AT.UTF-8@euro", u"de_AT"},
      {nullptr, "de", u"de_"},  // no region: nothing is made up
      {nullptr, "xx_YY", u"xx_YY"},
      {nullptr, "C", u"en_US"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(c.lang);
    qx::test::ScopedEnv const lc_messages("LC_MESSAGES", c.lc_messages);
    qx::test::ScopedEnv const lang("LANG", c.lang);
    EXPECT_EQ(getLocale(), c.expected);
  }
  EXPECT_TRUE(trace.records().empty());
}

}  // namespace
