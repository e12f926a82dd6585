#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "workbench/input_errors.hpp"
#include "workbench/scenario.hpp"

namespace vantrel_can_bridge::workbench {

/// The scenario in the file at `path`, with its robot; nothing where anything is wrong,
/// with every error reported. A robot file is found from the scenario's folder.
[[nodiscard]] std::optional<Scenario> read_scenario_file(const std::string& path,
                                                         InputErrors& errors);

/// The same for `text`, with `name` as the name of its file.
[[nodiscard]] std::optional<Scenario> read_scenario_text(std::string_view text,
                                                         const std::string& name,
                                                         InputErrors& errors);

/// A scenario without steps on the robot of the file at `robot_path`; nothing where that is
/// wrong.
[[nodiscard]] std::optional<Scenario> empty_scenario(const std::string& robot_path,
                                                     InputErrors& errors);

}  // namespace vantrel_can_bridge::workbench
