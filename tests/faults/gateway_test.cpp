// Every gateway call of every command fails, throws, or answers with too few or too many
// bytes, one after the other.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/commands.hpp"

namespace vantrel_can_bridge::test {
namespace {

enum class Kind { Fails, Throws, Answers0Bytes, Answers1Byte, Answers2Bytes, Answers3Bytes };

constexpr std::pair<Kind, const char*> kKinds[] = {
    {Kind::Fails, "fails"},
    {Kind::Throws, "throws"},
    {Kind::Answers0Bytes, "answers 0 bytes"},
    {Kind::Answers1Byte, "answers 1 byte"},
    {Kind::Answers2Bytes, "answers 2 bytes"},
    {Kind::Answers3Bytes, "answers 3 bytes"},
};

bool contains(const std::string& line, const char* text) {
  return line.find(text) != std::string::npos;
}
bool is_query(const std::string& call) { return contains(call, " claw_query_state "); }
bool is_move(const std::string& call) {
  return contains(call, " claw_extend ") || contains(call, " claw_home ");
}
std::string device_of(const std::string& call) {  // "gateway: board device op [bytes]"
  const std::size_t begin = call.find(' ', 9) + 1;
  return call.substr(begin, call.find(' ', begin) - begin);
}

/// How a single fault at call `n` changes the calls of a command that had `calls`.
Lines with_fault(Lines calls, std::size_t n, Kind kind, bool is_recovery) {
  if (n == calls.size()) {
    return calls;  // there is no such call
  }
  const std::string faulty = calls[n];
  const auto next = calls.begin() + static_cast<std::ptrdiff_t>(n) + 1;
  const bool too_short = kind == Kind::Answers0Bytes || kind == Kind::Answers1Byte;
  if (kind == Kind::Throws || (kind == Kind::Fails && !is_query(faulty) && !is_move(faulty))) {
    calls.erase(next, calls.end());  // the request ends there
  } else if (is_query(faulty) && (kind == Kind::Fails || too_short)) {
    calls.insert(next, faulty);  // asked again at the next poll
  } else if (is_move(faulty) && kind == Kind::Fails && !is_recovery) {
    calls.insert(next, faulty);  // a second attempt
  } else if (is_move(faulty) && kind == Kind::Fails) {
    calls.erase(
        std::remove_if(next, calls.end(),  // the recovery leaves this claw
                       [&](const auto& call) { return device_of(call) == device_of(faulty); }),
        calls.end());
  }
  return calls;
}

/// Disturbs call number `n` of a robot. A query that goes wrong has not reached the claw.
Robot::Fault disturb(const Robot& robot, std::size_t n, Kind kind) {
  return [&robot, n, kind](const Operation& operation, const Robot::Boards& boards) {
    if (robot.calls().size() - 1 != n) {
      return boards();
    }
    if (kind == Kind::Fails) {
      return OperateResult{false, {}, "bus off"};
    }
    if (kind == Kind::Throws) {
      throw ThrownFault("gateway");
    }
    const auto bytes =
        static_cast<std::size_t>(kind) - static_cast<std::size_t>(Kind::Answers0Bytes);
    if (operation.op == "claw_query_state" && bytes < 2) {
      return OperateResult{true, std::vector<std::uint8_t>(bytes, 3), {}};
    }
    OperateResult result = boards();
    result.data.resize(bytes, 0xee);
    return result;
  };
}

bool is_clear(const Command& command) { return command.name == "Clear"; }

class GatewayFault : public testing::TestWithParam<Command> {
 protected:
  void SetUp() override {
    Robot robot;
    GetParam().set_up(robot);
    undisturbed_reply = GetParam().run(robot);
    undisturbed_calls = robot.calls();
  }

  std::string call(std::size_t n) const {
    return n < undisturbed_calls.size() ? undisturbed_calls[n] : "none";
  }

  BottomCompatReply undisturbed_reply;
  Lines undisturbed_calls;
};

// The last `n` of both is beyond the last call: the command runs through.

TEST_P(GatewayFault, ASingleFaultAtAnyCallHasExactlyItsOwnConsequences) {
  for (std::size_t n = 0; n <= undisturbed_calls.size(); ++n) {
    for (const auto& [kind, shown] : kKinds) {
      const std::string faulty = call(n);
      SCOPED_TRACE("call " + std::to_string(n) + " " + shown + ": " + faulty);
      Robot robot;
      GetParam().set_up(robot);
      const States before = robot.states();
      robot.fault = disturb(robot, n, kind);
      const bool reached = n < undisturbed_calls.size();
      const bool ends_request =
          reached && kind == Kind::Fails && !is_query(faulty) && !is_move(faulty);

      if (reached && kind == Kind::Throws) {
        EXPECT_THROW((void)GetParam().run(robot), ThrownFault);
        EXPECT_EQ(robot.journal.lines().back(), faulty) << "something came after the exception";
      } else {
        EXPECT_EQ(GetParam().run(robot), ends_request ? failure("bus off") : undisturbed_reply);
      }

      EXPECT_EQ(robot.calls(), with_fault(undisturbed_calls, n, kind, is_clear(GetParam())));
      EXPECT_EQ(robot.states(), robot.expected_states(before, reached && kind == Kind::Throws));
      robot.expect_to_work();
      if (HasFailure()) {
        return;
      }
    }
  }
}

TEST_P(GatewayFault, ABusThatGoesDownAtAnyCallEndsTheRequest) {
  for (std::size_t n = 0; n <= undisturbed_calls.size(); ++n) {
    const std::string faulty = call(n);
    SCOPED_TRACE("down from call " + std::to_string(n) + ": " + faulty);
    Robot robot;
    GetParam().set_up(robot);
    const States before = robot.states();
    robot.fault = [&robot, n](const Operation&, const Robot::Boards& boards) {
      return robot.calls().size() > n ? OperateResult{false, {}, "bus off"} : boards();
    };

    const BottomCompatReply reply = GetParam().run(robot);

    const Lines calls = robot.calls();
    if (is_clear(GetParam()) || n == undisturbed_calls.size()) {
      EXPECT_EQ(reply, undisturbed_reply);
    } else if (is_query(faulty) || is_move(faulty)) {
      // One write more for each retry, after a query that was never answered.
      const std::string op =
          contains(*std::find_if(undisturbed_calls.begin(), undisturbed_calls.end(), is_move),
                   "claw_extend")
              ? "claw_extend"
              : "claw_home";
      EXPECT_EQ(reply, failure("tools_claw " + op + " failed after 3 attempts: tools_claw " + op +
                               " write failed: bus off"));
      EXPECT_EQ(std::count_if(calls.begin(), calls.end(), is_move), 3);
    } else {
      EXPECT_EQ(reply, failure("bus off"));
      EXPECT_EQ(calls, Lines(undisturbed_calls.begin(),
                             undisturbed_calls.begin() + static_cast<std::ptrdiff_t>(n) + 1));
    }
    EXPECT_EQ(robot.states(), robot.expected_states(before, false));
    robot.expect_to_work();
    if (HasFailure()) {
      return;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Command, GatewayFault, testing::ValuesIn(every_command()),
                         [](const auto& command) { return command.param.name; });

}  // namespace
}  // namespace vantrel_can_bridge::test
