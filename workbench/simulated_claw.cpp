#include "workbench/simulated_claw.hpp"

#include <algorithm>
#include <string_view>

namespace vantrel_can_bridge::workbench {

/// All that differs between extending and homing.
struct SimulatedClaw::Direction {
  std::string_view op;
  ClawAction moving;
  ClawAction finished;
  ClawAction failed;
};

const SimulatedClaw::Direction SimulatedClaw::kExtend{
    "claw_extend", ClawAction::Extending, ClawAction::Extended, ClawAction::ExtendFailed};
const SimulatedClaw::Direction SimulatedClaw::kHome{"claw_home", ClawAction::Homing,
                                                    ClawAction::Homed, ClawAction::HomeFailed};

SimulatedClaw::SimulatedClaw(std::int64_t motor, std::chrono::nanoseconds travel_time)
    : motor_(motor), travel_time_(std::max(travel_time, std::chrono::nanoseconds{0})) {}

std::vector<DeviceOperation> SimulatedClaw::operations() {
  return {move_operation(kExtend),
          move_operation(kHome),
          {"claw_query_state", 0, "",
           [this](const Bytes&, const OperationContext& context) -> DeviceAnswer {
             const ClawStatus now = status(context.now);
             return {
                 {static_cast<std::uint8_t>(now.action), static_cast<std::uint8_t>(now.position)},
                 {}};
           }}};
}

DeviceOperation SimulatedClaw::move_operation(const Direction& direction) {
  return {std::string(direction.op), 0, "",
          [this, &direction](const Bytes&, const OperationContext& context) -> DeviceAnswer {
            if (context.emergency) {
              return {{}, "the board is in emergency stop; clear it first"};
            }
            start(direction, context);
            return {};
          }};
}

void SimulatedClaw::start(const Direction& direction, const OperationContext& context) {
  from_ = status(context.now).from_home;
  to_ = &direction == &kExtend ? travel_time_ : std::chrono::nanoseconds{0};
  started_ = context.now;
  action_ = direction.moving;
  final_action_ = direction.finished;
  if (context.move_fault) {
    const std::optional<std::int64_t> stuck_at = context.move_fault->stuck_at_permille;
    to_ = stuck_at ? place_of_jam(direction, *stuck_at) : from_ + (to_ - from_) / 2;
    final_action_ = stuck_at ? direction.moving : direction.failed;
  }
}

std::chrono::nanoseconds SimulatedClaw::place_of_jam(const Direction& direction,
                                                     std::int64_t permille) const {
  const std::chrono::nanoseconds way = travel_time_ * permille / 1000;
  return &direction == &kExtend ? std::max(from_, way) : std::min(from_, travel_time_ - way);
}

void SimulatedClaw::stop(TimePoint now) {
  const ClawStatus stopped = status(now);
  const bool moving =
      stopped.action == ClawAction::Extending || stopped.action == ClawAction::Homing;
  action_ = final_action_ = moving ? ClawAction::Stopped : stopped.action;
  to_ = stopped.from_home;
}

ClawStatus SimulatedClaw::status(TimePoint now) const {
  const std::chrono::nanoseconds gone = now - started_;
  const bool arrived = gone >= std::chrono::abs(to_ - from_);
  const ClawAction action = arrived ? final_action_ : action_;
  const std::chrono::nanoseconds from_home = arrived ? to_ : from_ + (to_ > from_ ? gone : -gone);
  return {motor_, action, position(action, from_home), from_home};
}

ClawPosition SimulatedClaw::position(ClawAction action, std::chrono::nanoseconds from_home) const {
  // A claw without travel time has both ends in one place: the end it was sent to counts.
  if (action == ClawAction::Extended) {
    return ClawPosition::Extended;
  }
  if (from_home == std::chrono::nanoseconds{0}) {
    return ClawPosition::Home;
  }
  return from_home == travel_time_ ? ClawPosition::Extended : ClawPosition::Between;
}

}  // namespace vantrel_can_bridge::workbench
