#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "workbench/clock.hpp"
#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

/// How a claw move goes wrong.
struct MoveFault {
  std::int64_t at_permille = 500;  ///< of the way to its target the claw stops
  bool is_reported = false;        ///< in its status, which otherwise says that it moves
};

/// The circumstances of one operation.
struct OperationContext {
  TimePoint now;
  bool emergency = false;               ///< the self-cleaning board is in emergency stop
  std::optional<MoveFault> move_fault;  ///< of a claw move
};

/// What a device makes of an operation: the bytes of its answer, or why it refuses, with
/// nothing changed.
struct DeviceAnswer {
  Bytes data;
  std::string refusal;  ///< what was wrong ("channel 6"), empty when carried out
};

/// One operation that a device knows.
struct DeviceOperation {
  std::string name;
  std::size_t payload_size = 0;
  std::string payload_layout;  ///< for people: "channel 1..5, duty 0..100, 0"; empty for none
  /// Called with a payload of that size, under the boards' lock.
  std::function<DeviceAnswer(const Bytes& payload, const OperationContext& context)> carry_out;
};

}  // namespace vantrel_can_bridge::workbench
