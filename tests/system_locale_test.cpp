#include "foundation/locale/system_locale.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "support/temp_dir.hpp"

namespace {

using foundation::locale::system_locale;
using Category = system_locale::category;

struct Env {
  char const* lc_all;
  char const* lc_messages;
  char const* lang;
  char const* lc_ctype = nullptr;
};

// Sets all four variables (null unsets) for the object's lifetime.
struct ScopedLocaleEnv {
  explicit ScopedLocaleEnv(Env const& env)
      : lc_all("LC_ALL", env.lc_all),
        lc_messages("LC_MESSAGES", env.lc_messages),
        lang("LANG", env.lang),
        lc_ctype("LC_CTYPE", env.lc_ctype) {}
  qx::test::ScopedEnv lc_all, lc_messages, lang, lc_ctype;
};

struct Case {
  Env env;
  std::string language;
  std::string region;
};

TEST(SystemLocale, MessagesFollowPrecedenceAndShape) {
  Case const cases[] = {
      {{"fr_CA.UTF-8", "de_DE", "it_IT"}, "fr", "CA"},                // LC_ALL first
      {{nullptr, "de_DE", "it_IT"}, "de", "DE"},                      // then LC_MESSAGES
      {{"", "", "it_IT"}, "it", "IT"},                                // empty counts as unset
      {{nullptr, nullptr, "de_AT.UTF-8@euro", "ja_JP"}, "de", "AT"},  // LC_CTYPE is not asked
      {{nullptr, nullptr, "es_419.UTF-8"}, "es", "419"},
      {{nullptr, nullptr, "EN_gb.iso88591"}, "en", "GB"},
      {{nullptr, nullptr, "xx_YY"}, "xx", "YY"},  // not installed anywhere
      {{nullptr, nullptr, "de"}, "de", ""},
      {{"C", "de_DE", "it_IT"}, "en", "US"},  // the first set value decides, even "C"
      {{nullptr, "POSIX", "C.UTF-8"}, "en", "US"},
      {{nullptr, nullptr, "/usr/share/locale/de"}, "en", "US"},  // not a locale name
      {{nullptr, nullptr, ".UTF-8"}, "en", "US"},
  };
  for (auto const& c : cases) {
    SCOPED_TRACE(std::string(c.env.lc_all ? c.env.lc_all : "-") + " " +
                 (c.env.lc_messages ? c.env.lc_messages : "-") + " " +
                 (c.env.lang ? c.env.lang : "-"));
    ScopedLocaleEnv const env(c.env);
    auto const locale = system_locale::get_locale(Category::messages);
    EXPECT_EQ(locale.language(), c.language);
    EXPECT_EQ(locale.region(), c.region);
  }
}

TEST(SystemLocale, CategoryOneIsMessagesAndCtypeReadsItsOwnVariable) {
  ScopedLocaleEnv const env({nullptr, "de_DE", "it_IT", "ja_JP.UTF-8"});
  EXPECT_EQ(system_locale::get_locale(static_cast<Category>(1)).language(), "de");
  EXPECT_EQ(system_locale::get_locale(Category::ctype).language(), "ja");
  EXPECT_THROW(static_cast<void>(system_locale::get_locale(static_cast<Category>(9))),
               std::invalid_argument);
}

#ifndef __APPLE__  // macOS answers from the user's settings instead
TEST(SystemLocale, NothingSetMeansEnUs) {
  ScopedLocaleEnv const env({nullptr, nullptr, nullptr});
  auto const locale = system_locale::get_locale(Category::messages);
  EXPECT_EQ(locale.language(), "en");
  EXPECT_EQ(locale.region(), "US");
}
#endif

}  // namespace
