#include "workbench/device_values.hpp"

#include <fmt/format.h>

#include <string_view>

namespace vantrel_can_bridge::workbench {
namespace {

DeviceValue simple(const std::string& board, const std::string& name, std::string_view quantity,
                   std::int64_t value, std::string text) {
  return {board, name, name, std::string(quantity), value, std::move(text)};
}

DeviceValue led_value(const std::string& board, const std::string& name, const LedState& led) {
  return simple(board, name, "level", led.level,
                fmt::format("level {}, colour 0x{:02x}{:02x}{:02x}, mode {}", led.level, led.red,
                            led.green, led.blue, led.mode));
}

DeviceValue percent_value(const std::string& board, const std::string& name,
                          std::string_view quantity, std::uint8_t percent) {
  return simple(board, name, quantity, percent, fmt::format("{} %", percent));
}

std::string_view action_text(ClawAction action) {
  switch (action) {
    case ClawAction::Idle:
      return "idle";
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
      return "stopped";
  }
  return "";
}

std::int64_t permille_from_home(const ClawStatus& claw, const RobotDescription& robot) {
  if (robot.claw_travel_time.count() <= 0) {
    return claw.position == ClawPosition::Extended ? 1000 : 0;
  }
  // In double: the product may leave 64 bits. Both are below 2^63, so the quotient is 0 to 1.
  return static_cast<std::int64_t>(1000.0 * static_cast<double>(claw.from_home.count()) /
                                   static_cast<double>(robot.claw_travel_time.count()));
}

void add_claw(std::vector<DeviceValue>& values, const ClawStatus& claw,
              const RobotDescription& robot) {
  const std::string device = fmt::format("motor{}", claw.motor);
  const std::int64_t permille = permille_from_home(claw, robot);
  values.push_back({robot.selfclean_board, device + " claw", device, "action",
                    static_cast<std::int64_t>(claw.action), std::string(action_text(claw.action))});
  values.push_back({robot.selfclean_board, device + " position", device, "position", permille,
                    fmt::format("{}.{} %", permille / 10, permille % 10)});
}

}  // namespace

std::vector<DeviceValue> device_values(const BoardsSnapshot& snapshot,
                                       const RobotDescription& robot) {
  const std::string& body = robot.bottom_board;
  const std::string& selfclean = robot.selfclean_board;
  std::vector<DeviceValue> values = {
      led_value(body, "left_light", snapshot.left_light),
      led_value(body, "right_light", snapshot.right_light),
      percent_value(body, "fill_light", "percent", snapshot.fill_light_percent),
  };
  for (const PowerBitState& bit : snapshot.power_bits) {
    values.push_back(simple(body, fmt::format("power_control {}.{}", bit.sub, bit.bit), "output",
                            bit.value ? 1 : 0, bit.value ? "on" : "off"));
  }
  for (std::size_t pump = 0; pump < snapshot.pump_duty_percent.size(); ++pump) {
    values.push_back(percent_value(selfclean, fmt::format("pump {}", pump + 1), "duty",
                                   snapshot.pump_duty_percent[pump]));
  }
  for (unsigned valve = 0; valve < 8; ++valve) {
    const bool open = (snapshot.open_valves >> valve & 1U) != 0;
    values.push_back(simple(selfclean, fmt::format("valve {}", valve), "open", open ? 1 : 0,
                            open ? "open" : "shut"));
  }
  for (const CleaningMotorState& motor : snapshot.cleaning_motors) {
    values.push_back(simple(selfclean, fmt::format("motor{}", motor.motor), "rpm", motor.rpm(),
                            fmt::format("{} rpm", motor.rpm())));
  }
  for (const ClawStatus& claw : snapshot.claws) {
    add_claw(values, claw, robot);
  }
  values.push_back(simple(selfclean, "emergency", "active", snapshot.emergency ? 1 : 0,
                          snapshot.emergency ? "active" : "clear"));
  return values;
}

}  // namespace vantrel_can_bridge::workbench
