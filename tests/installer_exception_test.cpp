#include "install/cpputil/installer_exception.hpp"

#include <type_traits>

#include "support/support.hpp"

using install::cpputil::InstallerException;

static_assert(std::is_base_of_v<std::runtime_error, InstallerException>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&InstallerException::what),
                             char const* (std::runtime_error::*)() const noexcept>);

std::string texts(InstallerException const& e) {
  return e.getErrorCode() + "|" + e.getPrimaryErrorMessage() + "|" + e.getSecondaryErrorMessage() +
         "|" + e.getLocation() + "|" + e.what();
}

TEST(InstallerException, KeepsItsTextsAndWhatIsTheSecondary) {
  EXPECT_EQ(texts(InstallerException("E42", "primary", "secondary", "Scope::name")),
            "E42|primary|secondary|Scope::name|secondary");
  EXPECT_EQ(texts(InstallerException("boom")), "||boom||boom");
}

QX_TABLE_TEST(CreateLocation, JoinsUnlessNameIsEmptyOrEqual, "installer_exception_locations.tsv") {
  EXPECT_EQ(install::cpputil::createLocation(GetParam()["scope"], GetParam()["name"]),
            GetParam()["location"]);
}
