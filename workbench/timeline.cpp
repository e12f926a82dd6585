#include "workbench/timeline.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <tuple>

#include "workbench/duration_text.hpp"
#include "workbench/operation.hpp"
#include "workbench/request_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

struct Quantity {
  std::string_view name;
  DeviceKind kind;
  std::int64_t full;  // what a robot's values go up to; a lane grows with larger ones
};
constexpr std::array<Quantity, 8> kQuantities = {{
    {"level", DeviceKind::Light, 255},
    {"percent", DeviceKind::Light, 100},
    {"output", DeviceKind::Power, 1},
    {"duty", DeviceKind::Pump, 100},
    {"open", DeviceKind::Valve, 1},
    {"rpm", DeviceKind::Motor, 1},
    {"position", DeviceKind::Claw, 1000},
    {"action", DeviceKind::Claw, 1000},
}};

std::string operation_text(const OperationBegun& begun) {
  std::string text = fmt::format("{}/{} {}", begun.board, begun.device, begun.op);
  if (!begun.payload.empty()) {
    text += fmt::format(" [{}]", hex(begun.payload));
  }
  return begun.label.empty() ? text : text + "\n" + begun.label;
}

std::string with_message(const std::string& what, const std::string& message) {
  return message.empty() ? what : what + ": " + message;
}

std::string result_text(const OperationEnded& ended) {
  if (!ended.thrown.empty()) {
    return "threw: " + ended.thrown;
  }
  const std::string text =
      with_message(ended.result.success ? "success" : "failure", ended.result.message);
  return ended.result.data.empty() ? text : fmt::format("{} [{}]", text, hex(ended.result.data));
}

std::string request_text(const RequestBegun& begun) {
  std::string text = begun.command.empty() ? fmt::format("cmd {}", begun.cmd)
                                           : fmt::format("cmd {} {}", begun.cmd, begun.command);
  for (const auto& [name, value] : begun.fields) {
    text += " " + field_text(name, value);
  }
  return text;
}

std::string lines_text(const std::vector<std::string>& lines) {
  return lines.empty() ? "\n  nothing" : fmt::format("\n  {}", fmt::join(lines, "\n  "));
}

}  // namespace

/// What each kind of event adds to the timeline.
struct TimelineBuilder::Handler {
  TimelineBuilder& builder;
  Timeline& timeline;
  const Event& event;
  const Instant now;

  void operator()(const StepBegun&) const {}  // what it does is drawn

  void operator()(const RequestBegun& begun) const {
    ++timeline.requests;
    begin_activity(begun.request, &ActivityLane::requests,
                   begun.command.empty() ? fmt::format("cmd {}", begun.cmd) : begun.command,
                   request_text(begun));
  }

  void operator()(const RequestEnded& ended) const {
    const bool is_good = ended.thrown.empty() && ended.reply.success;
    timeline.failed_requests += is_good ? 0U : 1U;
    end_activity(ended.request, is_good,
                 !ended.thrown.empty()
                     ? "threw: " + ended.thrown
                     : with_message(is_good ? "success" : "failure", ended.reply.message));
  }

  void operator()(const RecoveryBegun& begun) const {
    ++timeline.recoveries;
    begin_activity(begun.recovery, &ActivityLane::recoveries, "recovery",
                   "recovery after an emergency stop");
  }

  void operator()(const RecoveryEnded& ended) const {
    end_activity(ended.recovery, ended.thrown.empty(),
                 ended.thrown.empty() ? "ended" : "threw: " + ended.thrown);
  }

  void operator()(const OperationBegun& begun) const {
    ++timeline.operations;
    TimelineBar bar{now, now, Outcome::Unfinished, begun.op, operation_text(begun)};
    builder.operations_[begun.operation] =
        builder.add_bar(begun.activity, event.thread, &ActivityLane::operations, std::move(bar));
    if (is_claw_move(begun.op)) {
      count_attempt(begun);
    }
  }

  void operator()(const OperationEnded& ended) const {
    const auto open = builder.operations_.find(ended.begun.operation);
    TimelineBar& bar = builder.bar(open->second);
    const bool is_good = ended.thrown.empty() && ended.result.success;
    bar.end = now;
    bar.outcome = is_good ? Outcome::Success : Outcome::Failure;
    bar.text += "\n" + result_text(ended);
    if (!is_good) {
      timeline.threads[open->second.lane].marks.push_back({now, MarkKind::Failure, bar.text});
    }
    builder.operations_.erase(open);
    builder.look_at_boards();
  }

  void operator()(const LogLine& line) const {
    if (line.channel != LogChannel::Debug) {
      timeline.log.push_back(
          {now, line.channel == LogChannel::Warn ? MarkKind::Warning : MarkKind::Info, line.text});
    }
  }

  void operator()(const WaitBegun& wait) const {
    TimelineBar bar{now, now, Outcome::Unfinished, "wait", "wait " + duration_text(wait.duration)};
    builder.waits_[wait.activity] =
        builder.add_bar(wait.activity, event.thread, &ActivityLane::waits, std::move(bar));
  }

  void operator()(const WaitEnded& wait) const {
    const auto open = builder.waits_.find(wait.activity);
    builder.bar(open->second).end = now;
    builder.bar(open->second).outcome = Outcome::Success;
    builder.waits_.erase(open);
  }

  void operator()(const FaultApplied& fault) const {
    ++timeline.faults;
    const std::size_t lane = builder.lane_of_activity(fault.activity, event.thread);
    timeline.threads[lane].marks.push_back(
        {now, MarkKind::Fault,
         fmt::format("fault on {} {}: {}", fault.device, fault.op, fault.effect)});
  }

  void operator()(const EmergencyRaised&) const {
    builder.look_at_boards();
    timeline.stops.push_back({now, now, Outcome::Unfinished, {}, "emergency stop"});
    builder.add_knot();
  }

  void operator()(const EmergencyCleared&) const {
    builder.look_at_boards();
    if (!timeline.stops.empty() && timeline.stops.back().outcome == Outcome::Unfinished) {
      timeline.stops.back().end = now;
      timeline.stops.back().outcome = Outcome::Success;
    }
    builder.add_knot();
  }

  void operator()(const DeviceStateChanged& change) const {
    const auto* const known =
        std::find_if(kQuantities.begin(), kQuantities.end(),
                     [&](const Quantity& quantity) { return quantity.name == change.quantity; });
    if (known == kQuantities.end()) {
      return;  // the emergency stop, which has bars of its own
    }
    DeviceLane& lane = builder.device(known->kind, change.device, known->full);
    if (change.quantity == "action") {
      lane.actions.push_back({now, change.value, change.text});
      return;
    }
    // A claw was still where it had been when it was looked at last.
    if (known->kind == DeviceKind::Claw) {
      hold_position(lane);
    }
    lane.full = std::max(lane.full, std::abs(change.value));
    lane.values.push_back({now, change.value, change.text});
  }

  void operator()(const ExpectationChecked& checked) const {
    ++timeline.expectations;
    if (!checked.held) {
      timeline.problems.push_back(
          {now, MarkKind::Expectation,
           fmt::format("{}:{}: expectation failed: {}\nexpected{}\nactual{}", checked.file,
                       checked.line, checked.subject, lines_text(checked.expected),
                       lines_text(checked.actual))});
    }
  }

  void operator()(const Note& note) const {
    (note.is_problem ? timeline.problems : timeline.chapters)
        .push_back({now, MarkKind::Note, note.text});
  }

 private:
  using Bars = std::vector<TimelineBar> ActivityLane::*;

  void begin_activity(ActivityId activity, Bars bars, const std::string& label,
                      const std::string& text) const {
    const std::size_t number = builder.lane_numbers_.take(event.thread);
    const std::size_t lane = builder.lane_of(lane_name(event.thread, number));
    builder.activities_[activity] = {event.thread, number, lane, {}};
    builder.activities_[activity].bar =
        builder.add_bar(activity, event.thread, bars,
                        {now, now, Outcome::Unfinished, fmt::format("{} {}", activity, label),
                         fmt::format("{}. {}", activity, text)});
    timeline.rows[activity] = {now,  now,         timeline.threads[lane].name,
                               text, "not ended", Outcome::Unfinished};
    ++builder.running_;
    builder.add_knot();
  }

  void end_activity(ActivityId activity, bool is_good, const std::string& reply) const {
    const auto running = builder.activities_.find(activity);
    const Outcome outcome = is_good ? Outcome::Success : Outcome::Failure;
    TimelineBar& bar = builder.bar(running->second.bar);
    bar.end = now;
    bar.outcome = outcome;
    bar.text += "\n" + reply;
    TimelineRow& row = timeline.rows[activity];
    row.end = now;
    row.reply = reply;
    row.outcome = outcome;
    builder.lane_numbers_.release(running->second.thread, running->second.number);
    builder.activities_.erase(running);
    --builder.running_;
    builder.add_knot();
  }

  void count_attempt(const OperationBegun& begun) const {
    DeviceLane& lane = builder.device(DeviceKind::Claw, begun.device, 1000);
    const int attempt = ++builder.attempts_[{begun.activity, begun.device + " " + begun.op}];
    if (attempt > 1) {
      lane.retries.push_back(
          {now, MarkKind::Retry, fmt::format("{}, attempt {}", begun.op, attempt)});
    }
  }

  void hold_position(DeviceLane& lane) const {
    const TimelineValue before = lane.values.empty() ? TimelineValue{} : lane.values.back();
    // What changed with the emergency stop follows the event by which the boards are looked at.
    const Instant& looked_at =
        builder.looked_at_.time < now.time ? builder.looked_at_ : builder.looked_before_;
    if (before.at.event < looked_at.event && looked_at.time < now.time) {
      lane.values.push_back({looked_at, before.value, before.text});
    }
  }
};

void TimelineBuilder::add(const Event& event) {
  now_.time = event.time;
  ++now_.event;
  std::visit(Handler{*this, timeline_, event, now_}, event.body);
}

Timeline TimelineBuilder::finish(nanoseconds time) {
  timeline_.end = {std::max(time, now_.time), now_.event + 1};
  for (const auto& [activity, running] : activities_) {
    bar(running.bar).end = timeline_.end;
    timeline_.rows[activity].end = timeline_.end;
  }
  for (const auto* const open : {&waits_, &operations_}) {
    for (const auto& [id, place] : *open) {
      bar(place).end = timeline_.end;
    }
  }
  if (!timeline_.stops.empty() && timeline_.stops.back().outcome == Outcome::Unfinished) {
    timeline_.stops.back().end = timeline_.end;
  }
  std::stable_sort(timeline_.devices.begin(), timeline_.devices.end(),
                   [](const DeviceLane& left, const DeviceLane& right) {
                     // By length first: motor2 comes before motor10.
                     return std::make_tuple(left.kind, left.name.size(), left.name) <
                            std::make_tuple(right.kind, right.name.size(), right.name);
                   });
  return std::move(timeline_);
}

std::size_t TimelineBuilder::lane_of(const std::string& name) {
  std::vector<ActivityLane>& lanes = timeline_.threads;
  const auto found = std::find_if(lanes.begin(), lanes.end(),
                                  [&](const ActivityLane& lane) { return lane.name == name; });
  if (found != lanes.end()) {
    return static_cast<std::size_t>(found - lanes.begin());
  }
  lanes.emplace_back().name = name;
  return lanes.size() - 1;
}

std::size_t TimelineBuilder::lane_of_activity(ActivityId activity, const std::string& thread) {
  const auto running = activities_.find(activity);
  return running == activities_.end() ? lane_of(thread) : running->second.lane;
}

TimelineBuilder::Place TimelineBuilder::add_bar(ActivityId activity, const std::string& thread,
                                                std::vector<TimelineBar> ActivityLane::*bars,
                                                TimelineBar bar) {
  const std::size_t lane = lane_of_activity(activity, thread);
  std::vector<TimelineBar>& of_lane = timeline_.threads[lane].*bars;
  of_lane.push_back(std::move(bar));
  return {lane, bars, of_lane.size() - 1};
}

TimelineBar& TimelineBuilder::bar(const Place& place) {
  return (timeline_.threads[place.lane].*place.bars)[place.index];
}

DeviceLane& TimelineBuilder::device(DeviceKind kind, const std::string& name, std::int64_t full) {
  std::vector<DeviceLane>& devices = timeline_.devices;
  const auto found = std::find_if(devices.begin(), devices.end(), [&](const DeviceLane& device) {
    return device.kind == kind && device.name == name;
  });
  if (found != devices.end()) {
    return *found;
  }
  DeviceLane& added = devices.emplace_back();
  added.kind = kind;
  added.name = name;
  added.full = full;
  return added;
}

void TimelineBuilder::add_knot() { timeline_.knots.push_back({now_, running_}); }

void TimelineBuilder::look_at_boards() {
  if (looked_at_.time < now_.time) {
    looked_before_ = looked_at_;
  }
  looked_at_ = now_;
}

}  // namespace vantrel_can_bridge::workbench
