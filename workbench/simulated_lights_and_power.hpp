#pragma once

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "workbench/boards_snapshot.hpp"
#include "workbench/device_operation.hpp"

/// The devices of the body board. Not locked, and not to be moved once their operations
/// were handed out: the boards own and lock them.
namespace vantrel_can_bridge::workbench {

/// "left_light" or "right_light".
class SimulatedLed {
 public:
  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] const LedState& state() const { return state_; }

 private:
  LedState state_;
};

/// "fill_light".
class SimulatedFillLight {
 public:
  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] std::uint8_t percent() const { return percent_; }

 private:
  std::uint8_t percent_ = 0;
};

/// "power_control": any bit of any sub-address, all off at power-on.
class SimulatedPowerControl {
 public:
  [[nodiscard]] std::vector<DeviceOperation> operations();
  /// The bits that were ever written, by sub-address and bit number.
  [[nodiscard]] std::vector<PowerBitState> state() const;

 private:
  std::map<std::pair<std::uint8_t, std::uint8_t>, bool> bits_;  // by sub-address and bit
};

}  // namespace vantrel_can_bridge::workbench
