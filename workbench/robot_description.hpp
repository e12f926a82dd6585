#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"

namespace vantrel_can_bridge::workbench {

/// What the simulated boards have to know about the robot. Pumps 1 to 5, valves 0 to 7,
/// lights and the power controller are the same on every robot.
struct RobotDescription {
  std::string bottom_board;     ///< name of the body board
  std::string selfclean_board;  ///< name of the self-cleaning board; may be the same

  /// Motor numbers: each is a device "motor" + number. Repeated numbers count once; a
  /// number in both lists is one device with the operations of both.
  std::vector<std::int64_t> cleaning_motors;
  std::vector<std::int64_t> claw_motors;

  /// Of a claw from one end to the other; zero or less moves at once.
  std::chrono::nanoseconds claw_travel_time{0};

  /// From asking a device to its answer, by operation ("set_duty") and of all others; zero
  /// or less answers at once.
  std::map<std::string, std::chrono::nanoseconds> latencies{};
  std::chrono::nanoseconds default_latency{0};

  [[nodiscard]] std::chrono::nanoseconds latency(const std::string& op) const;
};

/// The robot that `config` is written for.
[[nodiscard]] RobotDescription describe_robot(
    const business_layer::bottom_compat::BottomCompatConfig& config,
    std::chrono::nanoseconds claw_travel_time);

}  // namespace vantrel_can_bridge::workbench
