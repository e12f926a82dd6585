#include "workbench/simulated_boards.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

OperateResult refused(std::string message) { return {false, {}, std::move(message)}; }

/// The names, each once, in the order of their first appearance.
template <typename Items, typename NameOf>
std::string list_names(const Items& items, const NameOf& name_of) {
  std::vector<std::string> names;
  for (const auto& item : items) {
    const std::string name = name_of(item);
    if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

std::string byte_count(std::size_t count) {
  return count == 0 ? "no bytes" : fmt::format("{} byte{}", count, count == 1 ? "" : "s");
}

std::string expected_payload(const DeviceOperation& known) {
  return known.payload_size == 0
             ? "no payload"
             : fmt::format("{}: {}", byte_count(known.payload_size), known.payload_layout);
}

std::string full_name(const Operation& operation) {
  return fmt::format("{} {} {}", operation.board, operation.device, operation.op);
}

std::vector<std::int64_t> without_repeats(const std::vector<std::int64_t>& numbers) {
  std::set<std::int64_t> seen;
  std::vector<std::int64_t> unique;
  std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(unique),
               [&](std::int64_t number) { return seen.insert(number).second; });
  return unique;
}

}  // namespace

SimulatedBoards::SimulatedBoards(const RobotDescription& robot, std::shared_ptr<IClock> clock,
                                 IBoardsObserver* observer, std::uint64_t seed)
    : clock_(std::move(clock)), observer_(observer), robot_(robot), faults_(seed) {
  add_device(robot.bottom_board, "left_light", left_light_.operations());
  add_device(robot.bottom_board, "right_light", right_light_.operations());
  add_device(robot.bottom_board, "fill_light", fill_light_.operations());
  add_device(robot.bottom_board, "power_control", power_control_.operations());
  add_device(robot.selfclean_board, "pump", pumps_.operations());
  add_device(robot.selfclean_board, "valve", valves_.operations());
  for (const std::int64_t motor : without_repeats(robot.cleaning_motors)) {
    add_device(robot.selfclean_board, fmt::format("motor{}", motor),
               cleaning_motors_.emplace_back(motor).operations());
  }
  for (const std::int64_t motor : without_repeats(robot.claw_motors)) {
    add_device(robot.selfclean_board, fmt::format("motor{}", motor),
               claws_.emplace_back(motor, robot.claw_travel_time).operations());
  }
}

void SimulatedBoards::add_device(const std::string& board, const std::string& name,
                                 std::vector<DeviceOperation> operations) {
  const auto same = std::find_if(devices_.begin(), devices_.end(), [&](const Device& device) {
    return device.board == board && device.name == name;
  });
  if (same == devices_.end()) {
    devices_.push_back({board, name, std::move(operations)});
  } else {
    std::move(operations.begin(), operations.end(), std::back_inserter(same->operations));
  }
}

OperateResult SimulatedBoards::operate(const std::string& board, const std::string& device,
                                       const std::string& op, const Bytes& payload) {
  OperationEvent event{{board, device, op, payload}, {}, {}, {}, {}};
  const DeviceOperation* const known = find_operation(event.operation);
  std::optional<FaultEffect> fault;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    event.started = clock_->now();
    if (known != nullptr) {
      const FaultEffect* const effect = faults_.hit(event.operation);
      fault = effect == nullptr ? std::nullopt : std::optional(*effect);
    }
  }
  const Slow* const slow = fault ? std::get_if<Slow>(&*fault) : nullptr;
  std::this_thread::sleep_for(robot_.latency(op) + (slow == nullptr ? Slow{} : *slow).by);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    event.ended = clock_->now();
    event.result = known == nullptr ? refused(unknown_operation(event.operation))
                                    : perform(*known, event.operation, fault, event.ended);
  }
  event.fault = fault ? fault_text(*fault) : std::string();
  if (observer_ != nullptr) {
    observer_->on_operation(event);
  }
  if (fault && std::holds_alternative<Throw>(*fault)) {
    throw std::runtime_error(event.result.message);
  }
  return event.result;
}

/// What the device makes of an operation that it knows, and what a fault makes of that.
OperateResult SimulatedBoards::perform(const DeviceOperation& known, const Operation& operation,
                                       const std::optional<FaultEffect>& fault, TimePoint now) {
  OperationContext context{now, emergency_, std::nullopt};
  if (!fault) {
    return carry_out(known, operation, context);
  }
  if (const auto* const refuse = std::get_if<Refuse>(&*fault)) {
    return refused(refuse->message);
  }
  if (const auto* const thrown = std::get_if<Throw>(&*fault)) {
    return refused(thrown->message);
  }
  if (std::holds_alternative<AnsweredButNotDone>(*fault)) {
    return {true, {}, {}};
  }
  if (const auto* const stick = std::get_if<StickMove>(&*fault)) {
    context.move_fault = MoveFault{stick->at_permille};
  } else if (std::holds_alternative<FailMove>(*fault)) {
    context.move_fault = MoveFault{};
  }
  OperateResult result = carry_out(known, operation, context);
  if (const auto* const answer = std::get_if<Answer>(&*fault);
      answer != nullptr && result.success) {
    result.data = answer->data;
  } else if (const auto* const failed = std::get_if<DoneButFailed>(&*fault)) {
    return refused(failed->message);
  }
  return result;
}

OperateResult SimulatedBoards::carry_out(const DeviceOperation& known, const Operation& operation,
                                         const OperationContext& context) {
  const Bytes& payload = operation.payload;
  if (payload.size() != known.payload_size) {
    return refused(fmt::format("{}: got {} [{}]; expected {}", full_name(operation),
                               byte_count(payload.size()), hex(payload), expected_payload(known)));
  }
  DeviceAnswer answer = known.carry_out(payload, context);
  if (!answer.refusal.empty() && payload.empty()) {
    return refused(fmt::format("{}: {}", full_name(operation), answer.refusal));
  }
  if (!answer.refusal.empty()) {
    return refused(fmt::format("{}: got {} in [{}]; expected {}", full_name(operation),
                               answer.refusal, hex(payload), expected_payload(known)));
  }
  return {true, std::move(answer.data), {}};
}

const SimulatedBoards::Device* SimulatedBoards::find_device(const std::string& board,
                                                            const std::string& name) const {
  const auto found = std::find_if(devices_.begin(), devices_.end(), [&](const Device& device) {
    return device.board == board && device.name == name;
  });
  return found == devices_.end() ? nullptr : &*found;
}

const DeviceOperation* SimulatedBoards::find_operation(const Operation& operation) const {
  const Device* const device = find_device(operation.board, operation.device);
  if (device == nullptr) {
    return nullptr;
  }
  const auto& known = device->operations;
  const auto found = std::find_if(known.begin(), known.end(), [&](const DeviceOperation& one) {
    return one.name == operation.op;
  });
  return found == known.end() ? nullptr : &*found;
}

std::string SimulatedBoards::unknown_operation(const Operation& operation) const {
  const Device* const device = find_device(operation.board, operation.device);
  if (device == nullptr) {
    return unknown_board_or_device(operation);
  }
  return fmt::format("{} {} has no operation \"{}\"; it has {}", operation.board, operation.device,
                     operation.op,
                     list_names(device->operations, [](const auto& one) { return one.name; }));
}

std::string SimulatedBoards::unknown_board_or_device(const Operation& operation) const {
  const std::string on_board = list_names(devices_, [&](const Device& device) {
    return device.board == operation.board ? device.name : std::string();
  });
  if (!on_board.empty()) {
    return fmt::format("{} has no device \"{}\"; it has {}", operation.board, operation.device,
                       on_board);
  }
  return fmt::format("no board \"{}\"; this robot has {}", operation.board,
                     list_names(devices_, [](const Device& device) { return device.board; }));
}

void SimulatedBoards::add_fault(FaultRule rule) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.add(std::move(rule));
}

void SimulatedBoards::clear_faults() {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear();
}

void SimulatedBoards::clear_faults(std::string_view name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  faults_.clear(name);
}

std::string SimulatedBoards::why_never_hits(const FaultRule& rule) const {
  // Name by name, so that the first one which leaves nothing is the one that is reported.
  std::vector<Device> left = devices_;
  const auto keep = [&left](const auto& fits) {
    left.erase(std::remove_if(left.begin(), left.end(), std::not_fn(fits)), left.end());
    return !left.empty();
  };
  const auto is = [](const std::string& pattern, const std::string& name) {
    return pattern == "*" || pattern == name;
  };
  const std::vector<Device> on_any_board = left;
  if (!keep([&](const Device& device) { return is(rule.board, device.board); })) {
    return fmt::format("no board \"{}\"; this robot has {}", rule.board,
                       list_names(on_any_board, [](const auto& device) { return device.board; }));
  }
  const std::vector<Device> on_board = left;
  if (!keep([&](const Device& device) { return is(rule.device, device.name); })) {
    return fmt::format("no device \"{}\"; there is {}", rule.device,
                       list_names(on_board, [](const auto& device) { return device.name; }));
  }
  std::vector<DeviceOperation> operations;
  for (const Device& device : left) {
    operations.insert(operations.end(), device.operations.begin(), device.operations.end());
  }
  if (std::none_of(operations.begin(), operations.end(),
                   [&](const DeviceOperation& one) { return is(rule.op, one.name); })) {
    return fmt::format("no operation \"{}\"; there is {}", rule.op,
                       list_names(operations, [](const auto& one) { return one.name; }));
  }
  const bool hits = std::any_of(left.begin(), left.end(), [&](const Device& device) {
    return std::any_of(device.operations.begin(), device.operations.end(), [&](const auto& one) {
      return rule.matches(device.board, device.name, one.name);
    });
  });
  return hits ? std::string() : "only the claw moves claw_extend and claw_home can stick or fail";
}

void SimulatedBoards::raise_emergency() { set_emergency(true); }

void SimulatedBoards::clear_emergency() { set_emergency(false); }

void SimulatedBoards::set_emergency(bool active) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (std::exchange(emergency_, active) == active) {
      return;
    }
    if (active) {
      const TimePoint now = clock_->now();
      std::for_each(claws_.begin(), claws_.end(), [now](SimulatedClaw& claw) { claw.stop(now); });
    }
  }
  if (observer_ != nullptr) {
    observer_->on_emergency(active);
  }
}

BoardsSnapshot SimulatedBoards::snapshot() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const TimePoint now = clock_->now();
  BoardsSnapshot snapshot;
  snapshot.left_light = left_light_.state();
  snapshot.right_light = right_light_.state();
  snapshot.fill_light_percent = fill_light_.percent();
  snapshot.power_bits = power_control_.state();
  snapshot.pump_duty_percent = pumps_.duty_percent();
  snapshot.open_valves = valves_.open();
  for (const SimulatedCleaningMotor& motor : cleaning_motors_) {
    snapshot.cleaning_motors.push_back(motor.state());
  }
  for (const SimulatedClaw& claw : claws_) {
    snapshot.claws.push_back(claw.status(now));
  }
  snapshot.emergency = emergency_;
  snapshot.pending_faults = faults_.pending();
  return snapshot;
}

}  // namespace vantrel_can_bridge::workbench
