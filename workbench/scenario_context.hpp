#pragma once

#include <set>
#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "workbench/input_errors.hpp"
#include "workbench/robot_description.hpp"
#include "workbench/simulated_boards.hpp"

namespace vantrel_can_bridge::workbench {

/// What the parts of a scenario's reader have to know of the robot and of each other.
struct ScenarioContext {
  InputErrors& errors;
  const business_layer::bottom_compat::BottomCompatConfig& config;
  const SimulatedBoards& boards;         ///< of that robot, at power-on
  std::vector<std::string> value_names;  ///< of its boards, see `DeviceValue`

  // What the steps so far have started, by name.
  std::set<std::string> background_requests;
  std::set<std::string> background_recoveries;
  std::set<std::string> fault_rules;
};

}  // namespace vantrel_can_bridge::workbench
