#include "install/cpputil/validation.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fl/filesystem.hpp"
#include "install/cpputil/logger.hpp"
#include "support/temp_dir.hpp"

namespace {

using namespace install::cpputil;

// What validate_arg did: "" when it returned, else the exception's type and what().
std::string outcome(std::string const& key, std::string const& value, std::string const& rule) {
  try {
    validate_arg(key, value, rule);
    return "";
  } catch (std::invalid_argument const& error) {
    return std::string("invalid_argument ") + error.what();
  } catch (std::runtime_error const& error) {
    return std::string("runtime_error ") + error.what();
  }
}

TEST(Validation, ValueRules) {
  struct Case {
    char const* rule;
    std::vector<std::string> valid, invalid;
  };
  std::vector<Case> const cases = {
      {"strval:a,b", {"a", "b"}, {"A", " a", "a,b", "", "ab"}},
      {"strval:a,,b", {"", "a", "b"}, {","}},
      {"strval:a,", {"", "a"}, {"a,"}},
      {"strval:", {""}, {"a", " "}},
      {"strval", {"strval"}, {"", "a"}},
      {"strval:x:y", {"x:y"}, {"x", "y"}},
      {"boolval",
       {"true", "TRUE", "Yes", "nO", "False"},
       {"1", "0", "", " true", "true ", "on", "y"}},
      {"intval",
       {"2147483647", "-2147483648", "+5", "  42", "\n\t7", "42abc", "3.5", "7 ", "-0"},
       {"2147483648", "-2147483649", "99999999999999999999", "abc", "-", "+", "", " ", "+-1"}},
      {"Strval:a", {"anything", ""}, {}},
      {":a", {"anything"}, {}},
      {"", {"anything"}, {}},
  };
  for (auto const& c : cases) {
    for (auto const& value : c.valid) {
      EXPECT_EQ(outcome("k", value, c.rule), "") << value << " / " << c.rule;
    }
    for (auto const& value : c.invalid) {
      EXPECT_EQ(outcome("k", value, c.rule),
                "invalid_argument key='k' value='" + value + "' rule='" + c.rule + "'");
    }
  }
}

TEST(Validation, RfileNeedsAnExistingNonEmptyFile) {
  qx::test::TempDir const dir;
  qx::test::write_file(dir.file("one"), "x");
  qx::test::write_file(dir.file("empty"), "");
  EXPECT_TRUE(validate_rfile(dir.file("one")));
  for (std::string const& path : {dir.file("empty"), dir.file("missing"), std::string(),
                                  dir.file("one") + "/below", dir.path().string()}) {
    EXPECT_FALSE(validate_rfile(path)) << path;
  }
  // A name too long for the file system makes the existence test itself throw.
  std::string const too_long = dir.file(std::string(300, 'n'));
  EXPECT_ANY_THROW(static_cast<void>(
      fl::filesystem::exists(fl::filesystem::basic_path(fl::i18n::utf8_to_ustring(too_long)))));
  EXPECT_FALSE(validate_rfile(too_long));
}

TEST(Validation, ValidateArgsStopsAtTheFirstFailureInKeyOrder) {
  using Map = std::map<std::string, std::string>;
  auto args_outcome = [](Map const& args, Map const& rules) -> std::string {
    try {
      validate_args(args, rules);
      return "";
    } catch (std::exception const& error) {
      return error.what();
    }
  };
  EXPECT_EQ(args_outcome({{"one", "1"}, {"two", "x"}}, {{"one", "intval"}, {"two", "intval"}}),
            "key='two' value='x' rule='intval'");
  EXPECT_EQ(args_outcome({{"one", "1"}, {"two", "x"}}, {{"three", "intval"}}), "");
  EXPECT_EQ(args_outcome({{"b", "x"}, {"a", "y"}}, {{"a", "intval"}, {"b", "boolval"}}),
            "key='a' value='y' rule='intval'");
  EXPECT_EQ(args_outcome({}, {{"a", "intval"}}) + args_outcome({{"a", "x"}}, {}), "");
}

// The messages of the log's entries "(Nov 22, 2026 10:00:00) message", in order.
std::vector<std::string> log_messages(std::string const& file) {
  std::istringstream in(qx::test::read_file(file));
  std::regex const entry(R"(\([A-Z][a-z]{2} \d{1,2}, \d{4} \d{2}:\d{2}:\d{2}\) (.*))");
  std::vector<std::string> messages;
  for (std::string line; std::getline(in, line);) {
    std::smatch match;
    messages.push_back(std::regex_match(line, match, entry) ? match[1].str() : "unparsed: " + line);
  }
  return messages;
}

TEST(Validation, FailedFileRuleLogsTwoLinesThenThrows) {
  qx::test::TempDir const dir;
  qx::test::ScopedEnv const tmp("TMPDIR", dir.path().c_str());
  std::string const log = dir.file("install.log");
  std::string const missing = dir.file("missing.txt");
  std::string const empty = dir.file("empty.txt");
  qx::test::write_file(empty, "");
  qx::test::write_file(dir.file("one.txt"), "1");
  {
    logger::Logger const scope(log);
    // Value rules, passing file rules and unchecked arguments write nothing.
    EXPECT_EQ(outcome("n", "x", "intval"), "invalid_argument key='n' value='x' rule='intval'");
    EXPECT_EQ(outcome("f", dir.file("one.txt"), "rfile"), "");
    EXPECT_THROW(validate_args({{"a", "x"}, {"b", missing}}, {{"a", "intval"}, {"b", "rfile"}}),
                 std::invalid_argument);
    EXPECT_TRUE(log_messages(log).empty());

    EXPECT_EQ(outcome("f", missing, "rfile"),
              "runtime_error key='f' value='" + missing + "' rule='rfile'");
    EXPECT_EQ(outcome("g", empty, "rfile:x"),
              "runtime_error key='g' value='" + empty + "' rule='rfile:x'");
  }
  std::vector<std::string> const expected = {
      "Error reading file " + missing, "File '" + missing + "' does not exist or it's empty",
      "Error reading file " + empty, "File '" + empty + "' does not exist or it's empty"};
  EXPECT_EQ(log_messages(log), expected);
}

}  // namespace
