#pragma once

#include <string>
#include <vector>

#include "workbench/event.hpp"

namespace vantrel_can_bridge::workbench::test {

/// What is hard to write in any format: markup, quotes, line ends, controls, a byte that is
/// no UTF-8, a character of three bytes.
inline const std::string kNasty =
    std::string("<b a='1'>&amp;\"\\\n\r\t\x01\x7f\xff\xc2\x85 伸出 ") + '\0' + "]]> --> </script>";

/// A short run in which every kind of event occurs, with `text` wherever a text is free.
/// Operation 3 and its request do not end.
inline std::vector<Event> every_event(const std::string& text) {
  using std::chrono::milliseconds;
  using std::chrono::nanoseconds;
  const OperationBegun pump{1, 1, text, text, text, {1, 60, 0}, text};
  const OperationBegun query{2, 1, "selfclean_board", "motor1", "claw_query_state", {}, ""};
  const OperationBegun move{3, 3, "selfclean_board", "motor1", "claw_home", {}, "claw"};
  const auto at = [](nanoseconds time, EventBody body) {
    return Event{time, "main", std::move(body)};
  };
  return {
      at(nanoseconds(0), StepBegun{text, 7, text}),
      at(nanoseconds(0), Note{text}),
      at(nanoseconds(1), RequestBegun{1, text, 13, "handle_pump", {{"pump_cmd", 1}}}),
      at(nanoseconds(1), LogLine{1, LogChannel::Debug, text}),
      at(nanoseconds(1), LogLine{1, LogChannel::Info, text}),
      at(nanoseconds(1), LogLine{1, LogChannel::Warn, text}),
      at(nanoseconds(1), pump),
      at(nanoseconds(1001), FaultApplied{1, 1, text, text, text}),
      at(nanoseconds(1001), DeviceStateChanged{"selfclean_board", "pump 1", "duty", 60, text}),
      at(nanoseconds(1001), OperationEnded{pump, {true, {0xff, 1}, text}, {}}),
      at(nanoseconds(1001), WaitBegun{1, milliseconds(2)}),
      at(nanoseconds(2'001'001), WaitEnded{1}),
      at(nanoseconds(2'001'001), query),
      at(nanoseconds(2'001'001), OperationEnded{query, {}, text}),
      at(nanoseconds(2'001'001), RequestEnded{1, {}, text}),
      at(milliseconds(3), ExpectationChecked{false, text, 7, text, {text}, {text}}),
      {milliseconds(4), "emergency", EmergencyRaised{}},
      {milliseconds(5), "emergency", EmergencyCleared{}},
      {milliseconds(5), "emergency", RecoveryBegun{2}},
      {milliseconds(6), "emergency", RecoveryEnded{2, text}},
      {milliseconds(7), "background " + text, RequestBegun{3, "", 99, "", {}}},
      {milliseconds(7), "background " + text, move},
      at(milliseconds(8), Note{text, true}),
  };
}

/// Hands `events` to `sink`, and their end 1 ms after the last of them.
inline void write_events(const std::vector<Event>& events, IEventSink& sink) {
  for (const Event& event : events) {
    sink.on_event(event);
  }
  sink.on_end(events.back().time + std::chrono::milliseconds(1));
}

}  // namespace vantrel_can_bridge::workbench::test
