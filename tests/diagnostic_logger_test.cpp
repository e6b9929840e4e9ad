#include "foundation/log/diagnostic_logger.hpp"

#include <gtest/gtest.h>

#include <type_traits>

#include "support/trace_capture.hpp"

namespace {

using foundation::log::basic_diagnostic_logger;

static_assert(!std::is_copy_constructible_v<basic_diagnostic_logger<char>>);
static_assert(noexcept(std::declval<basic_diagnostic_logger<char> const&>().is_enabled(4)));

int evaluations = 0;
std::string counted(std::string text) {
  ++evaluations;
  return text;
}

TEST(DiagnosticLogger, DisabledLevelComposesNothing) {
  basic_diagnostic_logger<char> const channel("test::compose");
  qx::test::TraceCapture capture("test::compose", 8);
  evaluations = 0;
  FL_TRACE(channel, 4, "x=", counted("never"));
  EXPECT_EQ(evaluations, 0);
  FL_TRACE(channel, 8, "x=", counted("once"));
  EXPECT_EQ(evaluations, 1);
  EXPECT_EQ(capture.messages(), std::vector<std::string>{"x=once"});
}

TEST(DiagnosticLogger, PiecesJoinWithoutSeparators) {
  basic_diagnostic_logger<char> const channel("test::join");
  qx::test::TraceCapture capture("test::join");
  FL_TRACE(channel, 4, " a=", true, " b=", false, " n=", -12, " u=", ustring(u"\u00C4\u20AC"),
           " p=", fl::filesystem::basic_path(u"/t/x"), 'c');
  ASSERT_EQ(capture.records().size(), 1U);
  EXPECT_EQ(
      capture.records()[0],
      (qx::test::TraceRecord{"test::join", 4, " a=1 b=0 n=-12 u=\xC3\x84\xE2\x82\xAC p=/t/xc"}));
}

TEST(DiagnosticLogger, LevelsSetByNameBeforeAndAfterConstruction) {
  foundation::log::set_enabled_levels("test::later", 8);
  basic_diagnostic_logger<char> const later("test::later");
  EXPECT_TRUE(later.is_enabled(8));
  EXPECT_FALSE(later.is_enabled(4));
  foundation::log::set_enabled_levels("test::later", 0);
  EXPECT_FALSE(later.is_enabled(8));
  basic_diagnostic_logger<char> const fresh("test::fresh");
  EXPECT_FALSE(fresh.is_enabled(0xFFFFFFFFU));  // nothing traced until asked
  EXPECT_EQ(fresh.name(), "test::fresh");
}

TEST(DiagnosticLogger, RecordsCarryChannelAndSeverity) {
  basic_diagnostic_logger<char> const first("test::one");
  basic_diagnostic_logger<char> const second("test::two");
  qx::test::TraceCapture capture("test::one");
  foundation::log::set_enabled_levels("test::two", 4);
  FL_TRACE(second, 4, "other channel");
  FL_TRACE(first, 8, "debug");
  FL_TRACE(first, 4, "info");
  foundation::log::set_enabled_levels("test::two", 0);
  EXPECT_EQ(capture.records(), (std::vector<qx::test::TraceRecord>{{"test::one", 8, "debug"},
                                                                   {"test::one", 4, "info"}}));
}

}  // namespace
