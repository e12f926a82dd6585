#include "workbench/robot_description.hpp"

namespace vantrel_can_bridge::workbench {

RobotDescription describe_robot(const business_layer::bottom_compat::BottomCompatConfig& config,
                                std::chrono::nanoseconds claw_travel_time) {
  return {config.bottom_board, config.selfclean_board, config.tools_clean_motor_slots,
          config.claw_motor_ids, claw_travel_time};
}

}  // namespace vantrel_can_bridge::workbench
