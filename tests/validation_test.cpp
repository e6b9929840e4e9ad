#include "install/cpputil/validation.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>

#include "install/cpputil/logger.hpp"
#include "support/table.hpp"
#include "support/temp_dir.hpp"

namespace {

using namespace install::cpputil;
using testing::ThrowsMessage;

TEST(Validation, ValueRules) {
  for (auto const& row : qx::test::read_table("validation_rules.tsv")) {
    for (std::size_t i = 3; i < row.size(); ++i) {
      SCOPED_TRACE(row[0] + ": '" + row[i] + "'");
      auto const check = [&] { validate_arg("k", row[i], row[1]); };
      std::string const text = "key='k' value='" + row[i] + "' rule='" + row[1] + "'";
      if (row[2] == "pass") {
        EXPECT_NO_THROW(check());
      } else {  // what() is a C string: a NUL ends it
        EXPECT_THAT(check, ThrowsMessage<std::invalid_argument>(text.c_str()));
      }
    }
  }
}

// Rules apply in key order up to the first failure; a value or rule without partner is skipped.
TEST(Validation, ValidateArgsStopsAtTheFirstFailureInKeyOrder) {
  using Map = std::map<std::string, std::string>;
  Map const args{{"c", "y"}, {"b", "x"}, {"a", "1"}, {"d", "z"}},
      rules{{"a", "intval"}, {"b", "intval"}, {"c", "intval"}};
  EXPECT_THAT([&] { validate_args(args, rules); },
              ThrowsMessage<std::invalid_argument>("key='b' value='x' rule='intval'"));
  EXPECT_NO_THROW(validate_args(args, {{"a", "intval"}, {"e", "intval"}}));
}

// A file rule needs an existing file of at least one byte; failing, it logs two lines.
TEST(Validation, FileRule) {
  qx::test::TempDir const dir;
  std::string const log = dir.file("install.log"), missing = dir.file("missing.txt"),
                    empty = dir.file("empty.txt"), one = dir.file("one.txt");
  qx::test::write_file(empty, "");
  qx::test::write_file(one, "1");
  EXPECT_TRUE(validate_rfile(one));
  for (std::string const& path : {empty, missing, std::string(), one + "/below", dir.file("")})
    EXPECT_FALSE(validate_rfile(path)) << path;
  {
    logger::Logger const scope(log);
    // Value rules, passing file rules and arguments after a failure write nothing.
    EXPECT_THROW(validate_args({{"a", "x"}, {"b", missing}}, {{"a", "intval"}, {"b", "rfile"}}),
                 std::invalid_argument);
    EXPECT_NO_THROW(validate_arg("f", one, "rfile"));
    EXPECT_EQ(qx::test::read_file(log), "");
    EXPECT_THAT([&] { validate_arg("f", missing, "rfile"); },
                ThrowsMessage<std::runtime_error>("key='f' value='" + missing + "' rule='rfile'"));
    EXPECT_THAT([&] { validate_arg("g", empty, "rfile:x"); },
                ThrowsMessage<std::runtime_error>("key='g' value='" + empty + "' rule='rfile:x'"));
  }
  std::regex const time(R"(\([A-Z][a-z]{2} \d{1,2}, \d{4} \d{2}:\d{2}:\d{2}\))");
  EXPECT_EQ(std::regex_replace(qx::test::read_file(log), time, "(T)"),
            "(T) Error reading file " + missing + "\n(T) File '" + missing +
                "' does not exist or it's empty\n(T) Error reading file " + empty + "\n(T) File '" +
                empty + "' does not exist or it's empty\n");
}

}  // namespace
