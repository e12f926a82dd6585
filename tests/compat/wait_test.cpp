#include "compat/wait.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>

#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test {
namespace {

using namespace std::chrono_literals;
using business_layer::bottom_compat::Deadline;
using business_layer::bottom_compat::wait_for_ms;

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

class OnVirtualTime : public testing::Test {
 protected:
  Journal journal;
  VirtualTime time{journal};
};

// --- Waits ---

struct Wait {
  const char* name;
  std::int64_t milliseconds;
  Lines sleeps;
};
void PrintTo(const Wait& row, std::ostream* out) { *out << row.name; }

class WaitForMs : public OnVirtualTime, public testing::WithParamInterface<Wait> {};

TEST_P(WaitForMs, SleepsOnceForExactlyThatLongAndNotAtAllForZeroOrLess) {
  wait_for_ms(GetParam().milliseconds);

  EXPECT_EQ(journal.take(), GetParam().sleeps);
}
INSTANTIATE_TEST_SUITE_P(Durations, WaitForMs,
                         testing::Values(Wait{"Smallest", kMin, {}},
                                         Wait{"MinusOneSecond", -1000, {}},
                                         Wait{"MinusOne", -1, {}}, Wait{"Zero", 0, {}},
                                         Wait{"One", 1, {"wait: 1ms"}},
                                         Wait{"JustBelowASecond", 999, {"wait: 999ms"}},
                                         Wait{"OneSecond", 1000, {"wait: 1000ms"}},
                                         Wait{"JustAboveASecond", 1001, {"wait: 1001ms"}},
                                         Wait{"SecondAndAHalf", 1500, {"wait: 1500ms"}},
                                         Wait{"Month", 2'678'400'000, {"wait: 2678400000ms"}},
                                         Wait{"Largest", kMax, {"wait: 9223372036854775807ms"}}),
                         [](const auto& row) { return row.param.name; });

class InterruptedWait : public OnVirtualTime {};

TEST_F(InterruptedWait, GoesOnForTheTimeThatRemains) {
  time.interrupt_next_sleep_after(400ms);

  wait_for_ms(1500);

  EXPECT_EQ(journal.take(), (Lines{"wait: 1500ms", "wait: 1100ms"}));
  EXPECT_EQ(time.elapsed(), 1500ms);
}

TEST_F(InterruptedWait, GoesOnAsOftenAsItIsInterrupted) {
  time.interrupt_next_sleep_after(0ns);
  time.interrupt_next_sleep_after(1ns);
  time.interrupt_next_sleep_after(1s + 1ns);

  wait_for_ms(2000);

  EXPECT_EQ(journal.take(), (Lines{"wait: 2000ms", "wait: 2000ms", "wait: 1s+999999999ns",
                                   "wait: 0s+999999998ns"}));
  EXPECT_EQ(time.elapsed(), 2s);
}

TEST_F(InterruptedWait, EndsWhenTheSleepFailsForAnotherReason) {
  for (const int error : {EINVAL, EFAULT, ENOSYS}) {
    time.fail_next_sleep(error);

    wait_for_ms(200);

    EXPECT_EQ(journal.take(), Lines{"wait: 200ms"});
  }
}

TEST_F(InterruptedWait, IsNotRepeatedForAnOlderInterruption) {
  errno = EINTR;

  wait_for_ms(200);

  EXPECT_EQ(journal.take(), Lines{"wait: 200ms"});
}

// --- Deadlines ---

class DeadlineTest : public OnVirtualTime {
 protected:
  /// Milliseconds that a deadline can lie ahead without leaving the clock's range.
  static std::int64_t left() {
    const auto now = std::chrono::steady_clock::now();
    return std::chrono::floor<std::chrono::milliseconds>(
               std::chrono::steady_clock::time_point::max() - now)
        .count();
  }
};

TEST_F(DeadlineTest, IsReachedExactlyWhenItsTimeHasPassed) {
  const Deadline deadline(1500);

  EXPECT_FALSE(deadline.reached());
  time.advance(1500ms - 1ns);
  EXPECT_FALSE(deadline.reached());
  time.advance(1ns);
  EXPECT_TRUE(deadline.reached());
  time.advance(1h);
  EXPECT_TRUE(deadline.reached());
}

TEST_F(DeadlineTest, IsReachedAtOnceWhenNoTimeIsGiven) { EXPECT_TRUE(Deadline(0).reached()); }

TEST_F(DeadlineTest, CountsFromItsConstruction) {
  time.advance(1h);
  const Deadline deadline(10);

  EXPECT_FALSE(deadline.reached());
  time.advance(10ms);
  EXPECT_TRUE(deadline.reached());
}

TEST_F(DeadlineTest, IsReachedAtTheEndOfTheClockWhenItLiesWithin) {
  const Deadline last(left());
  const Deadline last_but_one(left() - 1);
  time.advance(std::chrono::milliseconds(left()) - 1ns);
  EXPECT_FALSE(last.reached());
  EXPECT_TRUE(last_but_one.reached());

  time.advance(std::chrono::nanoseconds::max());

  EXPECT_TRUE(last.reached());
}

TEST_F(DeadlineTest, IsNeverReachedBeyondTheClockEvenAtItsEnd) {
  const Deadline just_beyond(left() + 1);
  const Deadline far_beyond(kMax);

  time.advance(std::chrono::nanoseconds::max());

  EXPECT_FALSE(just_beyond.reached());
  EXPECT_FALSE(far_beyond.reached());
  EXPECT_FALSE(Deadline(1).reached());
}

}  // namespace
}  // namespace vantrel_can_bridge::test
