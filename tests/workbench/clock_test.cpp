#include "workbench/clock.hpp"

#include <gtest/gtest.h>

#include "tests/workbench/manual_clock.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;

TEST(SteadyClock, ReadsTheMachinesMonotonicClock) {
  const TimePoint before = std::chrono::steady_clock::now();
  const TimePoint now = SteadyClock().now();
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::chrono::steady_clock::now());
}

TEST(PacedClock, FollowsItsBaseUpToTheLongestStep) {
  const auto base = std::make_shared<ManualClock>();
  PacedClock clock(base, 100ms);
  const TimePoint start = base->now();
  EXPECT_EQ(clock.now(), start);

  base->advance(99ms);
  EXPECT_EQ(clock.now(), start + 99ms);
  base->advance(100ms);
  EXPECT_EQ(clock.now(), start + 199ms);
}

TEST(PacedClock, LosesWhatIsLongerThanItsLongestStep) {
  const auto base = std::make_shared<ManualClock>();
  PacedClock clock(base, 100ms);
  const TimePoint start = base->now();

  base->advance(24h);
  EXPECT_EQ(clock.now(), start + 100ms);
  EXPECT_EQ(clock.now(), start + 100ms);
  base->advance(10ms);
  EXPECT_EQ(clock.now(), start + 110ms);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
