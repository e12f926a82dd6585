#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vantrel_can_bridge::workbench {

struct LedState {
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;
  std::uint8_t level = 0;
  std::uint16_t mode = 0;
};

/// An output of the power controller.
struct PowerBitState {
  std::uint8_t sub = 0;
  std::uint8_t bit = 0;
  bool value = false;
};

struct CleaningMotorState {
  std::int64_t motor = 0;
  std::uint8_t mode = 0;  ///< 0 until it is set, 3 for velocity
  bool enabled = false;
  std::int16_t target_rpm = 0;

  [[nodiscard]] std::int16_t rpm() const { return enabled ? target_rpm : std::int16_t{0}; }
};

/// The first status byte of a claw.
enum class ClawAction : std::uint8_t {
  Idle = 0,          ///< not moved since power-on
  Extending = 1,     ///< on its way
  Homing = 2,        ///< on its way
  Extended = 3,      ///< extend finished
  Homed = 4,         ///< home finished
  ExtendFailed = 5,  ///< gave up part-way
  HomeFailed = 6,    ///< gave up part-way
  Stopped = 7,       ///< an emergency stop ended the move; stays until the next command
};

/// The second status byte of a claw.
enum class ClawPosition : std::uint8_t { Between = 0, Home = 1, Extended = 2 };

struct ClawStatus {
  std::int64_t motor = 0;
  ClawAction action = ClawAction::Idle;
  ClawPosition position = ClawPosition::Home;
  /// The way from the home position, measured in the time that it takes to go: 0 is home,
  /// the robot's travel time is fully extended.
  std::chrono::nanoseconds from_home{0};
};

/// Everything there is to know about the simulated boards at one moment.
struct BoardsSnapshot {
  LedState left_light;
  LedState right_light;
  std::uint8_t fill_light_percent = 0;
  std::vector<PowerBitState> power_bits;            ///< those ever written, by sub and bit
  std::array<std::uint8_t, 5> pump_duty_percent{};  ///< of channels 1 to 5
  std::uint8_t open_valves = 0;                     ///< bit n set: valve n is open
  std::vector<CleaningMotorState> cleaning_motors;
  std::vector<ClawStatus> claws;
  bool emergency = false;
  std::uint64_t pending_faults = 0;  ///< operations that the fault rules still have to hit
};

}  // namespace vantrel_can_bridge::workbench
