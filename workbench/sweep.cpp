#include "workbench/sweep.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "workbench/device_values.hpp"
#include "workbench/duration_text.hpp"
#include "workbench/operation.hpp"
#include "workbench/player.hpp"
#include "workbench/simulated_time.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// What the undisturbed run consists of, in its order.
class Outline final : public IEventSink {
 public:
  void on_event(const Event& event) override {
    if (const auto* const begun = std::get_if<OperationBegun>(&event.body)) {
      operations.push_back(begun->device + " " + begun->op);
    } else if (const auto* const wait = std::get_if<WaitBegun>(&event.body)) {
      waits.push_back("wait " + duration_text(wait->duration));
    }
  }

  std::vector<std::string> operations;
  std::vector<std::string> waits;
};

/// A pump behind valves.
struct PumpGroup {
  std::string pump;
  std::vector<std::string> valves;
};

std::vector<PumpGroup> pump_groups(const Scenario& scenario) {
  std::vector<PumpGroup> groups;
  const auto add = [&](std::int64_t channel, const std::vector<std::int64_t>& valves) {
    PumpGroup group{fmt::format("pump {}", channel), {}};
    for (const std::int64_t valve : valves) {
      if (valve >= 0 && valve <= 7) {
        group.valves.push_back(fmt::format("valve {}", valve));
      }
    }
    if (!group.valves.empty()) {
      groups.push_back(std::move(group));
    }
  };
  add(scenario.config.clean_pump_channel, scenario.config.clean_pump_valves);
  add(scenario.config.dirty_pump_channel, scenario.config.dirty_pump_valves);
  return groups;
}

/// Looks for broken rules in the record of one run.
class Watch final : public IEventSink {
 public:
  explicit Watch(const Scenario& scenario) : groups_(pump_groups(scenario)) {}

  void on_event(const Event& event) override {
    time_ = event.time;
    std::visit([this](const auto& body) { see(body); }, event.body);
  }

  /// Ends the watch and fills in what was seen.
  void report(SweepRun& run) {
    for (const auto& [id, name] : open_) {
      break_rule(name + " was not answered");
    }
    run.ended_after = ended_after_;
    run.broken = broken_;
    for (const auto& [name, value] : values_) {
      if (!is_at_rest(name, value)) {
        run.left.push_back(name + " " + value.text);
      }
    }
  }

 private:
  struct Value {
    std::int64_t number = 0;
    std::string text;
  };

  template <typename Body>
  void see(const Body&) {}

  void see(const RequestBegun& begun) {
    open_[begun.request] = fmt::format("request {}", begun.request);
  }
  void see(const RequestEnded& ended) { end(ended.request, ended.thrown); }
  void see(const RecoveryBegun& begun) {
    open_[begun.recovery] = fmt::format("recovery {}", begun.recovery);
  }
  void see(const RecoveryEnded& ended) { end(ended.recovery, ended.thrown); }

  void see(const EmergencyRaised&) {
    is_stopped_ = true;
    stopped_at_ = time_;
    for (const auto& [id, name] : open_) {
      interrupted_.insert(id);
    }
  }
  void see(const EmergencyCleared&) { is_stopped_ = false; }

  void see(const OperationBegun& begun) {
    if (is_stopped_ && is_claw_move(begun.op)) {
      break_rule(fmt::format("{} {} during the stop", begun.device, begun.op));
    }
  }

  void see(const DeviceStateChanged& change) {
    values_[value_name(change)] = {change.value, change.text};
  }

  void see(const OperationEnded& ended) {
    thrown_[ended.begun.activity] = ended.thrown;
    for (const PumpGroup& group : groups_) {
      const bool is_shut =
          std::all_of(group.valves.begin(), group.valves.end(),
                      [this](const std::string& valve) { return values_[valve].number == 0; });
      if (is_shut && values_[group.pump].number != 0) {
        break_rule(group.pump + " runs with its valves shut");
      }
    }
  }

  void end(ActivityId id, const std::string& thrown) {
    // What the gateway throws has to come through; anything else stands for a lost reply.
    if (!thrown.empty() && thrown != thrown_[id]) {
      break_rule(open_[id] + " threw: " + thrown);
    }
    open_.erase(id);
    if (interrupted_.erase(id) != 0 && interrupted_.empty()) {
      ended_after_ = time_ - stopped_at_;
    }
  }

  void break_rule(std::string rule) {
    if (std::find(broken_.begin(), broken_.end(), rule) == broken_.end()) {
      broken_.push_back(std::move(rule));
    }
  }

  /// As scenarios call it.
  static std::string value_name(const DeviceStateChanged& change) {
    return change.quantity == "action"     ? change.device + " claw"
           : change.quantity == "position" ? change.device + " position"
                                           : change.device;
  }

  /// At rest is a claw that was never moved, or is homed.
  static bool is_at_rest(const std::string& name, const Value& value) {
    constexpr std::string_view kClaw = " claw";
    if (name.size() > kClaw.size() &&
        name.compare(name.size() - kClaw.size(), kClaw.size(), kClaw) == 0) {
      return value.text == "idle" || value.text == "homed";
    }
    return value.number == 0;
  }

  const std::vector<PumpGroup> groups_;
  nanoseconds time_{0};
  std::map<ActivityId, std::string> open_;    // what has begun and not ended
  std::set<ActivityId> interrupted_;          // those of it that were open when the stop came
  std::map<ActivityId, std::string> thrown_;  // by the gateway, in the last operation of each
  bool is_stopped_ = false;
  nanoseconds stopped_at_{0};
  std::optional<nanoseconds> ended_after_;
  std::map<std::string, Value> values_;  // that ever changed, by name
  std::vector<std::string> broken_;
};

class Sweep {
 public:
  Sweep(const Scenario& scenario, const SweepHooks& hooks) : scenario_(scenario), hooks_(hooks) {}

  void stop(Moment::Kind kind, std::size_t index, const std::string& name,
            const std::string& place) {
    play({fmt::format("stop {} {}", name, index + 1), place, {}, {}, {}}, [&](Run& run) {
      run.plan({{kind, index + 1}, [&run](nanoseconds from_now) {
                  run.change_emergency_aside(EmergencyEdge::Raise, from_now);
                }});
    });
  }

  void fail(std::size_t index, const std::string& place) {
    play({fmt::format("operation {} fails", index + 1), place, {}, {}, {}}, [&](Run& run) {
      FaultRule rule;
      rule.effect = Refuse{"failed by the sweep"};
      rule.skip = index;
      rule.is_lasting = true;  // also where the scenario clears its own rules
      run.boards().add_fault(rule);
    });
  }

  Outline leave_alone() {
    Outline outline;
    play({"undisturbed", "-", {}, {}, {}}, {}, &outline);
    return outline;
  }

 private:
  void play(SweepRun run, const std::function<void(Run&)>& prepare,
            IEventSink* listener = nullptr) {
    if (hooks_.is_over && hooks_.is_over()) {
      return;
    }
    Watch watch(scenario_);
    EventFanOut sinks;
    sinks.add(watch);
    if (listener != nullptr) {
      sinks.add(*listener);
    }
    SimulatedTime time;
    tell(&time);
    const PlayResult result = workbench::play(scenario_, time, sinks, {prepare, {}});
    tell(nullptr);
    if (time.interrupted()) {
      return;
    }
    watch.report(run);
    if (!result.error.empty()) {
      run.broken.push_back(result.error);
    }
    hooks_.show(run);
  }

  void tell(IScheduler* time) const {
    if (hooks_.running) {
      hooks_.running(time);
    }
  }

  const Scenario& scenario_;
  const SweepHooks& hooks_;
};

}  // namespace

void sweep(const Scenario& scenario, const SweepHooks& hooks) {
  Sweep sweep(scenario, hooks);
  const Outline outline = sweep.leave_alone();
  for (std::size_t index = 0; index < outline.operations.size(); ++index) {
    const std::string& place = outline.operations[index];
    sweep.stop(Moment::Kind::BeforeOperation, index, "before operation", place);
    sweep.stop(Moment::Kind::AfterOperation, index, "after operation", place);
    sweep.fail(index, place);
  }
  for (std::size_t index = 0; index < outline.waits.size(); ++index) {
    sweep.stop(Moment::Kind::InWait, index, "in wait", outline.waits[index]);
  }
}

}  // namespace vantrel_can_bridge::workbench
