#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "workbench/event.hpp"
#include "workbench/fault_rules.hpp"
#include "workbench/operation.hpp"
#include "workbench/request_fields.hpp"
#include "workbench/robot_description.hpp"
#include "workbench/run.hpp"
#include "workbench/yaml_document.hpp"

/// What a scenario file says, read and checked.
namespace vantrel_can_bridge::workbench {

/// An emergency edge at some moment of a running request.
struct PlannedEmergency {
  EmergencyEdge edge = EmergencyEdge::Raise;
  /// A time from the request's begin, or a moment counted within it.
  std::variant<std::chrono::nanoseconds, Moment> at;
};

struct SendRequest {
  Request request;
  std::string background;  ///< name of the request that runs on; empty waits for the reply
  std::vector<PlannedEmergency> during;
};

/// Of a value of the boards, by its name; see `DeviceValue`.
struct ValueCondition {
  enum class Comparison { Equal, AtLeast, AtMost };
  std::string name;
  Comparison comparison = Comparison::Equal;
  std::string text;         ///< as it has to be, for `Equal`
  std::int64_t number = 0;  ///< thousandths of what the text begins with, for the others
};

struct WaitForTime {
  std::chrono::nanoseconds duration{0};
};

struct WaitForRequest {
  std::string background;
  std::chrono::nanoseconds at_most{0};
};

struct WaitForValues {
  std::vector<ValueCondition> conditions;  ///< all of them at once
  std::chrono::nanoseconds at_most{0};
};

struct ChangeEmergency {
  EmergencyEdge edge = EmergencyEdge::Raise;
  /// Name of the recovery that runs on; empty waits until it has ended.
  std::string background;
};

struct AddFault {
  FaultRule rule;
};

struct ClearFaults {
  std::string name;  ///< empty clears all
};

/// Text for who watches.
struct Announce {
  std::string text;
};

/// Nothing but its expectations.
struct LookAround {};

using StepAction = std::variant<SendRequest, WaitForTime, WaitForRequest, WaitForValues,
                                ChangeEmergency, AddFault, ClearFaults, Announce, LookAround>;

struct ReplyExpectation {
  bool success = true;
  std::optional<std::string> message;
  std::optional<std::string> thrown;  ///< instead of a reply
};

/// One operation as it stands in a list: repeats of the same one follow each other.
struct ExpectedOperation {
  Operation operation;
  std::uint64_t times = 1;
};

struct LogExpectation {
  LogChannel channel = LogChannel::Debug;
  bool is_whole = true;  ///< these lines and no others; else these, in this order, among others
  std::vector<std::string> lines;
};

struct ClawExpectation {
  std::size_t claw = 0;
  std::int64_t motor = 0;  ///< its number, by which people know the claw
  business_layer::bottom_compat::ClawState state;
};

/// What must hold when a step is over. Operations and lines are those of the step itself.
template <typename Expected>
struct At {
  std::uint64_t line = 0;  ///< of the scenario file, from 1
  Expected expected;
};

struct Expectations {
  std::optional<At<ReplyExpectation>> reply;
  std::optional<At<std::vector<ExpectedOperation>>> operations;
  std::optional<At<std::vector<ExpectedOperation>>> writes;  ///< all but status queries
  std::vector<At<LogExpectation>> logs;
  std::vector<At<ValueCondition>> boards;
  std::vector<At<ClawExpectation>> claws;
};

struct Step {
  std::uint64_t line = 0;  ///< of the scenario file, from 1
  StepAction action;
  Expectations expectations;
};

struct Scenario {
  std::string file;  ///< as the user named it
  std::string title;
  std::string robot_file;  ///< as the scenario names it, from its own folder
  business_layer::bottom_compat::BottomCompatConfig config;
  RobotDescription robot;
  std::uint64_t seed = 0;
  std::chrono::nanoseconds time_limit = std::chrono::hours(1);
  std::vector<Step> steps;
  YamlNode document;  ///< what it was read from, its steps at the same positions

  [[nodiscard]] std::filesystem::path robot_path() const {
    return std::filesystem::path(file).parent_path() / robot_file;
  }
};

}  // namespace vantrel_can_bridge::workbench
