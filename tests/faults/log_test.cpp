// A log callback throws at its n-th line: every line of every command, each channel.

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

#include "tests/faults/commands.hpp"

namespace vantrel_can_bridge::test {
namespace {

bool is_of(const std::string& line, const std::string& channel) {
  return line.compare(0, channel.size(), channel) == 0;
}

class LogFault : public testing::TestWithParam<Command> {
 protected:
  static Lines undisturbed_lines() {
    Robot robot;
    GetParam().set_up(robot);
    (void)GetParam().run(robot);
    return robot.journal.lines();
  }

  /// Runs the command with a callback that throws once `n` lines of `channel` are written.
  static void throw_at(const std::string& channel, std::size_t n, const Lines& until_then) {
    SCOPED_TRACE("line " + std::to_string(n) + " of " + channel + until_then.back());
    Robot robot;
    GetParam().set_up(robot);
    const States before = robot.states();
    std::size_t written = 0;
    robot.on_line = [&](const std::string& line) {
      written += is_of(line, channel) ? 1U : 0U;
      if (is_of(line, channel) && written == n) {
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
  const Lines lines = undisturbed_lines();
  for (const std::string channel : {"debug: ", "info: ", "warn: "}) {
    std::size_t n = 0;
    for (auto line = lines.begin(); line != lines.end() && !HasFailure(); ++line) {
      if (is_of(*line, channel)) {
        throw_at(channel, ++n, Lines(lines.begin(), line + 1));
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Command, LogFault, testing::ValuesIn(every_course()),
                         [](const auto& command) { return command.param.name; });

}  // namespace
}  // namespace vantrel_can_bridge::test
