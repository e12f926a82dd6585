#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "compat/bottom_compat_reply.hpp"
#include "gateway/operate_result.hpp"

/// The record of a run: everything that was asked, sent, answered, logged, waited for and
/// changed, in the order in which it happened. Console, traces, timeline, recordings and
/// expectations all read this and nothing else.
namespace vantrel_can_bridge::workbench {

/// Numbers requests and recoveries together, from 1 in the order in which they begin.
/// 0 stands for neither: what the player itself does.
using ActivityId = std::uint64_t;

/// Numbers device operations from 1 in the order in which they begin.
using OperationId = std::uint64_t;

/// A step of the scenario begins; on the player's thread.
struct StepBegun {
  std::string file;
  std::uint64_t line = 0;  ///< from 1
  std::string text;        ///< the step for people: "request cmd=13 pump_duty=80"
};

/// A request enters the orchestrator.
struct RequestBegun {
  ActivityId request = 0;
  std::string name;  ///< as the scenario calls it; empty for none
  std::int32_t cmd = 0;
  std::string command;  ///< name of the command: "procter", "fill_light"; empty if unknown
  std::vector<std::pair<std::string, std::int64_t>> fields;  ///< but cmd; those that are not 0
};

/// The request's reply, or what was thrown through the orchestrator instead.
struct RequestEnded {
  ActivityId request = 0;
  business_layer::bottom_compat::BottomCompatReply reply;
  std::string thrown;  ///< empty where there is a reply
};

/// One device operation reaches the gateway.
struct OperationBegun {
  OperationId operation = 0;
  ActivityId activity = 0;  ///< the request or recovery that it belongs to
  std::string board;
  std::string device;
  std::string op;
  std::vector<std::uint8_t> payload;
  std::string label;  ///< what the orchestrator's log calls it; empty if unknown
};

/// The operation's result as the orchestrator gets it, or what was thrown instead.
struct OperationEnded {
  OperationBegun begun;
  OperateResult result;
  std::string thrown;  ///< empty where there is a result
};

enum class LogChannel { Debug, Info, Warn };

struct LogLine {
  ActivityId activity = 0;
  LogChannel channel = LogChannel::Debug;
  std::string text;
};

/// The orchestrator sleeps: between status queries, attempts, valves and pump.
struct WaitBegun {
  ActivityId activity = 0;
  std::chrono::nanoseconds duration{0};
};

struct WaitEnded {
  ActivityId activity = 0;
};

/// A fault rule has changed what an operation does or answers.
struct FaultApplied {
  OperationId operation = 0;
  ActivityId activity = 0;
  std::string device;
  std::string op;
  std::string effect;  ///< for people: "refused: bus error", "answered but not done"
};

/// The self-cleaning board enters its emergency stop.
struct EmergencyRaised {};

/// The emergency stop clears.
struct EmergencyCleared {};

/// The orchestrator is told of the clear and works until `RecoveryEnded`; both come also
/// where no claw is moved.
struct RecoveryBegun {
  ActivityId recovery = 0;
};

struct RecoveryEnded {
  ActivityId recovery = 0;
  std::string thrown;  ///< empty but for what was thrown through the orchestrator
};

/// A device is found changed. A claw on its way is found changed at every look at it, so
/// its positions are samples; everything else changes once.
struct DeviceStateChanged {
  std::string board;
  std::string device;      ///< one lane: "pump 1", "valve 3", "motor5", "left_light"
  std::string quantity;    ///< what the number is: "duty", "open", "rpm", "position", ...
  std::int64_t value = 0;  ///< percent, 0 or 1, rpm, permille of the way from home
  std::string text;        ///< for people: "80 %", "open", "extending, 45.0 %"
};

/// An expectation of the scenario was looked at.
struct ExpectationChecked {
  bool held = false;
  std::string file;
  std::uint64_t line = 0;  ///< from 1
  std::string subject;     ///< "reply", "operations", "log info", "boards"
  /// Line by line, side by side; empty where it held.
  std::vector<std::string> expected;
  std::vector<std::string> actual;
};

/// Something a reader of the record should know.
struct Note {
  std::string text;
  bool is_problem = false;  ///< why the run ends early; else a chapter of the scenario
};

using EventBody =
    std::variant<StepBegun, RequestBegun, RequestEnded, OperationBegun, OperationEnded, LogLine,
                 WaitBegun, WaitEnded, FaultApplied, EmergencyRaised, EmergencyCleared,
                 RecoveryBegun, RecoveryEnded, DeviceStateChanged, ExpectationChecked, Note>;

struct Event {
  std::chrono::nanoseconds time{0};  ///< from the start of the run
  std::string thread;                ///< "main", "emergency", "background NAME"
  EventBody body;
};

/// Takes the record of one run.
///
/// What can be relied on, in simulated and in real time:
/// - `on_event` is never called twice at once, though from different threads.
/// - Times never go back from one event to the next. Several events may share a time; the
///   order of the calls is the order in which they happened.
/// - On one thread, what begins and ends nests: operations and waits lie within their
///   request or recovery, fault and state changes of an operation between its begin and
///   its end.
/// - What has begun ends, also when something is thrown, the run is ended early, or its
///   threads deadlock; a `Note` then says so.
/// - After the last event `on_end` is called once, also for a run that was interrupted.
///
/// On simulated time the whole sequence, times included, depends on nothing but the robot,
/// the scenario and the seed.
class IEventSink {
 public:
  virtual ~IEventSink() = default;

  virtual void on_event(const Event& event) = 0;
  virtual void on_end(std::chrono::nanoseconds /*time*/) {}

 protected:
  IEventSink() = default;
  IEventSink(const IEventSink&) = default;
  IEventSink& operator=(const IEventSink&) = default;
};

/// Hands every event to each of its sinks, in the order in which they were added. It does
/// not own them, and does not lock: whoever writes the record serialises it.
class EventFanOut final : public IEventSink {
 public:
  void add(IEventSink& sink) { sinks_.push_back(&sink); }

  void on_event(const Event& event) override {
    for (IEventSink* sink : sinks_) {
      sink->on_event(event);
    }
  }

  void on_end(std::chrono::nanoseconds time) override {
    for (IEventSink* sink : sinks_) {
      sink->on_end(time);
    }
  }

 private:
  std::vector<IEventSink*> sinks_;
};

}  // namespace vantrel_can_bridge::workbench
