#include "workbench/sweep_watch.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

SweepWatch::SweepWatch(const business_layer::bottom_compat::BottomCompatConfig& config) {
  add_group(config.clean_pump_channel, config.clean_pump_valves);
  add_group(config.dirty_pump_channel, config.dirty_pump_valves);
}

void SweepWatch::add_group(std::int64_t channel, const std::vector<std::int64_t>& valves) {
  for (const std::int64_t valve : valves) {
    if (valve >= 0 && valve <= 7) {
      valves_of_[fmt::format("pump {}", channel)].push_back(fmt::format("valve {}", valve));
    }
  }
}

void SweepWatch::on_event(const Event& event) {
  time_ = event.time;
  std::visit([this](const auto& body) { see(body); }, event.body);
}

void SweepWatch::report(SweepRun& run) {
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

void SweepWatch::see(const RequestBegun& begun) {
  open_[begun.request] = fmt::format("request {}", begun.request);
}

void SweepWatch::see(const RecoveryBegun& begun) {
  open_[begun.recovery] = fmt::format("recovery {}", begun.recovery);
}

void SweepWatch::see(const EmergencyRaised&) {
  is_stopped_ = true;
  for (const auto& [id, name] : open_) {
    stopped_at_.emplace(id, time_);
  }
}

void SweepWatch::see(const OperationBegun& begun) {
  if (is_stopped_ && is_claw_move(begun.op)) {
    break_rule(fmt::format("{} {} during the stop", begun.device, begun.op));
  }
}

void SweepWatch::see(const OperationEnded& ended) {
  thrown_[ended.begun.activity] = ended.thrown;
  for (const auto& [pump, valves] : valves_of_) {
    const bool is_shut = std::all_of(valves.begin(), valves.end(), [this](const auto& valve) {
      return values_[valve].number == 0;
    });
    if (is_shut && values_[pump].number != 0) {
      break_rule(pump + " runs with its valves shut");
    }
  }
}

void SweepWatch::see(const DeviceStateChanged& change) {
  values_[value_name(change)] = {change.value, change.text};
}

void SweepWatch::end(ActivityId id, const std::string& thrown) {
  // What the gateway throws has to come through; anything else stands for a lost reply.
  if (!thrown.empty() && thrown != thrown_[id]) {
    break_rule(open_[id] + " threw: " + thrown);
  }
  open_.erase(id);
  // The scenario may raise stops of its own: the longest counts.
  if (const auto stopped = stopped_at_.find(id); stopped != stopped_at_.end()) {
    ended_after_ = std::max(ended_after_, std::optional(time_ - stopped->second));
  }
}

void SweepWatch::break_rule(const std::string& rule) {
  if (std::find(broken_.begin(), broken_.end(), rule) == broken_.end()) {
    broken_.push_back(rule);
  }
}

/// As scenarios call it.
std::string SweepWatch::value_name(const DeviceStateChanged& change) {
  return change.quantity == "action"     ? change.device + " claw"
         : change.quantity == "position" ? change.device + " position"
                                         : change.device;
}

/// At rest is a claw that was never moved, or is homed.
bool SweepWatch::is_at_rest(const std::string& name, const Value& value) {
  constexpr std::string_view kClaw = " claw";
  if (name.size() > kClaw.size() &&
      name.compare(name.size() - kClaw.size(), kClaw.size(), kClaw) == 0) {
    return value.text == "idle" || value.text == "homed";
  }
  return value.number == 0;
}

}  // namespace vantrel_can_bridge::workbench
