#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "workbench/boards_snapshot.hpp"
#include "workbench/robot_description.hpp"

namespace vantrel_can_bridge::workbench {

/// One thing that can be seen on the boards, as scenarios and traces speak of it:
///
/// | name                        | value                 | text                                |
/// |-----------------------------|-----------------------|-------------------------------------|
/// | "left_light", "right_light" | level 0 to 255        | "level 80, colour 0xff8000, mode 1" |
/// | "fill_light"                | percent               | "50 %"                              |
/// | "power_control 1.5"         | 0 or 1                | "on", "off"; sub-address and bit    |
/// | "pump 3"                    | percent               | "80 %"                              |
/// | "valve 1"                   | 0 or 1                | "open", "shut"                      |
/// | "motor5"                    | rpm                   | "600 rpm"; 0 while disabled         |
/// | "motor1 claw"               | the first status byte | "extending", "homed", ...           |
/// | "motor1 position"           | permille from home    | "45.0 %"; 100 is extended           |
/// | "emergency"                 | 0 or 1                | "active", "clear"                   |
struct DeviceValue {
  std::string board;
  std::string name;
  std::string device;    ///< "pump 3", "motor1": the name without the quantity
  std::string quantity;  ///< "level", "percent", "output", "duty", "open", "rpm", ...
  std::int64_t value = 0;
  std::string text;
};

/// In the boards' order; every power bit that was ever written.
[[nodiscard]] std::vector<DeviceValue> device_values(const BoardsSnapshot& snapshot,
                                                     const RobotDescription& robot);

}  // namespace vantrel_can_bridge::workbench
