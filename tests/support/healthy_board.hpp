#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/recording_gateway.hpp"

namespace vantrel_can_bridge::test {

/// The status bytes of a claw on its way, and at either end.
inline const std::vector<std::uint8_t> kMoving = {1, 0};
inline const std::vector<std::uint8_t> kRaised = {3, 2};
inline const std::vector<std::uint8_t> kLowered = {4, 1};

/// Boards on which everything works: each operation succeeds, and a claw is under way at
/// the first query after its move was written and there at the second.
///
/// Any thread; a leaf lock guards the claws.
class HealthyBoard {
 public:
  OperateResult answer(const Operation& operation) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (operation.op == "claw_extend" || operation.op == "claw_home") {
      claws_[operation.device] = {operation.op == "claw_extend" ? kRaised : kLowered, true};
    }
    if (operation.op != "claw_query_state") {
      return {true, {}, {}};
    }
    Claw& claw = claws_[operation.device];
    const bool moving = std::exchange(claw.moving, false);
    return {true, moving ? kMoving : claw.destination, {}};
  }

 private:
  struct Claw {
    std::vector<std::uint8_t> destination = kLowered;
    bool moving = false;
  };

  std::mutex mutex_;
  std::map<std::string, Claw> claws_;  // by device; guarded by mutex_
};

}  // namespace vantrel_can_bridge::test
