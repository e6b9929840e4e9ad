#include "foundation/locale/system_locale.hpp"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/table.hpp"
#include "support/temp_dir.hpp"

namespace {

using foundation::locale::system_locale;
using Category = system_locale::category;

TEST(SystemLocale, FollowsPrecedenceAndShape) {
  for (auto const& row : qx::test::read_table("system_locale.tsv")) {
#ifdef __APPLE__  // macOS answers from the user's settings instead
    if (row[0] == "nothing set") continue;
#endif
    auto value = [&row](std::size_t i) { return row[i] == "-" ? nullptr : row[i].c_str(); };
    qx::test::ScopedEnv const all("LC_ALL", value(2)), messages("LC_MESSAGES", value(3)),
        lang("LANG", value(4)), ctype("LC_CTYPE", value(5));
    auto const locale = system_locale::get_locale(static_cast<Category>(std::stoi(row[1])));
    EXPECT_EQ(locale.language(), row[6]) << row[0];
    EXPECT_EQ(locale.region(), row[7]) << row[0];
  }
  EXPECT_THROW(static_cast<void>(system_locale::get_locale(static_cast<Category>(9))),
               std::invalid_argument);
}

}  // namespace
