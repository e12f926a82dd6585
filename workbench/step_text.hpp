#pragma once

#include <string>

#include "workbench/scenario.hpp"

namespace vantrel_can_bridge::workbench {

/// A step for people, in a line: "request cmd=13 pump_duty=80", "wait 500 ms".
[[nodiscard]] std::string step_text(const StepAction& action);

/// A condition: "pump 3 80 %", "motor1 position >= 45".
[[nodiscard]] std::string condition_text(const ValueCondition& condition);

/// An operation as expectations show it: "selfclean_board pump set_duty [03 50 00]".
[[nodiscard]] std::string operation_text(const Operation& operation);

/// The field's word for a recorded claw state: "raised", "lower_incomplete".
[[nodiscard]] std::string claw_state_text(business_layer::bottom_compat::ClawState state);

}  // namespace vantrel_can_bridge::workbench
