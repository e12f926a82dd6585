#pragma once

#include <cstdint>
#include <string>

#include "workbench/robot_file.hpp"

namespace vantrel_can_bridge::workbench {

/// For how long a robot can keep its callers waiting: upper bounds in milliseconds, which
/// stop at the largest 64-bit number instead of overflowing.
///
/// They hold when no device operation takes longer than the robot file's `simulation:
/// latency_ms`, 0 by default, and leave out the wait for a request or recovery that is
/// running already. With these times:
///
///     L(op)  latency of a device operation
///     poll   the claws' poll interval, at least 10
///     limit  the claws' time-out, at least one poll interval
///     move   the larger of L(claw_extend) and L(claw_home)
///
/// an attempt ends with the query of a round that began just before the time-out, and
///
///     attempt    = move + limit + poll + L(claw_query_state)
///     claw_move  = (retries + 1) * attempt + retries * back-off
///     pump       = L(set_valves) + valve_switch_delay_ms + L(set_duty)
///     motors     = the larger of L(set_mode) + L(enable) + L(set_target), for a start, and
///                  (L(set_target) + L(disable)) for each motor, to stop all
///     request    = motors + pump of each group with a valve + claw_move where a claw can be
///                  selected; or another command, if its operations take longer than that
///     recovery   = two attempts for each claw, but no longer than the budget and the one
///                  attempt that can begin just before its end
struct BlockingTimes {
  std::int64_t attempt_ms = 0;
  std::int64_t attempts = 0;  ///< of a move, the first included
  std::int64_t claw_move_ms = 0;
  std::int64_t request_ms = 0;
  std::int64_t recovery_ms = 0;  ///< 0 where claws are not recovered
};

[[nodiscard]] BlockingTimes blocking_times(const RobotFile& robot);

/// A length of time for people: "200 ms", "20.4 s", "3 min 20 s", "5 h 12 min", rounded up;
/// "over 100 years" from there on.
[[nodiscard]] std::string rounded_duration_text(std::int64_t milliseconds);

}  // namespace vantrel_can_bridge::workbench
