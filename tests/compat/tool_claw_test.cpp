// What a claw is known by, how its status is read, and its share of a procter request.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/claw_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

constexpr std::int32_t kMin32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kMax32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

// --- Recorded state ---

class RecordedClawState : public ClawTest {};

TEST_F(RecordedClawState, IsUnknownForEveryClawAtTheStart) {
  config.claw_motor_ids = {1, 2, 3};

  for (std::size_t index = 0; index < 3; ++index) {
    EXPECT_EQ(orchestrator().claw_state(index), ClawState::Unknown);
  }
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(RecordedClawState, BelongsToOneClawAlone) {
  bring(1, ClawState::Lowered);
  bring(3, ClawState::Raised);

  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
  EXPECT_EQ(orchestrator().claw_state(1), ClawState::Lowered);
  EXPECT_EQ(orchestrator().claw_state(2), ClawState::Unknown);
  EXPECT_EQ(orchestrator().claw_state(3), ClawState::Raised);
}

TEST_F(RecordedClawState, IsUnknownWhereThereIsNoClaw) {
  config.claw_motor_ids = {1};
  bring(0, ClawState::Raised);

  EXPECT_EQ(orchestrator().claw_state(1), ClawState::Unknown);
  EXPECT_EQ(orchestrator().claw_state(std::numeric_limits<std::size_t>::max()), ClawState::Unknown);
}

// --- Selects and devices ---

class ClawSelect : public ClawTest {};

TEST_F(ClawSelect, NamesClawsByOneBitAndAnythingElseGivesTheClawCount) {
  for (const std::size_t count : {0U, 2U, 4U, 6U}) {
    SCOPED_TRACE("claws: " + std::to_string(count));
    config.claw_motor_ids.assign(count, 1);
    const BottomCompatOrchestrator robot(gateway, config, nullptr, nullptr, nullptr);

    EXPECT_EQ(robot.claw_motor_index(1), 0U);
    EXPECT_EQ(robot.claw_motor_index(2), 1U);
    EXPECT_EQ(robot.claw_motor_index(4), 2U);
    EXPECT_EQ(robot.claw_motor_index(8), 3U);
    for (const std::int32_t select :
         {kMin32, -8, -1, 0, 3, 5, 6, 7, 9, 10, 12, 15, 16, 32, 257, kMax32}) {
      EXPECT_EQ(robot.claw_motor_index(select), count) << "select " << select;
    }
  }
}

TEST_F(ClawSelect, TurnsMotorNumbersIntoDeviceNames) {
  config.claw_motor_ids = {3, -2, 0, kMin, kMax};

  EXPECT_EQ(orchestrator().claw_device_name(0), "motor3");
  EXPECT_EQ(orchestrator().claw_device_name(1), "motor-2");
  EXPECT_EQ(orchestrator().claw_device_name(2), "motor0");
  EXPECT_EQ(orchestrator().claw_device_name(3), "motor-9223372036854775808");
  EXPECT_EQ(orchestrator().claw_device_name(4), "motor9223372036854775807");
}

// --- Status query ---

struct Answer {
  const char* name;
  OperateResult result;
  BottomCompatReply reply;
  std::uint8_t action;  // the outputs start at 100 and 200
  std::uint8_t position;
};
void PrintTo(const Answer& row, std::ostream* out) { *out << row.name; }

class ClawQuery : public ClawTest, public testing::WithParamInterface<Answer> {};

TEST_P(ClawQuery, TakesTheFirstTwoBytesOrLeavesTheOutputsUntouched) {
  gateway->then([](const Operation&) { return GetParam().result; });
  std::uint8_t action = 100;
  std::uint8_t position = 200;

  EXPECT_EQ(orchestrator().claw_query(2, action, position), GetParam().reply);

  EXPECT_EQ(action, GetParam().action);
  EXPECT_EQ(position, GetParam().position);
  EXPECT_EQ(journal.take(), ClawLines{"motor13"}.query(GetParam().result));
}
INSTANTIATE_TEST_SUITE_P(
    Answers, ClawQuery,
    testing::Values(
        Answer{"TwoBytes", {true, {7, 9}, ""}, success(), 7, 9},
        Answer{"LargestBytes", {true, {255, 254}, ""}, success(), 255, 254},
        Answer{"ZeroBytes", {true, {0, 0}, ""}, success(), 0, 0},
        Answer{"ThreeBytes", {true, {1, 2, 3}, ""}, success(), 1, 2},
        Answer{"MessageOfASuccess", {true, {1, 2, 3, 4}, "read"}, success(), 1, 2},
        Answer{"OneByte",
               {true, {7}, "cut"},
               failure("tools_claw query result too short: bytes=1"),
               100,
               200},
        Answer{"NoByte",
               {true, {}, ""},
               failure("tools_claw query result too short: bytes=0"),
               100,
               200},
        Answer{"Failure", {false, {}, "deaf"}, failure("tools_claw query failed: deaf"), 100, 200},
        Answer{"FailureWithoutMessage",
               {false, {}, ""},
               failure("tools_claw query failed: "),
               100,
               200},
        Answer{"FailureWithData",
               {false, {3, 2}, "late"},
               failure("tools_claw query failed: late"),
               100,
               200}),
    [](const auto& row) { return row.param.name; });

// --- The claw's share of a procter request ---

class ClawHandler : public ClawTest {
 protected:
  BottomCompatReply handle(std::int32_t cmd, std::int32_t duty, std::int32_t select) {
    Request request;
    request.tools_claw_cmd = cmd;
    request.tools_claw_duty = duty;
    request.tools_claw_select = select;
    return orchestrator().handle_tools_claw(request);
  }
};

TEST_F(ClawHandler, ExtendsTheSelectedClawForCommandOne) {
  EXPECT_EQ(handle(1, 0, 1), success());
  EXPECT_EQ(journal.take(),
            record("debug: CMD_PROCTER tools_claw: cmd=1 duty=0 select=1",
                   "info: 收到爪子控制请求 工具11 伸出 cmd=1 duty=0",
                   "debug: tools_claw execute: motor11 op=claw_extend", claw.move("claw_extend"),
                   "debug: tools_claw ok: motor11 raised", "info: 工具11伸出成功"));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Raised);
}

TEST_F(ClawHandler, HomesTheSelectedClawForCommandThree) {
  config.claw_motor_ids = {5, 6};

  EXPECT_EQ(handle(3, 50, 2), success());
  EXPECT_EQ(journal.take(), record("debug: CMD_PROCTER tools_claw: cmd=3 duty=50 select=2",
                                   "info: 收到爪子控制请求 工具6 收回 cmd=3 duty=50",
                                   "debug: tools_claw execute: motor6 op=claw_home",
                                   ClawLines{"motor6"}.move("claw_home"),
                                   "debug: tools_claw ok: motor6 lowered", "info: 工具6收回成功"));
  EXPECT_EQ(orchestrator().claw_state(1), ClawState::Lowered);
}

TEST_F(ClawHandler, AcknowledgesNegativeMotorNumbersAndDuties) {
  config.claw_motor_ids = {1, 2, kMin};
  bring(2, ClawState::Raised);

  EXPECT_EQ(handle(1, kMin32, 4), success());
  EXPECT_EQ(journal.take(),
            (Lines{"debug: CMD_PROCTER tools_claw: cmd=1 duty=-2147483648 select=4",
                   "info: 收到爪子控制请求 工具-9223372036854775808 伸出 cmd=1 duty=-2147483648",
                   "debug: tools_claw idempotent: motor-9223372036854775808 already raised"}));
}

TEST_F(ClawHandler, PassesOnTheFailureOfTheMove) {
  config.claw_retry_count = 0;
  gateway->then_fail("busy");

  EXPECT_EQ(handle(3, 0, 8), failure("tools_claw claw_home failed after 1 attempts: "
                                     "tools_claw claw_home write failed: busy"));
}

TEST_F(ClawHandler, AcknowledgesARequestThatTheEmergencyStopThenRejects) {
  stop();
  journal.take();

  EXPECT_EQ(handle(1, 0, 1), failure("tools_claw rejected: selfclean_board in emergency"));
  EXPECT_EQ(journal.take(), (Lines{"debug: CMD_PROCTER tools_claw: cmd=1 duty=0 select=1",
                                   "info: 收到爪子控制请求 工具11 伸出 cmd=1 duty=0"}));
}

struct Refusal {
  const char* name;
  std::int32_t cmd;
  std::int32_t duty;
  std::int32_t select;
  bool enabled;
  BottomCompatReply reply;
};
void PrintTo(const Refusal& row, std::ostream* out) { *out << row.name; }

class ClawHandlerRefusal : public ClawHandler, public testing::WithParamInterface<Refusal> {};

TEST_P(ClawHandlerRefusal, MovesNothingAndLogsOnlyTheRequest) {
  config.claw_enabled = GetParam().enabled;
  config.claw_motor_ids = {5, 6};

  EXPECT_EQ(handle(GetParam().cmd, GetParam().duty, GetParam().select), GetParam().reply);

  const std::string summary =
      "debug: CMD_PROCTER tools_claw: cmd=" + std::to_string(GetParam().cmd) +
      " duty=" + std::to_string(GetParam().duty) + " select=" + std::to_string(GetParam().select);
  if (GetParam().reply.success) {
    EXPECT_EQ(journal.take(), (Lines{summary, "debug: tools_claw skipped: empty command"}));
  } else {
    EXPECT_EQ(journal.take(), Lines{summary});
  }
}
INSTANTIATE_TEST_SUITE_P(
    Requests, ClawHandlerRefusal,
    testing::Values(
        Refusal{"Empty", 0, 0, 1, true, success()},
        Refusal{"EmptyWithABadSelect", 0, 0, kMin32, true, success()},
        Refusal{"EmptyAndDisabled", 0, 0, 3, false, success()},
        Refusal{"Disabled", 1, 0, 1, false, failure("tools_claw disabled")},
        Refusal{"DisabledBeforeCommandAndSelect", 2, 9, 3, false, failure("tools_claw disabled")},
        Refusal{"DisabledWithADutyAlone", 0, 1, 1, false, failure("tools_claw disabled")},
        Refusal{"DutyAlone", 0, 10, 1, true, failure("unsupported tools_claw cmd: 0")},
        Refusal{"NegativeDutyAlone", 0, -1, 1, true, failure("unsupported tools_claw cmd: 0")},
        Refusal{"Command2", 2, 0, 1, true, failure("unsupported tools_claw cmd: 2")},
        Refusal{"Command4", 4, 0, 1, true, failure("unsupported tools_claw cmd: 4")},
        Refusal{"NegativeCommand", -1, 0, 1, true, failure("unsupported tools_claw cmd: -1")},
        Refusal{"SmallestCommand", kMin32, 0, 1, true,
                failure("unsupported tools_claw cmd: -2147483648")},
        Refusal{"LargestCommand", kMax32, 0, 1, true,
                failure("unsupported tools_claw cmd: 2147483647")},
        Refusal{"CommandBeforeSelect", 2, 0, 3, true, failure("unsupported tools_claw cmd: 2")},
        Refusal{"Select0", 1, 0, 0, true, failure("tools_claw select out of range: 0")},
        Refusal{"SelectMinus1", 3, 0, -1, true, failure("tools_claw select out of range: -1")},
        Refusal{"Select3", 1, 0, 3, true, failure("tools_claw select out of range: 3")},
        Refusal{"Select7", 3, 0, 7, true, failure("tools_claw select out of range: 7")},
        Refusal{"JustBeyondTheClaws", 1, 0, 4, true, failure("tools_claw select out of range: 4")},
        Refusal{"BeyondTheClaws", 1, 0, 8, true, failure("tools_claw select out of range: 8")},
        Refusal{"Select9", 1, 0, 9, true, failure("tools_claw select out of range: 9")},
        Refusal{"SmallestSelect", 1, 0, kMin32, true,
                failure("tools_claw select out of range: -2147483648")},
        Refusal{"LargestSelect", 1, 0, kMax32, true,
                failure("tools_claw select out of range: 2147483647")}),
    [](const auto& row) { return row.param.name; });

TEST_F(ClawHandler, RefusesEverySelectOfARobotWithoutClaws) {
  config.claw_motor_ids = {};

  EXPECT_EQ(handle(1, 0, 1), failure("tools_claw select out of range: 1"));
}

TEST_F(ClawHandler, AndTheEmergencyStopWorkWithoutLogCallbacks) {
  config.claw_motor_ids = {11};
  BottomCompatOrchestrator silent(gateway, config, nullptr, nullptr, nullptr);
  Request request;
  request.tools_claw_cmd = 1;
  request.tools_claw_select = 1;

  EXPECT_EQ(silent.handle_tools_claw(request), success());
  silent.on_emergency_active();
  silent.on_emergency_recovered();

  EXPECT_EQ(journal.take(), (Lines{"gateway: clean motor11 claw_extend []", "wait: 50ms",
                                   "gateway: clean motor11 claw_query_state []",
                                   "gateway: clean motor11 claw_home []", "wait: 50ms",
                                   "gateway: clean motor11 claw_query_state []"}));
}

}  // namespace
}  // namespace vantrel_can_bridge::test
