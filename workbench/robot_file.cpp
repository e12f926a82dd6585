#include "workbench/robot_file.hpp"

#include <algorithm>
#include <array>

#include "workbench/yaml_values.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatConfig;

// Longer than anybody waits for a robot, and far from the end of every clock.
constexpr IntegerRange kSimulatedTimeMs{0, 3'600'000};

constexpr std::array kOperations{"set_led",    "set_brightness", "set_bit",   "set_duty",
                                 "set_valves", "set_mode",       "enable",    "set_target",
                                 "disable",    "claw_extend",    "claw_home", "claw_query_state"};

void read_boards_and_tools(MappingReader& robot, BottomCompatConfig& config) {
  robot.required("bottom_board", config.bottom_board);
  robot.required("selfclean_board", config.selfclean_board);
  robot.optional("aux_board", config.aux_board);
  robot.required("tools_clean_rpm_per_duty", config.tools_clean_rpm_per_duty);
  robot.required("tools_clean_motor_slots", config.tools_clean_motor_slots);
  robot.optional("aux_ids_a", config.aux_ids_a);
  robot.optional("aux_ids_b", config.aux_ids_b);
  robot.required("clean_pump_channel", config.clean_pump_channel);
  robot.required("dirty_pump_channel", config.dirty_pump_channel);
  robot.required("end_tool_pump_channel", config.end_tool_pump_channel);
  robot.required("clean_pump_valves", config.clean_pump_valves);
  robot.required("dirty_pump_valves", config.dirty_pump_valves);
  robot.required("valve_switch_delay_ms", config.valve_switch_delay_ms);
}

void read_power_bits(MappingReader& robot, BottomCompatConfig& config) {
  robot.required("wheel_lock_value", config.wheel_lock_value);
  robot.required("wheel_unlock_value", config.wheel_unlock_value);
  robot.required("wheel_power_sub", config.wheel_power_sub);
  robot.required("wheel_power_bit", config.wheel_power_bit);
  robot.required("bump_unlock_sub", config.bump_unlock_sub);
  robot.required("bump_unlock_bit", config.bump_unlock_bit);
  robot.required("front_projection_sub", config.front_projection_sub);
  robot.required("front_projection_bit", config.front_projection_bit);
  robot.required("rear_projection_sub", config.rear_projection_sub);
  robot.required("rear_projection_bit", config.rear_projection_bit);
}

void read_claws(MappingReader& robot, BottomCompatConfig& config) {
  robot.required("claw_enabled", config.claw_enabled);
  robot.required("claw_motor_ids", config.claw_motor_ids);
  robot.required("claw_poll_interval_ms", config.claw_poll_interval_ms);
  robot.required("claw_timeout_ms", config.claw_timeout_ms);
  robot.required("claw_retry_count", config.claw_retry_count);
  robot.required("claw_retry_backoff_ms", config.claw_retry_backoff_ms);
  robot.required("claw_emergency_recovery", config.claw_emergency_recovery);
  robot.required("claw_recovery_budget_ms", config.claw_recovery_budget_ms);
  robot.optional("aux_value", config.aux_value);
}

/// A length of time in milliseconds; keeps `value` where the key is missing.
void read_time(MappingReader& mapping, const std::string& name, std::chrono::milliseconds& value,
               InputErrors& errors) {
  if (const YamlNode* const node = mapping.find(name); node != nullptr) {
    if (const auto read = read_integer(*node, kSimulatedTimeMs, errors)) {
      value = std::chrono::milliseconds(*read);
    }
  }
}

void read_latencies(const YamlNode& node, SimulationSettings& settings, InputErrors& errors) {
  MappingReader latencies(node, "latency_ms", errors);
  read_time(latencies, "default", settings.default_latency, errors);
  for (const char* const op : kOperations) {
    std::chrono::milliseconds latency{-1};
    read_time(latencies, op, latency, errors);
    if (latency.count() >= 0) {
      settings.latencies.emplace(op, latency);
    }
  }
  latencies.finish();
}

void read_simulation(const YamlNode& node, SimulationSettings& settings, InputErrors& errors) {
  MappingReader simulation(node, "simulation", errors);
  read_time(simulation, "claw_travel_ms", settings.claw_travel, errors);
  if (const YamlNode* const latencies = simulation.find("latency_ms"); latencies != nullptr) {
    read_latencies(*latencies, settings, errors);
  }
  if (const YamlNode* const seed = simulation.find("seed"); seed != nullptr) {
    settings.seed = read_integer(*seed, {0}, errors).value_or(settings.seed);
  }
  simulation.finish();
}

const YamlNode* find_field(const YamlNode& document, std::string_view field) {
  const auto key = std::find_if(document.keys.begin(), document.keys.end(),
                                [&](const YamlNode::Key& each) { return each.name == field; });
  return key == document.keys.end()
             ? nullptr
             : &document.items[static_cast<std::size_t>(key - document.keys.begin())];
}

}  // namespace

SimulationSettings::Milliseconds SimulationSettings::latency(const std::string& op) const {
  const auto own = latencies.find(op);
  return own == latencies.end() ? default_latency : own->second;
}

Place RobotFile::place_of(std::string_view field) const {
  const YamlNode* const node = find_field(document, field);
  return node == nullptr ? document.place : node->place;
}

Place RobotFile::place_of(std::string_view field, std::size_t entry) const {
  const YamlNode* const node = find_field(document, field);
  return node == nullptr || entry >= node->items.size() ? place_of(field)
                                                        : node->items[entry].place;
}

std::optional<RobotFile> read_robot_file(const std::string& path, InputErrors& errors) {
  const std::size_t errors_before = errors.count();
  const std::optional<YamlNode> document = read_yaml_file(path, errors);
  std::optional<RobotFile> robot = document ? read_robot(*document, errors) : std::nullopt;
  return errors.count() == errors_before ? robot : std::nullopt;
}

std::optional<RobotFile> read_robot(const YamlNode& document, InputErrors& errors) {
  const std::size_t errors_before = errors.count();
  RobotFile file;
  file.document = document;
  MappingReader robot(document, "a robot", errors);
  read_boards_and_tools(robot, file.config);
  read_power_bits(robot, file.config);
  read_claws(robot, file.config);
  if (const YamlNode* const simulation = robot.find("simulation"); simulation != nullptr) {
    read_simulation(*simulation, file.simulation, errors);
  }
  robot.finish();
  return errors.count() == errors_before ? std::optional(std::move(file)) : std::nullopt;
}

}  // namespace vantrel_can_bridge::workbench
