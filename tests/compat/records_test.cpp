// The records that the component shares with its service: what a fresh one holds.

#include <gtest/gtest.h>

#include <cstdint>
#include <type_traits>

#include "compat/bottom_compat_config.hpp"
#include "compat/bottom_compat_reply.hpp"
#include "compat/claw_state.hpp"
#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {
namespace {

TEST(Config, HoldsNothingUntilItIsFilled) {
  const BottomCompatConfig config;

  test::simulation::visit_config(config, [](const char* name, const auto& value) {
    EXPECT_EQ(value, std::decay_t<decltype(value)>{}) << name;
  });
}

TEST(Reply, IsAFailureUntilItIsFilled) {
  const BottomCompatReply reply;

  EXPECT_FALSE(reply.success);
  EXPECT_EQ(reply.code, 1);
  EXPECT_EQ(reply.message, "");
}

TEST(ClawStateNumbers, AreThoseOfTheRobotsLogs) {
  EXPECT_EQ(static_cast<std::int32_t>(ClawState::Unknown), 0);
  EXPECT_EQ(static_cast<std::int32_t>(ClawState::Raised), 1);
  EXPECT_EQ(static_cast<std::int32_t>(ClawState::Lowered), 2);
  EXPECT_EQ(static_cast<std::int32_t>(ClawState::RaiseIncomplete), 3);
  EXPECT_EQ(static_cast<std::int32_t>(ClawState::LowerIncomplete), 4);
}

}  // namespace
}  // namespace vantrel_can_bridge::business_layer::bottom_compat
