#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace vantrel_can_bridge {

/// The outcome of one device operation, filled by the gateway.
struct OperateResult {
  /// The board carried the operation out and acknowledged it.
  bool success = false;

  /// The bytes that the device answered with. Only read operations use them
  /// ("claw_query_state": `action_state`, `position_state`, then anything).
  std::vector<std::uint8_t> data;

  /// What the gateway has to say about the outcome, for people: it is copied into
  /// log lines and replies as it stands. May be empty, also for a failure.
  std::string message;
};

}  // namespace vantrel_can_bridge
