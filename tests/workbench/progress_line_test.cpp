#include "workbench/progress_line.hpp"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace vantrel_can_bridge::workbench {
namespace {

using namespace std::chrono_literals;

/// What a terminal shows, and all that was written to it.
class Terminal : public testing::Test {
 protected:
  /// Written since the last time.
  std::string written() {
    const std::string text = terminal_.str();
    terminal_.str("");
    return text;
  }

  std::ostringstream terminal_;
  ProgressLine progress_{terminal_};
};

TEST_F(Terminal, ShowsALongWaitOnceASecond) {
  progress_.begin(100s, 90s);
  progress_.tick(101'999ms);
  EXPECT_EQ(written(), "");
  progress_.tick(102s);
  EXPECT_EQ(written(), "  waiting 0:02 of 1:30");
  progress_.tick(102'999ms);
  EXPECT_EQ(written(), "");
  progress_.tick(103s);
  EXPECT_EQ(written(), "\r                      \r  waiting 0:03 of 1:30");
  progress_.end();
  EXPECT_EQ(written(), "\r                      \r");
  progress_.tick(150s);
  EXPECT_EQ(written(), "");
}

TEST_F(Terminal, ShowsNothingOfAShortWait) {
  progress_.begin(0s, 2s);
  progress_.tick(10s);
  progress_.end();
  EXPECT_EQ(written(), "");
}

TEST_F(Terminal, RoundsTheTotalUpAndShowsHours) {
  progress_.begin(0s, 10h + 1ms);
  progress_.tick(3'661s);
  EXPECT_EQ(written(), "  waiting 1:01:01 of 10:00:01");
}

TEST_F(Terminal, ShowsHowLongAWaitWithoutAnEndTakes) {
  progress_.begin(10s, std::nullopt);
  progress_.tick(11s);
  EXPECT_EQ(written(), "");
  progress_.tick(75s);
  EXPECT_EQ(written(), "  waiting 1:05");
  progress_.end();
  written();
  progress_.tick(80s);
  EXPECT_EQ(written(), "");
}

TEST_F(Terminal, CountsEachWaitFromItsBegin) {
  progress_.begin(0s, 10s);
  progress_.tick(5s);
  progress_.end();
  progress_.begin(5s, 20s);
  written();
  progress_.tick(6s);
  EXPECT_EQ(written(), "");
  progress_.tick(7s);
  EXPECT_EQ(written(), "  waiting 0:02 of 0:20");
}

TEST_F(Terminal, MakesWayForOtherOutput) {
  progress_.begin(0s, 10s);
  progress_.tick(3s);
  progress_.out() << "a line" << std::endl;
  EXPECT_EQ(written(), "  waiting 0:03 of 0:10\r                      \ra line\n");
  progress_.tick(3s);
  EXPECT_EQ(written(), "  waiting 0:03 of 0:10");
}

TEST_F(Terminal, KeepsOutOfALineThatIsBeingWritten) {
  progress_.begin(0s, 10s);
  progress_.out() << "half a ";
  progress_.tick(3s);
  progress_.out() << "line" << '\n';
  EXPECT_EQ(written(), "half a line\n");
  progress_.tick(3s);
  EXPECT_EQ(written(), "  waiting 0:03 of 0:10");
}

TEST_F(Terminal, TellsTheWriterWhenItIsGone) {
  terminal_.setstate(std::ios::badbit);
  EXPECT_FALSE(progress_.out() << "lost" << std::flush);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
