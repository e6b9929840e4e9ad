#include "install/cpputil/installer_locale.hpp"

#include "support/trace_capture.hpp"

QX_TABLE_TEST(InstallerLocale, JoinsMessagesLanguageAndRegionWithUnderscore,
              "installer_locale.tsv") {
  qx::test::TraceCapture const trace("install::cpputil::InstallerLocale");
  qx::test::ScopedEnv const all("LC_ALL", nullptr), ctype("LC_CTYPE", "ja_JP.UTF-8"),
      messages("LC_MESSAGES", GetParam()["LC_MESSAGES"].c_str());
  EXPECT_EQ(fl::i18n::ustring_to_utf8(install::cpputil::installer_locale::getLocale()),
            GetParam()["locale"]);
  EXPECT_TRUE(trace.lines().empty());
}
