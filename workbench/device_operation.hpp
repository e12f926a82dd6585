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
  /// Of the whole way, counted from the end that it leaves, where it stands still for ever;
  /// nothing where it gives up half-way to its target and reports that.
  std::optional<std::int64_t> stuck_at_permille;
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
