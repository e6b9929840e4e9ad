#include "install/cpputil/validation.hpp"

#include "install/cpputil/logger.hpp"
#include "support/support.hpp"

using namespace install::cpputil;
using qx::test::what_of;

QX_TABLE_TEST(ValueRule, PassesOrThrowsInvalidArgumentNamingKeyValueAndRule,
              "validation_rules.tsv") {
  std::string const& value = GetParam()["value"];
  std::string const& rule = GetParam()["rule"];
  std::string const text = "key='k' value='" + value + "' rule='" + rule + "'";
  EXPECT_EQ(what_of<std::invalid_argument>([&] { validate_arg("k", value, rule); }),
            GetParam()["verdict"] == "pass" ? "no exception" : text.c_str());  // a NUL ends what()
}

// Rules apply in key order up to the first failure; a value or rule without partner is skipped.
TEST(ValidateArgs, StopsAtTheFirstFailureInKeyOrder) {
  using Map = std::map<std::string, std::string>;
  Map const args{{"c", "y"}, {"b", "x"}, {"a", "1"}, {"d", "z"}},
      rules{{"a", "intval"}, {"b", "intval"}, {"c", "intval"}};
  EXPECT_EQ(what_of<std::invalid_argument>([&] { validate_args(args, rules); }),
            "key='b' value='x' rule='intval'");
  EXPECT_NO_THROW(validate_args(args, {{"a", "intval"}, {"e", "intval"}}));
}

class FileRule : public testing::Test {
 protected:
  qx::test::TempDir dir_;
  std::string const log_ = dir_.file("install.log"), missing_ = dir_.file("missing.txt"),
                    empty_ = dir_.write("empty.txt", ""), one_ = dir_.write("one.txt", "1");
};

TEST_F(FileRule, NeedsAnExistingRegularFileOfOneByteOrMore) {
  EXPECT_TRUE(validate_rfile(one_));
  std::string const refused[] = {
      empty_,        missing_,          "",          one_ + "/below",
      dir_.file(""), dir_.fifo("fifo"), "/dev/zero", dir_.file(std::string(300, 'n'))};
  qx::test::Deadline const deadline(10);
  for (std::string const& path : refused) EXPECT_FALSE(validate_rfile(path)) << path;
}

TEST_F(FileRule, AFailureLogsTwoLinesThenThrowsRuntimeError) {
  logger::Logger const scope(log_);
  // Value rules, passing file rules and arguments after a failure write nothing.
  EXPECT_THROW(validate_args({{"a", "x"}, {"b", missing_}}, {{"a", "intval"}, {"b", "rfile"}}),
               std::invalid_argument);
  EXPECT_NO_THROW(validate_arg("f", one_, "rfile"));
  EXPECT_EQ(qx::test::read_file(log_), "");
  EXPECT_EQ(what_of<std::runtime_error>([&] { validate_arg("f", missing_, "rfile"); }),
            "key='f' value='" + missing_ + "' rule='rfile'");
  EXPECT_EQ(what_of<std::runtime_error>([&] { validate_arg("g", empty_, "rfile:x"); }),
            "key='g' value='" + empty_ + "' rule='rfile:x'");
  EXPECT_EQ(qx::test::untimed(qx::test::read_file(log_)),
            "(T) Error reading file " + missing_ + "\n(T) File '" + missing_ +
                "' does not exist or it's empty\n(T) Error reading file " + empty_ +
                "\n(T) File '" + empty_ + "' does not exist or it's empty\n");
}

// Each kind listed for help texts is one validate_arg checks: a path that is missing fails all.
TEST_F(FileRule, EveryListedKindIsChecked) {
  logger::Logger const scope(log_);
  auto const kinds = validation_rule_kinds();
  EXPECT_FALSE(kinds.empty());
  for (auto const& kind : kinds)
    EXPECT_ANY_THROW(validate_arg("k", missing_, kind.name + (kind.takes_values ? ":a" : "")))
        << kind.name << " accepts " << kind.accepts;
}
