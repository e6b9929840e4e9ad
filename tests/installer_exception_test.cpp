#include "install/cpputil/installer_exception.hpp"

#include <gtest/gtest.h>

#include <type_traits>

#include "support/table.hpp"

namespace {

using install::cpputil::InstallerException;

static_assert(std::is_base_of_v<std::runtime_error, InstallerException>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&InstallerException::what),
                             char const* (std::runtime_error::*)() const noexcept>);

TEST(InstallerException, KeepsFourTextsAndReportsSecondary) {
  auto const texts = [](InstallerException const& e) {
    return e.getErrorCode() + "|" + e.getPrimaryErrorMessage() + "|" +
           e.getSecondaryErrorMessage() + "|" + e.getLocation() + "|" + e.what();
  };
  EXPECT_EQ(texts(InstallerException("E42", "primary", "secondary", "Scope::name")),
            "E42|primary|secondary|Scope::name|secondary");
  EXPECT_EQ(texts(InstallerException("boom")), "||boom||boom");
}

TEST(CreateLocation, JoinsUnlessNameIsEmptyOrEqual) {
  for (auto const& row : qx::test::read_table("installer_exception_locations.tsv"))
    EXPECT_EQ(install::cpputil::createLocation(row[1], row[2]), row[3]) << row[0];
}

}  // namespace
