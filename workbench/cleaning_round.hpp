#pragma once

#include <chrono>
#include <iosfwd>
#include <vector>

#include "workbench/fault_rules.hpp"
#include "workbench/run_view.hpp"

namespace vantrel_can_bridge::workbench {

struct RoundOptions {
  ViewOptions view;
  /// Of a claw from one end to the other; sets the pace of the round, which lasts some five
  /// times as long and half a second. At least 180 ms: below, the claws are hardly polled.
  std::chrono::milliseconds claw_travel_time{900};
  /// Put in force before the round begins. It then fails, unless nothing depends on them.
  std::vector<FaultRule> faults;
};

/// Plays a cleaning round on simulated boards, in this process: everything is switched on,
/// a status query fails, an emergency stop comes in the middle of a claw move, and
/// everything is switched off. Prints it to `out` as it happens, and blocks meanwhile.
///
/// True when it went as it should: each reply, the boards in between, and at the end every
/// device off and every claw home. What did not is printed.
[[nodiscard]] bool play_cleaning_round(std::ostream& out, const RoundOptions& options);

}  // namespace vantrel_can_bridge::workbench
