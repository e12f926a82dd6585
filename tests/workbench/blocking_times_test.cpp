#include "workbench/blocking_times.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "compat/bottom_compat_orchestrator.hpp"
#include "tests/support/recording_gateway.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatOrchestrator;
using test::Journal;
using test::RecordingGateway;
using test::VirtualTime;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

/// Times such that a claw's time-out falls one millisecond after the end of a round, which
/// makes an attempt one millisecond shorter than any attempt can be.
constexpr std::int64_t kPollMs = 100;
constexpr std::int64_t kQueryMs = 7;
constexpr std::int64_t kRounds = 5;
constexpr std::int64_t kTimeoutMs = (kRounds - 1) * (kPollMs + kQueryMs) + 1;

RobotFile slow_robot() {
  RobotFile robot;
  robot.config.bottom_board = "bottom_board";
  robot.config.selfclean_board = "selfclean_board";
  robot.config.tools_clean_motor_slots = {5, 6, 7};
  robot.config.clean_pump_channel = 1;
  robot.config.dirty_pump_channel = 2;
  robot.config.clean_pump_valves = {0};
  robot.config.dirty_pump_valves = {4};
  robot.config.valve_switch_delay_ms = 250;
  robot.config.claw_enabled = true;
  robot.config.claw_motor_ids = {1, 2};
  robot.config.claw_poll_interval_ms = kPollMs;
  robot.config.claw_timeout_ms = kTimeoutMs;
  robot.config.claw_retry_count = 2;
  robot.config.claw_retry_backoff_ms = 300;
  robot.config.claw_emergency_recovery = true;
  robot.config.claw_recovery_budget_ms = 1'000'000;
  robot.simulation.default_latency = std::chrono::milliseconds(3);
  robot.simulation.latencies = {{"claw_query_state", std::chrono::milliseconds(kQueryMs)},
                                {"claw_extend", std::chrono::milliseconds(11)},
                                {"claw_home", std::chrono::milliseconds(11)}};
  return robot;
}

/// The component on boards that are as slow as the robot file allows. Claws confirm an
/// extend in the last round of an attempt, and no other move.
class SlowBoards {
 public:
  explicit SlowBoards(const RobotFile& robot) : robot_(robot) {
    gateway_->otherwise([this](const test::Operation& operation) { return answer(operation); });
  }

  std::int64_t elapsed_ms() const {
    return std::chrono::duration_cast<std::chrono::milliseconds>(time_.elapsed()).count();
  }

  BottomCompatOrchestrator& orchestrator() { return orchestrator_; }

  bool extends = false;

 private:
  OperateResult answer(const test::Operation& operation) {
    time_.advance(robot_.simulation.latency(operation.op));
    if (operation.op != "claw_query_state") {
      move_ = operation.op;
      queries_ = 0;
      return {true, {}, {}};
    }
    const bool arrives = extends && move_ == "claw_extend" && ++queries_ == kRounds;
    return arrives ? OperateResult{true, {3, 2}, {}} : OperateResult{true, {1, 0}, {}};
  }

  const RobotFile& robot_;
  Journal journal_;
  VirtualTime time_{journal_};
  std::shared_ptr<RecordingGateway> gateway_ = std::make_shared<RecordingGateway>(journal_);
  BottomCompatOrchestrator orchestrator_{gateway_, robot_.config, nullptr, nullptr, nullptr};
  std::string move_;
  std::int64_t queries_ = 0;
};

TEST(BlockingTimes, ARequestCanTakeThatLong) {
  const RobotFile robot = slow_robot();
  SlowBoards boards(robot);
  vantrel_protocol::srv::BottomInteractSrv_Request request;
  request.tools_select = -1;  // stop all motors: here longer than a start
  request.clean_select = 1;
  request.clean_cmd = 1;
  request.clean_duty = 50;
  request.dirty_select = 1;
  request.dirty_cmd = 1;
  request.dirty_duty = 50;
  request.tools_claw_cmd = 1;
  request.tools_claw_select = 1;

  EXPECT_FALSE(boards.orchestrator().handle(request).success);

  constexpr std::int64_t kAttempts = 3;
  EXPECT_EQ(boards.elapsed_ms(), blocking_times(robot).request_ms - kAttempts);
}

TEST(BlockingTimes, ARecoveryOfAllClawsCanTakeThatLong) {
  const RobotFile robot = slow_robot();
  SlowBoards boards(robot);
  boards.extends = true;

  boards.orchestrator().on_emergency_active();
  boards.orchestrator().on_emergency_recovered();

  constexpr std::int64_t kAttempts = 4;
  EXPECT_EQ(boards.elapsed_ms(), blocking_times(robot).recovery_ms - kAttempts);
}

TEST(BlockingTimes, ARecoveryOverrunsItsBudgetByOneMove) {
  RobotFile robot = slow_robot();
  const std::int64_t attempt_ms = blocking_times(robot).attempt_ms - 1;
  robot.config.claw_recovery_budget_ms = 2 * attempt_ms + 1;  // a third begins just in time
  SlowBoards boards(robot);
  boards.extends = true;

  boards.orchestrator().on_emergency_active();
  boards.orchestrator().on_emergency_recovered();

  EXPECT_EQ(boards.elapsed_ms(), 3 * attempt_ms);
  EXPECT_EQ(boards.elapsed_ms(), blocking_times(robot).recovery_ms - 2);
}

TEST(BlockingTimes, CountsWhatTheComponentUsesInPlaceOfSmallValues) {
  RobotFile robot;
  robot.config.claw_motor_ids = {1};
  robot.config.claw_enabled = true;
  robot.config.claw_poll_interval_ms = -5;
  robot.config.claw_timeout_ms = -5;
  robot.config.claw_retry_count = -5;
  robot.config.claw_retry_backoff_ms = -5;
  robot.config.claw_recovery_budget_ms = -5;
  robot.config.claw_emergency_recovery = true;
  robot.config.valve_switch_delay_ms = -5;
  robot.config.clean_pump_valves = {0};
  const BlockingTimes times = blocking_times(robot);
  EXPECT_EQ(times.attempt_ms, 20);
  EXPECT_EQ(times.attempts, 1);
  EXPECT_EQ(times.claw_move_ms, 20);
  EXPECT_EQ(times.request_ms, 20);
  EXPECT_EQ(times.recovery_ms, 21);
}

TEST(BlockingTimes, LeavesOutWhatTheRobotDoesNotHave) {
  RobotFile robot = slow_robot();
  robot.config.claw_enabled = false;
  robot.config.claw_emergency_recovery = false;
  robot.config.dirty_pump_valves = {8};
  robot.config.tools_clean_motor_slots = {};
  const BlockingTimes times = blocking_times(robot);
  EXPECT_EQ(times.request_ms, 3 + 250 + 3) << "the clean pump alone";
  EXPECT_EQ(times.recovery_ms, 0);
}

TEST(BlockingTimes, TakesTheLongestRequestOfAll) {
  RobotFile robot;
  robot.simulation.latencies = {{"set_led", std::chrono::milliseconds(10)},
                                {"set_bit", std::chrono::milliseconds(19)},
                                {"set_brightness", std::chrono::milliseconds(39)}};
  EXPECT_EQ(blocking_times(robot).request_ms, 40) << "four LED writes";
  robot.simulation.latencies["set_bit"] = std::chrono::milliseconds(21);
  EXPECT_EQ(blocking_times(robot).request_ms, 42) << "front and rear projection";
  robot.simulation.latencies["set_brightness"] = std::chrono::milliseconds(43);
  EXPECT_EQ(blocking_times(robot).request_ms, 43) << "fill light";
  robot.simulation.latencies["set_duty"] = std::chrono::milliseconds(44);
  EXPECT_EQ(blocking_times(robot).request_ms, 44) << "end-tool pump";
  robot.config.tools_clean_motor_slots = {5};
  robot.simulation.latencies["enable"] = std::chrono::milliseconds(45);
  EXPECT_EQ(blocking_times(robot).request_ms, 45) << "start of a cleaning motor";
}

TEST(BlockingTimes, StopAtTheLargestNumber) {
  RobotFile robot = slow_robot();
  robot.config.claw_retry_count = kMost;
  robot.config.claw_poll_interval_ms = kMost;
  robot.config.claw_timeout_ms = kMost;
  robot.config.claw_recovery_budget_ms = kMost;
  robot.config.valve_switch_delay_ms = kMost;
  const BlockingTimes times = blocking_times(robot);
  EXPECT_EQ(times.attempt_ms, kMost);
  EXPECT_EQ(times.attempts, kMost);
  EXPECT_EQ(times.claw_move_ms, kMost);
  EXPECT_EQ(times.request_ms, kMost);
  EXPECT_EQ(times.recovery_ms, kMost);
}

TEST(DurationText, RoundsUpInUnitsForPeople) {
  EXPECT_EQ(rounded_duration_text(0), "0 ms");
  EXPECT_EQ(rounded_duration_text(999), "999 ms");
  EXPECT_EQ(rounded_duration_text(1000), "1 s");
  EXPECT_EQ(rounded_duration_text(20'450), "20.45 s");
  EXPECT_EQ(rounded_duration_text(119'999), "119.999 s");
  EXPECT_EQ(rounded_duration_text(120'000), "120 s");
  EXPECT_EQ(rounded_duration_text(120'001), "2 min 1 s");
  EXPECT_EQ(rounded_duration_text(3'600'000), "60 min 0 s");
  EXPECT_EQ(rounded_duration_text(3'600'001), "1 h 1 min");
  EXPECT_EQ(rounded_duration_text(kMost), "over 100 years");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
