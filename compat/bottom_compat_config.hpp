#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantrel_can_bridge::business_layer::bottom_compat {

/// What the orchestrator has to know about the robot. The service fills every field;
/// zero, false and empty are no recommendations, they only keep a field that was
/// forgotten from holding garbage.
///
/// Nothing is checked at construction: a value that a robot cannot have is refused by
/// the operation that needs it, or has the effect that its comment gives.
struct BottomCompatConfig {
  // Boards, by the names that the gateway knows.
  std::string bottom_board;     ///< body board: LEDs, fill light, power bits
  std::string selfclean_board;  ///< self-cleaning board: pumps, valves, motors, claws
  std::string aux_board;        ///< carried for the service; read by no operation

  // Cleaning motors.
  std::int64_t tools_clean_rpm_per_duty = 0;          ///< rpm for each unit of duty
  std::vector<std::int64_t> tools_clean_motor_slots;  ///< motors of selects 1, 2, 4; more only stop
  std::vector<std::int64_t> aux_ids_a;                ///< carried; read by no operation
  std::vector<std::int64_t> aux_ids_b;                ///< carried; read by no operation

  // Pumps: channels 1 to 5; others are refused when the pump is driven.
  std::int64_t clean_pump_channel = 0;     ///< driven by cmd 0, behind `clean_pump_valves`
  std::int64_t dirty_pump_channel = 0;     ///< driven by cmd 0, behind `dirty_pump_valves`
  std::int64_t end_tool_pump_channel = 0;  ///< driven by cmd 13

  // Valve groups: valve bit numbers 0 to 7, in the order that selects address them;
  // other entries keep their place in that order but open nothing.
  std::vector<std::int64_t> clean_pump_valves;  ///< one-hot selects reach the first four
  std::vector<std::int64_t> dirty_pump_valves;  ///< bit masks reach the first 32
  std::int64_t valve_switch_delay_ms = 0;       ///< between valve and pump; 0 or less: none

  // Power bits of the body board: sub-address and bit number, sent as they are.
  bool wheel_lock_value = false;          ///< written to lock the wheels
  bool wheel_unlock_value = false;        ///< written to unlock the wheels
  std::uint8_t wheel_power_sub = 0;       ///< sub-address of the wheel lock
  std::uint8_t wheel_power_bit = 0;       ///< bit number of the wheel lock
  std::uint8_t bump_unlock_sub = 0;       ///< sub-address of the bump unlock
  std::uint8_t bump_unlock_bit = 0;       ///< bit number of the bump unlock
  std::uint8_t front_projection_sub = 0;  ///< sub-address of the front projection light
  std::uint8_t front_projection_bit = 0;  ///< bit number of the front projection light
  std::uint8_t rear_projection_sub = 0;   ///< sub-address of the rear projection light
  std::uint8_t rear_projection_bit = 0;   ///< bit number of the rear projection light

  // Tool claws.
  bool claw_enabled = false;                 ///< false refuses claw moves, but for recoveries
  std::vector<std::int64_t> claw_motor_ids;  ///< motor number of each claw; selects reach four
  std::int64_t claw_poll_interval_ms = 0;    ///< before each status query; at least 10 is used
  std::int64_t claw_timeout_ms = 0;          ///< from the write on; at least one poll is made
  std::int64_t claw_retry_count = 0;         ///< attempts after the first; negative counts as 0
  std::int64_t claw_retry_backoff_ms = 0;    ///< between attempts; 0 or less: none
  bool claw_emergency_recovery = false;      ///< lower the claws when a stop clears
  std::int64_t claw_recovery_budget_ms = 0;  ///< one whole recovery; at least 1 is used

  std::int64_t aux_value = 0;  ///< carried; read by no operation
};

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
