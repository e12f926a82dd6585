#pragma once

#include <optional>
#include <vector>

#include "workbench/scenario.hpp"
#include "workbench/scenario_context.hpp"
#include "workbench/yaml_document.hpp"

namespace vantrel_can_bridge::workbench {

/// The value of "expect". `has_reply` says whether its step ends with a reply. Reports what
/// is wrong.
[[nodiscard]] Expectations read_expectations(const YamlNode& node, bool has_reply,
                                             ScenarioContext& context);

/// A mapping of values of the boards: "pump 3: 80 %", "motor1 position: '>= 45 %'".
[[nodiscard]] std::vector<At<ValueCondition>> read_conditions(const YamlNode& node,
                                                              ScenarioContext& context);

}  // namespace vantrel_can_bridge::workbench
