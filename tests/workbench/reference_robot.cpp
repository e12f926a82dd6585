#include "tests/workbench/reference_robot.hpp"

namespace vantrel_can_bridge::workbench {

business_layer::bottom_compat::BottomCompatConfig reference_robot(
    std::chrono::milliseconds claw_travel_time) {
  business_layer::bottom_compat::BottomCompatConfig config;
  config.bottom_board = "bottom_board";
  config.selfclean_board = "selfclean_board";

  config.tools_clean_rpm_per_duty = 30;
  config.tools_clean_motor_slots = {5, 6, 7};

  config.clean_pump_channel = 1;
  config.dirty_pump_channel = 2;
  config.end_tool_pump_channel = 3;
  config.clean_pump_valves = {0, 1, 2};
  config.dirty_pump_valves = {4, 5};
  config.valve_switch_delay_ms = 200;

  config.wheel_lock_value = true;
  config.wheel_unlock_value = false;
  config.wheel_power_sub = 1;
  config.wheel_power_bit = 5;
  config.bump_unlock_sub = 1;
  config.bump_unlock_bit = 7;
  config.front_projection_sub = 2;
  config.front_projection_bit = 0;
  config.rear_projection_sub = 2;
  config.rear_projection_bit = 1;

  config.claw_enabled = true;
  config.claw_motor_ids = {1, 2};
  config.claw_poll_interval_ms = claw_travel_time.count() / 18;
  config.claw_timeout_ms = 10'000;
  config.claw_retry_count = 1;
  config.claw_retry_backoff_ms = 100;
  config.claw_emergency_recovery = true;
  config.claw_recovery_budget_ms = 60'000;
  return config;
}

}  // namespace vantrel_can_bridge::workbench
