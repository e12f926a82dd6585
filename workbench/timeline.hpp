#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "workbench/event.hpp"
#include "workbench/lane_numbers.hpp"
#include "workbench/timeline_axis.hpp"

namespace vantrel_can_bridge::workbench {

enum class Outcome { Unfinished, Success, Failure };

/// Something that takes time. Texts are for people, here as below.
struct TimelineBar {
  Instant begin;
  Instant end;
  Outcome outcome = Outcome::Unfinished;
  std::string label;
  std::string text;
};

enum class MarkKind { Failure, Fault, Retry, Warning, Info, Expectation, Note };

struct TimelineMark {
  Instant at;
  MarkKind kind = MarkKind::Info;
  std::string text;
};

/// What one thread does.
struct ActivityLane {
  std::string name;
  std::vector<TimelineBar> requests;
  std::vector<TimelineBar> recoveries;
  std::vector<TimelineBar> waits;
  std::vector<TimelineBar> operations;
  std::vector<TimelineMark> marks;  // on the operations
};

/// A value that stands until the next one.
struct TimelineValue {
  Instant at;
  std::int64_t value = 0;
  std::string text;
};

enum class DeviceKind { Light, Power, Pump, Valve, Motor, Claw };

/// One device; before its first value it is off, and a claw at home.
struct DeviceLane {
  DeviceKind kind = DeviceKind::Light;
  std::string name;
  std::int64_t full = 1;               // the value that fills the lane
  std::vector<TimelineValue> values;   // a claw's positions, which change evenly between two
  std::vector<TimelineValue> actions;  // of a claw
  std::vector<TimelineMark> retries;   // of a claw
};

/// A request or recovery, in words.
struct TimelineRow {
  Instant begin;
  Instant end;
  std::string thread;
  std::string request;
  std::string reply;
  Outcome outcome = Outcome::Unfinished;
};

/// The record of a run, sorted into what is drawn.
struct Timeline {
  Instant end;
  std::vector<AxisKnot> knots;
  std::vector<TimelineMark> chapters;  // the scenario's notes
  std::vector<TimelineBar> stops;
  std::vector<TimelineMark> log;  // all but the debug channel
  std::vector<ActivityLane> threads;
  std::vector<DeviceLane> devices;  // in the order in which they are drawn
  std::map<ActivityId, TimelineRow> rows;
  std::vector<TimelineMark> problems;  // failed expectations, and why the run ended early
  std::size_t requests = 0;
  std::size_t failed_requests = 0;
  std::size_t recoveries = 0;
  std::size_t operations = 0;
  std::size_t faults = 0;
  std::size_t expectations = 0;
};

/// Builds a timeline from the events of a run, one after the other.
class TimelineBuilder {
 public:
  void add(const Event& event);

  /// Once, after the last event. What has not ended by `time` stays unfinished.
  [[nodiscard]] Timeline finish(std::chrono::nanoseconds time);

 private:
  struct Handler;

  /// Where a bar stands that may yet change.
  struct Place {
    std::size_t lane = 0;  // among the threads
    std::vector<TimelineBar> ActivityLane::*bars = nullptr;
    std::size_t index = 0;
  };

  /// A request or recovery that runs.
  struct Activity {
    std::string thread;
    std::size_t number = 0;  // of its lane, among those of the thread
    std::size_t lane = 0;    // among the threads
    Place bar;
  };

  [[nodiscard]] std::size_t lane_of(const std::string& name);
  /// Of what belongs to none, that of its thread.
  [[nodiscard]] std::size_t lane_of_activity(ActivityId activity, const std::string& thread);
  Place add_bar(ActivityId activity, const std::string& thread,
                std::vector<TimelineBar> ActivityLane::*bars, TimelineBar bar);
  [[nodiscard]] TimelineBar& bar(const Place& place);
  DeviceLane& device(DeviceKind kind, const std::string& name, std::int64_t full);
  void add_knot();
  /// As they are when an operation ends or the emergency stop changes.
  void look_at_boards();

  Timeline timeline_;
  Instant now_;
  Instant looked_at_;      // when the boards were looked at last
  Instant looked_before_;  // the last time before that, at an earlier moment
  std::size_t running_ = 0;
  LaneNumbers lane_numbers_;
  std::map<ActivityId, Activity> activities_;  // running, as are:
  std::map<ActivityId, Place> waits_;          // by who waits
  std::map<OperationId, Place> operations_;
  std::map<std::pair<ActivityId, std::string>, int> attempts_;  // by claw move
};

}  // namespace vantrel_can_bridge::workbench
