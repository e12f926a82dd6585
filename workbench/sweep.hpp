#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "workbench/scenario.hpp"
#include "workbench/scheduler.hpp"

namespace vantrel_can_bridge::workbench {

/// What came of one run of a sweep.
struct SweepRun {
  std::string disturbance;  ///< "undisturbed", "stop before operation 3", "operation 3 fails"
  std::string place;        ///< the operation or the wait: "motor1 claw_extend", "wait 100 ms"
  /// From a stop until the work that it interrupted had ended, the longest where there were
  /// several; nothing where they came while none was under way, or where there was no stop.
  std::optional<std::chrono::nanoseconds> ended_after;
  std::vector<std::string> left;    ///< what is not at rest in the end: "pump 1 60 %"
  std::vector<std::string> broken;  ///< the rules that were broken, in words
};

/// What `sweep` calls.
struct SweepHooks {
  std::function<void(const SweepRun&)> show;  ///< with each run that came to its end
  /// Asked before each run, whether it and all others are to be left out; may be empty.
  std::function<bool()> is_over{};
  /// With the time of a run that begins, so that it can be interrupted, and with null when
  /// that has ended; may be empty.
  std::function<void(IScheduler*)> running{};
};

/// Plays `scenario` undisturbed, and then again and again on simulated time: once with an
/// emergency stop before and after each of its operations and in the middle of each of its
/// waits, and once with each operation failing. Expectations of the scenario do not count,
/// these rules do, in the undisturbed run too:
/// - no claw is told to move while the stop is active;
/// - every request is answered, and nothing is thrown but what the gateway threw;
/// - no pump with a valve group runs while all of its valves are shut, whatever has shut them.
void sweep(const Scenario& scenario, const SweepHooks& hooks);

}  // namespace vantrel_can_bridge::workbench
