#include "foundation/log/diagnostic_logger.hpp"

#include "support/trace_capture.hpp"

using foundation::log::basic_diagnostic_logger;
using Lines = std::vector<std::string>;

TEST(DiagnosticLogger, ADisabledLevelComposesNothing) {
  basic_diagnostic_logger<char> const channel("test::compose");
  qx::test::TraceCapture capture("test::compose", 8);
  int evaluations = 0;
  FL_TRACE(channel, 4, "x=", ++evaluations);
  EXPECT_EQ(evaluations, 0);
  FL_TRACE(channel, 8, "x=", ++evaluations);
  EXPECT_EQ(evaluations, 1);
  EXPECT_EQ(capture.lines(), Lines{"8x=1"});
}

TEST(DiagnosticLogger, PiecesJoinWithoutSeparators) {
  basic_diagnostic_logger<char> const channel("test::join");
  qx::test::TraceCapture capture("test::join");
  FL_TRACE(channel, 4, " a=", true, " b=", false, " n=", -12, " u=", ustring(u"\u00C4\u20AC"),
           " p=", fl::filesystem::basic_path(u"/t/x"), 'c');
  EXPECT_EQ(capture.lines(), Lines{"4 a=1 b=0 n=-12 u=\xC3\x84\xE2\x82\xAC p=/t/xc"});
}

// Levels are set by channel name, before or after a logger on it exists; nothing at first.
TEST(DiagnosticLogger, LevelsAreSetPerChannelByName) {
  foundation::log::set_enabled_levels("test::later", 8);
  basic_diagnostic_logger<char> const later("test::later"), other("test::other");
  qx::test::TraceCapture capture("test::later", 8);
  EXPECT_TRUE(later.is_enabled(4 | 8));  // any bit of the level
  EXPECT_FALSE(later.is_enabled(4) || other.is_enabled(~0U));
  foundation::log::set_enabled_levels("test::other", 8);
  FL_TRACE(other, 8, "other channel");  // records carry their own channel
  FL_TRACE(later, 4, "info");
  FL_TRACE(later, 8, "debug");
  foundation::log::set_enabled_levels("test::later", 0);
  foundation::log::set_enabled_levels("test::other", 0);
  EXPECT_FALSE(later.is_enabled(8));
  EXPECT_EQ(capture.lines(), Lines{"8debug"});
}
