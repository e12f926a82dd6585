#include "workbench/robot_file.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace vantrel_can_bridge::workbench {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

RobotFile read(const std::string& text) {
  InputErrors errors;
  const auto document = read_yaml_text(text, "f", errors);
  auto robot = document ? read_robot(*document, errors) : std::nullopt;
  EXPECT_EQ(errors.lines(), "");
  return robot.value_or(RobotFile{});
}

/// Every field with a value of its own, in another order than the record's.
constexpr const char* kEveryField = R"(
aux_value: 30
claw_recovery_budget_ms: 29
claw_emergency_recovery: true
claw_retry_backoff_ms: 27
claw_retry_count: 26
claw_timeout_ms: 25
claw_poll_interval_ms: 24
claw_motor_ids: [23, -23]
claw_enabled: true
rear_projection_bit: 21
rear_projection_sub: 20
front_projection_bit: 19
front_projection_sub: 18
bump_unlock_bit: 17
bump_unlock_sub: 16
wheel_power_bit: 15
wheel_power_sub: 14
wheel_unlock_value: true
wheel_lock_value: false
valve_switch_delay_ms: 13
dirty_pump_valves: [12]
clean_pump_valves: [11, 10]
end_tool_pump_channel: 9
dirty_pump_channel: 8
clean_pump_channel: 7
aux_ids_b: [6, 6]
aux_ids_a: [5]
tools_clean_motor_slots: [4]
tools_clean_rpm_per_duty: 3
aux_board: third
selfclean_board: second
bottom_board: first
)";

TEST(RobotFile, ReadsEveryFieldUnderItsOwnName) {
  const auto config = read(kEveryField).config;
  EXPECT_EQ(config.bottom_board, "first");
  EXPECT_EQ(config.selfclean_board, "second");
  EXPECT_EQ(config.aux_board, "third");
  EXPECT_EQ(config.tools_clean_rpm_per_duty, 3);
  EXPECT_THAT(config.tools_clean_motor_slots, ElementsAre(4));
  EXPECT_THAT(config.aux_ids_a, ElementsAre(5));
  EXPECT_THAT(config.aux_ids_b, ElementsAre(6, 6));
  EXPECT_EQ(config.clean_pump_channel, 7);
  EXPECT_EQ(config.dirty_pump_channel, 8);
  EXPECT_EQ(config.end_tool_pump_channel, 9);
  EXPECT_THAT(config.clean_pump_valves, ElementsAre(11, 10));
  EXPECT_THAT(config.dirty_pump_valves, ElementsAre(12));
  EXPECT_EQ(config.valve_switch_delay_ms, 13);
  EXPECT_FALSE(config.wheel_lock_value);
  EXPECT_TRUE(config.wheel_unlock_value);
  EXPECT_EQ(config.wheel_power_sub, 14);
  EXPECT_EQ(config.wheel_power_bit, 15);
  EXPECT_EQ(config.bump_unlock_sub, 16);
  EXPECT_EQ(config.bump_unlock_bit, 17);
  EXPECT_EQ(config.front_projection_sub, 18);
  EXPECT_EQ(config.front_projection_bit, 19);
  EXPECT_EQ(config.rear_projection_sub, 20);
  EXPECT_EQ(config.rear_projection_bit, 21);
  EXPECT_TRUE(config.claw_enabled);
  EXPECT_THAT(config.claw_motor_ids, ElementsAre(23, -23));
  EXPECT_EQ(config.claw_poll_interval_ms, 24);
  EXPECT_EQ(config.claw_timeout_ms, 25);
  EXPECT_EQ(config.claw_retry_count, 26);
  EXPECT_EQ(config.claw_retry_backoff_ms, 27);
  EXPECT_TRUE(config.claw_emergency_recovery);
  EXPECT_EQ(config.claw_recovery_budget_ms, 29);
  EXPECT_EQ(config.aux_value, 30);
}

TEST(RobotFile, WantsEveryFieldThatAnOperationReads) {
  InputErrors errors;
  const auto document = read_yaml_text("{}", "f", errors);
  ASSERT_TRUE(document);
  EXPECT_FALSE(read_robot(*document, errors));
  EXPECT_EQ(errors.count(), 28U) << errors.lines();
  EXPECT_THAT(errors.lines(), testing::Not(testing::HasSubstr("aux_")));
}

TEST(RobotFile, SimulatesByDefaultsWhatIsLeftOut) {
  const SimulationSettings simulation = read(kEveryField).simulation;
  EXPECT_EQ(simulation.claw_travel, 1800ms);
  EXPECT_EQ(simulation.latency("set_duty"), 0ms);
  EXPECT_EQ(simulation.seed, 1);
}

TEST(RobotFile, ReadsTheSimulation) {
  const SimulationSettings simulation = read(std::string(kEveryField) + R"(
simulation:
  claw_travel_ms: 0
  latency_ms: {default: 4, set_duty: 0, claw_home: 3600000}
  seed: 9223372036854775807
)")
                                            .simulation;
  EXPECT_EQ(simulation.claw_travel, 0ms);
  EXPECT_EQ(simulation.latency("set_valves"), 4ms);
  EXPECT_EQ(simulation.latency("set_duty"), 0ms);
  EXPECT_EQ(simulation.latency("claw_home"), 1h);
  EXPECT_EQ(simulation.seed, 9223372036854775807);
}

TEST(RobotFile, KnowsWhereAFieldStands) {
  const RobotFile robot = read(kEveryField);
  EXPECT_EQ(to_string(robot.place_of("claw_motor_ids")), "f:9:17");
  EXPECT_EQ(to_string(robot.place_of("claw_motor_ids", 1)), "f:9:22");
  EXPECT_EQ(to_string(robot.place_of("claw_motor_ids", 2)), "f:9:17") << "no such entry";
  EXPECT_EQ(to_string(robot.place_of("simulation")), "f:2:1") << "left out";
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
