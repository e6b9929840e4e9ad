#include "foundation/locale/system_locale.hpp"

#include <deque>

#include "support/support.hpp"

using foundation::locale::system_locale;
using Category = system_locale::category;

QX_TABLE_TEST(SystemLocale, FollowsPrecedenceAndShape, "system_locale.tsv") {
  qx::test::Row const& row = GetParam();
#ifdef __APPLE__
  if (row.name == "nothing_set") GTEST_SKIP() << "macOS answers from the user's settings instead";
#endif
  std::deque<qx::test::ScopedEnv> variables;
  for (char const* name : {"LC_ALL", "LC_MESSAGES", "LANG", "LC_CTYPE"})
    variables.emplace_back(name, row[name] == "-" ? nullptr : row[name].c_str());
  auto const locale = system_locale::get_locale(static_cast<Category>(std::stoi(row["category"])));
  EXPECT_EQ(locale.language(), row["language"]);
  EXPECT_EQ(locale.region(), row["region"]);
}

TEST(SystemLocaleCategory, UnknownCategoryThrows) {
  EXPECT_THROW(static_cast<void>(system_locale::get_locale(static_cast<Category>(9))),
               std::invalid_argument);
}
