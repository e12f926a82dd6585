#pragma once

#include <string>

#include "tests/workbench/scenario_fixture.hpp"
#include "workbench/player.hpp"
#include "workbench/simulated_time.hpp"

namespace vantrel_can_bridge::workbench::test {

/// Two requests side by side, a fault and a retry, an emergency stop in a claw move, and the
/// recovery from it.
inline const std::string kRound = R"(
  - note: 1. Both at once
  - fault: {device: motor1, op: claw_extend, times: 1, refuse: bus busy}
  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}
    background: claw
  - request: {cmd: handle_pump, pump_cmd: 1, pump_duty: 80}
  - request: {cmd: fill_light, rgb: 8421504}
  - wait_for: claw
  - note: 2. A stop
  - request: {cmd: procter, tools_claw_cmd: 3, tools_claw_select: 1}
    during: [{after: 500 ms, emergency: raise}]
  - wait: 2 min
  - emergency: clear
  - request: {cmd: handle_pump}
)";

/// The record of a scenario with these steps.
inline Record played(const std::string& steps) {
  Record record;
  SimulatedTime time;
  const PlayResult result = play(scenario(steps), time, record);
  EXPECT_EQ(result.error, "");
  return record;
}

}  // namespace vantrel_can_bridge::workbench::test
