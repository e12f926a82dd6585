#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "workbench/boards_snapshot.hpp"
#include "workbench/device_operation.hpp"

/// Pumps, valves and cleaning motors of the self-cleaning board. Not locked, and not to be
/// moved once their operations were handed out: the boards own and lock them.
namespace vantrel_can_bridge::workbench {

/// "pump": five pumps, channels 1 to 5.
class SimulatedPumps {
 public:
  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] const std::array<std::uint8_t, 5>& duty_percent() const { return duty_percent_; }

 private:
  std::array<std::uint8_t, 5> duty_percent_{};
};

/// "valve": eight valves, bits 0 to 7.
class SimulatedValves {
 public:
  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] std::uint8_t open() const { return open_; }

 private:
  std::uint8_t open_ = 0;
};

/// A cleaning motor. It takes its operations in any order, as the drive does, and turns
/// while it is enabled.
class SimulatedCleaningMotor {
 public:
  explicit SimulatedCleaningMotor(std::int64_t motor) { state_.motor = motor; }

  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] const CleaningMotorState& state() const { return state_; }

 private:
  CleaningMotorState state_;
};

}  // namespace vantrel_can_bridge::workbench
