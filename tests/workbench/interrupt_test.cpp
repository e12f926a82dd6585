#include "workbench/interrupt.hpp"

#include <gtest/gtest.h>

#include <csignal>

#include "workbench/simulated_time.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

TEST(InterruptOnSignal, InterruptsTheRunThatIsUnderWay) {
  InterruptOnSignal interrupt;
  SimulatedTime time;
  interrupt.pass_to(&time);
  EXPECT_FALSE(interrupt.has_come());
  std::raise(SIGTERM);
  EXPECT_TRUE(interrupt.has_come());
  EXPECT_TRUE(time.interrupted());
  interrupt.pass_to(nullptr);
}

TEST(InterruptOnSignal, BetweenTwoRunsInterruptsTheNext) {
  InterruptOnSignal interrupt;
  {
    SimulatedTime first;
    interrupt.pass_to(&first);
    interrupt.pass_to(nullptr);
  }
  std::raise(SIGINT);
  EXPECT_TRUE(interrupt.has_come());
  SimulatedTime second;
  interrupt.pass_to(&second);
  EXPECT_TRUE(second.interrupted());
  interrupt.pass_to(nullptr);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
