#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "compat/bottom_compat_config.hpp"
#include "workbench/yaml_document.hpp"

/// Robot files: a robot's configuration, and what simulated boards need to stand in for it.
///
/// Every field of `BottomCompatConfig` stands under its own name and must be there, but
/// for `aux_board`, `aux_ids_a`, `aux_ids_b` and `aux_value`, which no operation reads.
/// The section `simulation` may be left out, and so may anything in it.
/// `robots/reference.yaml` explains each field.
namespace vantrel_can_bridge::workbench {

/// The section `simulation`.
struct SimulationSettings {
  using Milliseconds = std::chrono::milliseconds;

  Milliseconds claw_travel{1800};  ///< `claw_travel_ms`: of a claw from end to end
  /// `latency_ms`: how long the boards take over an operation, by its name ("set_duty").
  std::map<std::string, Milliseconds> latencies;
  Milliseconds default_latency{0};  ///< `latency_ms: default`: of all others
  std::int64_t seed = 1;            ///< of everything drawn by lot; not negative

  [[nodiscard]] Milliseconds latency(const std::string& op) const;
};

struct RobotFile {
  business_layer::bottom_compat::BottomCompatConfig config;
  SimulationSettings simulation;
  YamlNode document;  ///< what they were read from: has the places

  /// Where the value of a field stands, or an entry of it; the robot where it is left out.
  [[nodiscard]] Place place_of(std::string_view field) const;
  [[nodiscard]] Place place_of(std::string_view field, std::size_t entry) const;
};

/// The robot in the file at `path`; nothing where there are errors, all of them added.
[[nodiscard]] std::optional<RobotFile> read_robot_file(const std::string& path,
                                                       InputErrors& errors);

/// The same for a document that was read already, as a file of its own or inside another.
[[nodiscard]] std::optional<RobotFile> read_robot(const YamlNode& document, InputErrors& errors);

}  // namespace vantrel_can_bridge::workbench
