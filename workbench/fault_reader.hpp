#pragma once

#include <optional>

#include "workbench/fault_rules.hpp"
#include "workbench/scenario_context.hpp"
#include "workbench/yaml_document.hpp"

namespace vantrel_can_bridge::workbench {

/// The value of a "fault" step. Reports what is wrong with it, a rule that can never hit
/// an operation of the robot included, and then returns nothing.
[[nodiscard]] std::optional<FaultRule> read_fault(const YamlNode& node, ScenarioContext& context);

}  // namespace vantrel_can_bridge::workbench
