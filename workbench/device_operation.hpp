#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "workbench/clock.hpp"
#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

/// The circumstances of one operation.
struct OperationContext {
  TimePoint now;
  bool emergency = false;   ///< the self-cleaning board is in emergency stop
  bool move_fails = false;  ///< a claw move is to fail on its way
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
