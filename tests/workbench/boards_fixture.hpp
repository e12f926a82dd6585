#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "tests/workbench/manual_clock.hpp"
#include "workbench/simulated_boards.hpp"

namespace vantrel_can_bridge::workbench::test {

using namespace std::chrono_literals;

inline RobotDescription small_robot() {
  return {"bottom_board", "selfclean_board", {5, 6}, {1, 2}, 1000ms};
}

/// Boards of a small robot, whose claws need one second of a clock that stands still.
class BoardsTest : public testing::Test {
 protected:
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const Bytes& payload = {}) {
    return boards.operate(board, device, op, payload);
  }
  OperateResult body(const std::string& device, const std::string& op, const Bytes& payload) {
    return operate("bottom_board", device, op, payload);
  }
  OperateResult selfclean(const std::string& device, const std::string& op,
                          const Bytes& payload = {}) {
    return operate("selfclean_board", device, op, payload);
  }
  /// The two status bytes of the claw on motor 1.
  Bytes claw_status() { return selfclean("motor1", "claw_query_state").data; }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  SimulatedBoards boards{small_robot(), clock};
};

inline void expect_done(const OperateResult& result, const Bytes& data = {}) {
  EXPECT_TRUE(result.success);
  EXPECT_EQ(result.message, "");
  EXPECT_EQ(result.data, data);
}

inline void expect_refused(const OperateResult& result, const std::string& message) {
  EXPECT_FALSE(result.success);
  EXPECT_EQ(result.message, message);
  EXPECT_EQ(result.data, Bytes{});
}

}  // namespace vantrel_can_bridge::workbench::test
