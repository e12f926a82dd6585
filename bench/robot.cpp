#include "bench/robot.hpp"

#include <numeric>
#include <utility>

#include "tests/support/heap_use.hpp"

namespace vantrel_can_bridge::bench {
namespace {

thread_local std::uint64_t operations_sent = 0;

Request of_code(std::int32_t cmd) {
  Request request;
  request.cmd = cmd;
  return request;
}

Request motors(std::int32_t select, std::int32_t cmd, std::int32_t duty) {
  Request request = of_code(0);
  request.tools_select = select;
  request.tools_cmd = cmd;
  request.tools_duty = duty;
  return request;
}

Request clean_pump(std::int32_t select, std::int32_t duty) {
  Request request = of_code(0);
  request.clean_select = select;
  request.clean_cmd = 1;
  request.clean_duty = duty;
  return request;
}

Request dirty_pump(std::int32_t select, std::int32_t duty) {
  Request request = of_code(0);
  request.dirty_select = select;
  request.dirty_cmd = 1;
  request.dirty_duty = duty;
  return request;
}

Request claw(std::int32_t select, std::int32_t cmd) {
  Request request = of_code(0);
  request.tools_claw_select = select;
  request.tools_claw_cmd = cmd;
  request.tools_claw_duty = 50;
  return request;
}

Request leds(std::uint32_t both, std::uint32_t left, std::uint32_t right) {
  Request request = of_code(2);
  request.bottom_rgb = both;
  request.left_rgb = left;
  request.right_rgb = right;
  request.bottom_level = request.left_level = request.right_level = 200;
  request.bottom_mode = request.left_mode = request.right_mode = 1;
  return request;
}

Request fill_light() {
  Request request = of_code(9);
  request.rgb = 75;
  return request;
}

Request projection() {
  Request request = of_code(14);
  request.front_rgb = 0xFFFFFF;
  return request;
}

Request wheel() {
  Request request = of_code(8);
  request.wheel_cmd = 1;
  return request;
}

/// All three parts that need no waiting: a motor, the clean and the dirty pump.
Request procter_pumps_and_motor() {
  Request request = motors(2, 1, 60);
  request.clean_select = 1;
  request.clean_cmd = 1;
  request.clean_duty = 80;
  request.dirty_select = 0b11;
  request.dirty_cmd = 1;
  request.dirty_duty = 70;
  return request;
}

std::vector<std::int64_t> numbers_from(std::int64_t first, std::size_t count) {
  std::vector<std::int64_t> numbers(count);
  std::iota(numbers.begin(), numbers.end(), first);
  return numbers;
}

}  // namespace

OperateResult InstantGateway::operate(const std::string& /*board*/, const std::string& /*device*/,
                                      const std::string& op,
                                      const std::vector<std::uint8_t>& /*payload*/) {
  ++operations_sent;
  if (op.front() != 'c') {  // all but the claws' operations
    return {true, {}, {}};
  }
  if (op == "claw_query_state") {
    const test::UncountedHeap answer_of_the_board;
    return {
        true, extended_ ? std::vector<std::uint8_t>{3, 2} : std::vector<std::uint8_t>{4, 1}, {}};
  }
  extended_ = op == "claw_extend";
  return {true, {}, {}};
}

std::uint64_t InstantGateway::operations() noexcept { return operations_sent; }

BottomCompatConfig config_of(const Fittings& fittings) {
  BottomCompatConfig config;
  config.bottom_board = "bottom_board";
  config.selfclean_board = "selfclean_board";
  config.tools_clean_rpm_per_duty = 30;
  config.tools_clean_motor_slots = numbers_from(1, fittings.motors);
  config.clean_pump_channel = 1;
  config.dirty_pump_channel = 2;
  config.end_tool_pump_channel = 3;
  config.clean_pump_valves = numbers_from(0, fittings.valves);
  config.dirty_pump_valves = numbers_from(0, fittings.valves);
  config.wheel_lock_value = true;
  config.wheel_power_sub = 1;
  config.wheel_power_bit = 5;
  config.bump_unlock_sub = 1;
  config.bump_unlock_bit = 7;
  config.front_projection_sub = 2;
  config.front_projection_bit = 1;
  config.rear_projection_sub = 2;
  config.rear_projection_bit = 2;
  config.claw_enabled = true;
  config.claw_motor_ids = numbers_from(11, fittings.claws);
  config.claw_poll_interval_ms = 10;
  config.claw_timeout_ms = 60'000;
  config.claw_emergency_recovery = true;
  config.claw_recovery_budget_ms = 3'600'000;
  return config;
}

// In a source of its own, and not inline: a caller cannot see that the line is not read.
void discard(const std::string& /*line*/) {}

std::unique_ptr<BottomCompatOrchestrator> make_orchestrator(const Fittings& fittings,
                                                            bool callbacks) {
  const LogCallback callback = callbacks ? LogCallback(discard) : LogCallback();
  return std::make_unique<BottomCompatOrchestrator>(
      std::make_shared<InstantGateway>(), config_of(fittings), callback, callback, callback);
}

Request led_request() { return leds(0, 0xFF8000, 0); }

Request pump_request() {
  Request request = of_code(13);
  request.pump_cmd = 1;
  request.pump_duty = 80;
  return request;
}

const std::vector<Command>& commands() {
  static const std::vector<Command> kCommands{
      {"led_one_side", {led_request()}},
      {"led_all_groups", {leds(0xFF8000, 0x00FF00, 0x0000FF)}},
      {"fill_light", {fill_light()}},
      {"projection_light", {projection()}},
      {"wheel_control", {wheel()}},
      {"bump_unlock", {of_code(7)}},
      {"end_tool_pump", {pump_request()}},
      {"retired_code", {of_code(3)}},
      {"unknown_code", {of_code(99)}},
      {"procter_empty", {of_code(0)}},
      {"procter_motor_start", {motors(2, 1, 60)}},
      {"procter_motor_stop", {motors(2, 0, 0)}},
      {"procter_motor_stop_all", {motors(3, 0, 0)}},
      {"procter_clean_pump_on", {clean_pump(1, 80)}},
      {"procter_clean_pump_off", {clean_pump(1, 0)}},
      {"procter_dirty_pump_on", {dirty_pump(0b11, 70)}},
      {"procter_dirty_pump_off", {dirty_pump(0b11, 0)}},
      {"procter_motor_and_pumps", {procter_pumps_and_motor()}},
      {"procter_claw_move", {claw(1, 1), claw(1, 3)}},
      {"procter_claw_refused", {claw(3, 1)}},
  };
  return kCommands;
}

}  // namespace vantrel_can_bridge::bench
