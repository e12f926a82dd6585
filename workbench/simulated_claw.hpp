#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "workbench/boards_snapshot.hpp"
#include "workbench/device_operation.hpp"

namespace vantrel_can_bridge::workbench {

/// One tool claw, at home and idle at power-on. It moves as time passes, and where it is
/// follows from the time at which it is looked at: nothing runs in between.
///
/// A command in the middle of a move turns the claw round where it is; one for the end at
/// which it stands is finished at once. An emergency stop ends the move: the claw stays
/// where it is, also when the stop clears, until the next command.
///
/// Not locked, and not to be moved once its operations were handed out: the boards own
/// and lock it. Times handed in never go back.
class SimulatedClaw {
 public:
  SimulatedClaw(std::int64_t motor, std::chrono::nanoseconds travel_time);

  [[nodiscard]] std::vector<DeviceOperation> operations();
  [[nodiscard]] ClawStatus status(TimePoint now) const;

  void stop(TimePoint now);

 private:
  struct Direction;
  static const Direction kExtend;
  static const Direction kHome;

  [[nodiscard]] DeviceOperation move_operation(const Direction& direction);
  void start(const Direction& direction, const OperationContext& context);
  /// Where a move from `from_` ends if it sticks at that part of the whole way.
  [[nodiscard]] std::chrono::nanoseconds place_of_jam(const Direction& direction,
                                                      std::int64_t permille) const;
  [[nodiscard]] ClawPosition position(ClawAction action, std::chrono::nanoseconds from_home) const;

  const std::int64_t motor_;                    // fixed at construction, as is:
  const std::chrono::nanoseconds travel_time_;  // not negative

  // The last move, by what it started from and where it ends: `action_` at `started_`
  // from `from_`, and `final_action_` once `to_` is reached. At rest the two actions are the
  // same, and the claw is at `to_`.
  ClawAction action_ = ClawAction::Idle;
  ClawAction final_action_ = ClawAction::Idle;
  TimePoint started_{};
  std::chrono::nanoseconds from_{0};
  std::chrono::nanoseconds to_{0};
};

}  // namespace vantrel_can_bridge::workbench
