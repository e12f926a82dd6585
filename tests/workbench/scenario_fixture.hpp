#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "workbench/event.hpp"
#include "workbench/scenario_reader.hpp"

namespace vantrel_can_bridge::workbench::test {

/// A scenario on the reference robot, as if it stood beside those of this project; `head`
/// holds further keys.
inline std::string scenario_text(const std::string& steps, const std::string& head = "") {
  return "title: test\nrobot: ../robots/reference.yaml\n" + head + "steps:\n" + steps;
}

inline Scenario scenario(const std::string& steps, const std::string& head = "") {
  InputErrors errors;
  auto read =
      read_scenario_text(scenario_text(steps, head), SOURCE_DIR "/scenarios/test.yaml", errors);
  EXPECT_EQ(errors.lines(), "");
  return read.value_or(Scenario{});
}

/// Keeps the whole record.
struct Record final : IEventSink {
  void on_event(const Event& event) override { events.push_back(event); }
  void on_end(std::chrono::nanoseconds time) override { ends.push_back(time); }

  std::vector<Event> events;
  std::vector<std::chrono::nanoseconds> ends;
};

}  // namespace vantrel_can_bridge::workbench::test
