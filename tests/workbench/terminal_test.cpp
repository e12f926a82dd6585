#include "workbench/terminal.hpp"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace vantrel_can_bridge::workbench::test {
namespace {

TEST(Styled, WrapsTheTextInItsRendition) {
  EXPECT_EQ(styled(Style::Good, "text", true), "\x1b[32mtext\x1b[0m");
  EXPECT_EQ(styled(Style::Alarm, "", true), "\x1b[1;31m\x1b[0m");
}

TEST(Styled, LeavesPlainAndUncolouredTextAsItIs) {
  EXPECT_EQ(styled(Style::Plain, "text", true), "text");
  EXPECT_EQ(styled(Style::Alarm, "text", false), "text");
}

/// The master side of a pseudo-terminal, on which isatty() holds as on the other side.
class WantsColour : public testing::Test {
 protected:
  WantsColour() {
    setenv("TERM", "xterm", 1);
    unsetenv("NO_COLOR");
  }
  ~WantsColour() override { close(terminal_); }

  const int terminal_ = posix_openpt(O_RDWR | O_NOCTTY);
};

TEST_F(WantsColour, OnATerminal) {
  ASSERT_NE(terminal_, -1);
  EXPECT_TRUE(wants_colour(terminal_));
}

TEST_F(WantsColour, NotInAFile) {
  const int file = open("/dev/null", O_WRONLY);
  EXPECT_FALSE(wants_colour(file));
  close(file);
}

TEST_F(WantsColour, NotWhereNoColorIsSet) {
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(wants_colour(terminal_));
  EXPECT_TRUE(is_live_terminal(terminal_));
}

TEST_F(WantsColour, AlsoWhereNoColorIsEmpty) {
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(wants_colour(terminal_));
}

TEST_F(WantsColour, NotOnATerminalThatCannot) {
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(wants_colour(terminal_));
  unsetenv("TERM");
  EXPECT_FALSE(wants_colour(terminal_));
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
