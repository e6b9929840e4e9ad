#include "foundation/locale/system_locale.hpp"

#include "support/support.hpp"

using foundation::locale::system_locale;
using Category = system_locale::category;

QX_TABLE_TEST(SystemLocale, FollowsPrecedenceAndShape, "system_locale.tsv") {
  qx::test::Row const& row = GetParam();
#ifdef __APPLE__  // macOS answers from the user's settings instead
  if (row.name == "nothing set") GTEST_SKIP();
#endif
  auto const value = [&row](char const* name) {
    return row[name] == "-" ? nullptr : row[name].c_str();
  };
  qx::test::ScopedEnv const all("LC_ALL", value("LC_ALL")),
      messages("LC_MESSAGES", value("LC_MESSAGES")), lang("LANG", value("LANG")),
      ctype("LC_CTYPE", value("LC_CTYPE"));
  auto const locale = system_locale::get_locale(static_cast<Category>(std::stoi(row["category"])));
  EXPECT_EQ(locale.language(), row["language"]);
  EXPECT_EQ(locale.region(), row["region"]);
}

TEST(SystemLocaleCategory, UnknownCategoryThrows) {
  EXPECT_THROW(static_cast<void>(system_locale::get_locale(static_cast<Category>(9))),
               std::invalid_argument);
}
