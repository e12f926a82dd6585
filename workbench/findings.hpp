#pragma once

#include <string>
#include <vector>

#include "workbench/robot_file.hpp"

namespace vantrel_can_bridge::workbench {

/// A value that the component accepts and the robot will not like.
struct Finding {
  Place place;
  std::string text;  ///< the value, what is usual, and what the robot does with it
};

/// All there are in `robot`, in the order of their places.
[[nodiscard]] std::vector<Finding> find_findings(const RobotFile& robot);

}  // namespace vantrel_can_bridge::workbench
