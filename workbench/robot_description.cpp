#include "workbench/robot_description.hpp"

#include <algorithm>

namespace vantrel_can_bridge::workbench {

RobotDescription describe_robot(const business_layer::bottom_compat::BottomCompatConfig& config,
                                std::chrono::nanoseconds claw_travel_time) {
  RobotDescription robot;
  robot.bottom_board = config.bottom_board;
  robot.selfclean_board = config.selfclean_board;
  robot.cleaning_motors = config.tools_clean_motor_slots;
  robot.claw_motors = config.claw_motor_ids;
  robot.claw_travel_time = claw_travel_time;
  return robot;
}

std::chrono::nanoseconds RobotDescription::latency(const std::string& op) const {
  const auto own = latencies.find(op);
  return std::max(own == latencies.end() ? default_latency : own->second,
                  std::chrono::nanoseconds{0});
}

}  // namespace vantrel_can_bridge::workbench
