#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/i_bridge_gateway.hpp"
#include "workbench/boards_snapshot.hpp"
#include "workbench/clock.hpp"
#include "workbench/device_operation.hpp"
#include "workbench/fault_rules.hpp"
#include "workbench/i_boards_observer.hpp"
#include "workbench/robot_description.hpp"
#include "workbench/simulated_claw.hpp"
#include "workbench/simulated_cleaning_tools.hpp"
#include "workbench/simulated_lights_and_power.hpp"

namespace vantrel_can_bridge::workbench {

/// The body board and the self-cleaning board of a robot, without the robot: a gateway
/// that carries every device operation out on simulated devices.
///
/// Successful operations answer without a message. What no device knows is refused, with
/// nothing changed and a message that says what was got and what is expected:
///
///     no board "aux_board"; this robot has bottom_board, selfclean_board
///     selfclean_board has no device "motor9"; it has pump, valve, motor5, motor1
///     selfclean_board pump has no operation "stop"; it has set_duty
///     selfclean_board pump set_duty: got 1 byte [06]; expected 3 bytes: channel 1..5, ...
///     selfclean_board pump set_duty: got channel 6 in [06 50 00]; expected 3 bytes: ...
///
/// The emergency stop of the self-cleaning board stops its claws and refuses their moves;
/// pumps, valves, cleaning motors and every status query go on.
///
/// Any member may be called from any thread. `mutex_` is a leaf, but for the clock's own:
/// held for the time of a few assignments, and never while the observer is called.
class SimulatedBoards final : public business_layer::IBridgeGateway {
 public:
  /// All devices at power-on: dark, off, shut, disabled, claws at home. `clock` is not
  /// null; `observer` may be, and outlives the boards. `seed` is of the fault rules.
  SimulatedBoards(const RobotDescription& robot, std::shared_ptr<IClock> clock,
                  IBoardsObserver* observer = nullptr, std::uint64_t seed = 0);

  SimulatedBoards(const SimulatedBoards&) = delete;
  SimulatedBoards& operator=(const SimulatedBoards&) = delete;

  /// Blocks for the robot's latency, and longer where a fault rule slows it down; the
  /// device acts at the end of that time. Throws where a fault rule says so.
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const Bytes& payload) override;

  /// Puts a rule in force, behind those that there are. It hits operations that a device
  /// knows, before that device looks at the payload.
  void add_fault(FaultRule rule);
  void clear_faults();
  void clear_faults(std::string_view name);

  /// Why `rule` can never hit an operation of this robot: what it names, and what there
  /// is. Empty where it can.
  [[nodiscard]] std::string why_never_hits(const FaultRule& rule) const;

  /// Stops every claw that moves, and lets them move again. Do nothing when that is so.
  void raise_emergency();
  void clear_emergency();

  [[nodiscard]] BoardsSnapshot snapshot() const;

 private:
  struct Device {
    std::string board;
    std::string name;
    std::vector<DeviceOperation> operations;
  };

  void add_device(const std::string& board, const std::string& name,
                  std::vector<DeviceOperation> operations);
  void set_emergency(bool active);

  // The way of an operation to its answer; the caller holds mutex_.
  [[nodiscard]] OperateResult perform(const DeviceOperation& known, const Operation& operation,
                                      const std::optional<FaultEffect>& fault, TimePoint now);
  [[nodiscard]] OperateResult carry_out(const DeviceOperation& known, const Operation& operation,
                                        const OperationContext& context);

  // What is asked for and does not exist. Take no lock: devices are fixed.
  [[nodiscard]] const Device* find_device(const std::string& board, const std::string& name) const;
  [[nodiscard]] const DeviceOperation* find_operation(const Operation& operation) const;
  [[nodiscard]] std::string unknown_operation(const Operation& operation) const;
  [[nodiscard]] std::string unknown_board_or_device(const Operation& operation) const;

  const std::shared_ptr<IClock> clock_;  // fixed at construction, as are:
  IBoardsObserver* const observer_;
  const RobotDescription robot_;
  std::vector<Device> devices_;

  mutable std::mutex mutex_;  // leaf, but for the clock's own; guards all that follows

  SimulatedLed left_light_;
  SimulatedLed right_light_;
  SimulatedFillLight fill_light_;
  SimulatedPowerControl power_control_;
  SimulatedPumps pumps_;
  SimulatedValves valves_;
  std::deque<SimulatedCleaningMotor> cleaning_motors_;  // deques: their elements stay
  std::deque<SimulatedClaw> claws_;                     // where they are
  FaultRules faults_;
  bool emergency_ = false;
};

}  // namespace vantrel_can_bridge::workbench
