#include "install/cpputil/installer_exception.hpp"

#include "support/support.hpp"

using install::cpputil::InstallerException;

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
