#include "install/cpputil/installer_exception.hpp"

#include <gtest/gtest.h>

#include <type_traits>

namespace {

using install::cpputil::createLocation;
using install::cpputil::InstallerException;

static_assert(std::is_base_of_v<std::runtime_error, InstallerException>);
// Naming what() through the class yields the base's member: it is not overridden.
static_assert(std::is_same_v<decltype(&InstallerException::what),
                             char const* (std::runtime_error::*)() const noexcept>);

TEST(InstallerException, KeepsFourTextsAndReportsSecondary) {
  InstallerException const e("E42", "primary", "secondary", "Scope::name");
  EXPECT_EQ(e.getErrorCode(), "E42");
  EXPECT_EQ(e.getPrimaryErrorMessage(), "primary");
  EXPECT_EQ(e.getSecondaryErrorMessage(), "secondary");
  EXPECT_EQ(e.getLocation(), "Scope::name");
  EXPECT_STREQ(e.what(), "secondary");
}

TEST(InstallerException, OneTextIsWhatAndSecondaryOnly) {
  InstallerException const e("boom");
  EXPECT_STREQ(e.what(), "boom");
  EXPECT_EQ(e.getSecondaryErrorMessage(), "boom");
  EXPECT_EQ(e.getErrorCode() + e.getPrimaryErrorMessage() + e.getLocation(), "");
  EXPECT_THROW(throw e, std::runtime_error);
  EXPECT_THROW(throw e, std::exception);
}

TEST(CreateLocation, JoinsUnlessNameIsEmptyOrEqual) {
  struct Row {
    char const* scope;
    char const* name;
    char const* expected;
  };
  for (Row const& row :
       {Row{"InputFileParser", "parse", "InputFileParser::parse"},
        Row{"InputFileParser", "", "InputFileParser"},
        Row{"InputFileParser", "InputFileParser", "InputFileParser"},
        Row{"InputFileParser", "inputfileparser", "InputFileParser::inputfileparser"},
        Row{"", "parse", "::parse"}, Row{"", "", ""}, Row{" a ", "a", " a ::a"}}) {
    EXPECT_EQ(createLocation(row.scope, row.name), row.expected) << row.scope << '|' << row.name;
  }
}

}  // namespace
