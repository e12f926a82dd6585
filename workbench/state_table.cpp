#include "workbench/state_table.hpp"

#include <fmt/format.h>

#include <chrono>
#include <cstddef>
#include <string_view>

#include "workbench/terminal.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatConfig;

DeviceRow led_row(const std::string& device, const LedState& led) {
  return {device,
          fmt::format("level {}, colour 0x{:02x}{:02x}{:02x}, mode {}", led.level, led.red,
                      led.green, led.blue, led.mode),
          led.level == 0};
}

/// What a power bit switches on this robot, and the value that it rests at.
struct Purpose {
  std::string_view name;
  std::string_view on;
  std::string_view off;
  bool rest = false;
};

Purpose purpose_of(const PowerBitState& bit, const BottomCompatConfig& config) {
  const auto is = [&](std::uint8_t sub, std::uint8_t number) {
    return bit.sub == sub && bit.bit == number;
  };
  if (is(config.wheel_power_sub, config.wheel_power_bit)) {
    return config.wheel_lock_value ? Purpose{"wheels", "locked", "unlocked", false}
                                   : Purpose{"wheels", "unlocked", "locked", true};
  }
  if (is(config.bump_unlock_sub, config.bump_unlock_bit)) {
    return {"bump sensor", "unlocked", "locked"};
  }
  if (is(config.front_projection_sub, config.front_projection_bit)) {
    return {"front projection light", "on", "off"};
  }
  if (is(config.rear_projection_sub, config.rear_projection_bit)) {
    return {"rear projection light", "on", "off"};
  }
  return {"output", "on", "off"};
}

DeviceRow power_row(const std::string& device, const PowerBitState& bit,
                    const BottomCompatConfig& config) {
  const Purpose purpose = purpose_of(bit, config);
  return {device,
          fmt::format("{} {} (sub-address {}, bit {} = {})", purpose.name,
                      bit.value ? purpose.on : purpose.off, bit.sub, bit.bit, bit.value ? 1 : 0),
          bit.value == purpose.rest};
}

DeviceRow pump_row(const std::string& device, const BoardsSnapshot& snapshot) {
  std::string state = "channels 1 to 5 at";
  bool at_rest = true;
  for (const std::uint8_t duty : snapshot.pump_duty_percent) {
    state += fmt::format(" {}", duty);
    at_rest = at_rest && duty == 0;
  }
  return {device, state + " %", at_rest};
}

DeviceRow valve_row(const std::string& device, const BoardsSnapshot& snapshot) {
  std::string open;
  for (unsigned valve = 0; valve < 8; ++valve) {
    if ((snapshot.open_valves >> valve & 1U) != 0) {
      open += fmt::format(" {}", valve);
    }
  }
  return {device, open.empty() ? "all shut" : "open:" + open, open.empty()};
}

DeviceRow motor_row(const std::string& board, const CleaningMotorState& motor) {
  return {
      fmt::format("{}/motor{}", board, motor.motor),
      fmt::format("{}, target {} rpm", motor.enabled ? "enabled" : "disabled", motor.target_rpm),
      !motor.enabled};
}

std::string_view action_text(ClawAction action) {
  switch (action) {
    case ClawAction::Idle:
      return "not moved yet";
    case ClawAction::Extending:
      return "extending";
    case ClawAction::Homing:
      return "homing";
    case ClawAction::Extended:
      return "extended";
    case ClawAction::Homed:
      return "homed";
    case ClawAction::ExtendFailed:
      return "extend failed";
    case ClawAction::HomeFailed:
      return "home failed";
    case ClawAction::Stopped:
      return "stopped by emergency";
  }
  return "";
}

std::string_view position_text(ClawPosition position) {
  switch (position) {
    case ClawPosition::Between:
      return "in between";
    case ClawPosition::Home:
      return "at home";
    case ClawPosition::Extended:
      return "at its far end";
  }
  return "";
}

DeviceRow claw_row(const std::string& board, const ClawStatus& claw) {
  return {fmt::format("{}/motor{}", board, claw.motor),
          fmt::format("claw {}, {}", action_text(claw.action), position_text(claw.position)),
          claw.action == ClawAction::Homed && claw.position == ClawPosition::Home};
}

}  // namespace

std::vector<DeviceRow> device_rows(const BoardsSnapshot& snapshot,
                                   const BottomCompatConfig& config) {
  const std::string& body = config.bottom_board;
  const std::string& selfclean = config.selfclean_board;
  std::vector<DeviceRow> rows = {
      led_row(body + "/left_light", snapshot.left_light),
      led_row(body + "/right_light", snapshot.right_light),
      {body + "/fill_light", fmt::format("{} %", snapshot.fill_light_percent),
       snapshot.fill_light_percent == 0},
  };
  for (const PowerBitState& bit : snapshot.power_bits) {
    rows.push_back(power_row(body + "/power_control", bit, config));
  }
  rows.push_back(pump_row(selfclean + "/pump", snapshot));
  rows.push_back(valve_row(selfclean + "/valve", snapshot));
  for (const CleaningMotorState& motor : snapshot.cleaning_motors) {
    rows.push_back(motor_row(selfclean, motor));
  }
  for (const ClawStatus& claw : snapshot.claws) {
    rows.push_back(claw_row(selfclean, claw));
  }
  return rows;
}

std::string state_table(const std::vector<DeviceRow>& rows, bool coloured) {
  std::string table;
  for (const DeviceRow& row : rows) {
    table += fmt::format(
        "  {} {:<29} {}\n",
        row.at_rest ? styled(Style::Good, "✔", coloured) : styled(Style::Alarm, "✘", coloured),
        row.device, row.state);
  }
  return table;
}

}  // namespace vantrel_can_bridge::workbench
