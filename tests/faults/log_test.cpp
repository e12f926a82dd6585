// A log callback throws: at every line of every command, on each channel.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/faults/commands.hpp"

namespace vantrel_can_bridge::test {
namespace {

class LogFault : public testing::TestWithParam<Command> {
 protected:
  static std::vector<Lines> journal_at_each_line() {
    Robot robot;
    GetParam().set_up(robot);
    std::vector<Lines> journals;
    robot.on_line = [&](const std::string&) { journals.push_back(robot.journal.lines()); };
    (void)GetParam().run(robot);
    return journals;
  }

  /// Runs the command with a callback that throws once the journal has as many lines as
  /// `until_then`, which is what it must then hold.
  static void throw_after(const Lines& until_then) {
    SCOPED_TRACE("throws at line " + std::to_string(until_then.size()) + ": " + until_then.back());
    Robot robot;
    GetParam().set_up(robot);
    const States before = robot.states();
    robot.on_line = [&](const std::string& line) {
      if (robot.journal.lines().size() == until_then.size()) {
        throw ThrownFault(line);
      }
    };

    EXPECT_THROW((void)GetParam().run(robot), ThrownFault);

    EXPECT_EQ(robot.journal.lines(), until_then);
    EXPECT_EQ(robot.states(), robot.expected_states(before, true));
    robot.expect_to_work();
  }
};

TEST_P(LogFault, ACallbackThatThrowsAtAnyLineEndsTheCallThere) {
  const std::vector<Lines> points = journal_at_each_line();
  EXPECT_FALSE(points.empty());
  for (const Lines& until_then : points) {
    throw_after(until_then);
    if (HasFailure()) {
      return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Command, LogFault, testing::ValuesIn(every_course()),
                         [](const auto& command) { return command.param.name; });

}  // namespace
}  // namespace vantrel_can_bridge::test
