#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "gateway/operate_result.hpp"
#include "workbench/clock.hpp"

namespace vantrel_can_bridge::workbench {

using Bytes = std::vector<std::uint8_t>;

/// One device operation as the gateway is asked for it.
struct Operation {
  std::string board;
  std::string device;
  std::string op;
  Bytes payload;
};

/// A device operation that is over, refused or not. Times are of the boards' clock.
struct OperationEvent {
  Operation operation;
  OperateResult result;
  TimePoint started;
  TimePoint ended;
  std::string fault{};  ///< what a fault rule made of it; empty for none
};

/// Whether an operation of that name makes a claw move.
[[nodiscard]] bool is_claw_move(std::string_view op);

/// Bytes for people: "01 ab", and "" for none.
[[nodiscard]] std::string hex(const Bytes& bytes);

}  // namespace vantrel_can_bridge::workbench
