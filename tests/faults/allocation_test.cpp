// Memory runs out at the n-th allocation: every allocation of every command, of both
// emergency events and of the constructor.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "tests/faults/allocations.hpp"
#include "tests/faults/commands.hpp"

namespace vantrel_can_bridge::test {
namespace {

/// Runs `action` with its `n`-th allocation failing. Whether it had that many; if so,
/// `std::bad_alloc` must have come out.
template <typename Action>
bool fails_at(std::size_t n, const Action& action) {
  bool came_out = false;
  try {
    const FailAllocation failing(n);
    action();
  } catch (const std::bad_alloc&) {
    came_out = true;
  }
  EXPECT_EQ(came_out, FailAllocation::happened()) << "the failure was swallowed";
  return came_out;
}

class AllocationFault : public testing::TestWithParam<Command> {
 protected:
  void SetUp() override {
    Robot robot;
    GetParam().set_up(robot);
    (void)GetParam().run(robot);
    undisturbed_calls = robot.calls();
  }

  /// A state that the claw had, has confirmed, or was given up in.
  static bool is_plausible(std::int32_t state, std::int32_t before, const Lines& calls) {
    const bool moved = std::any_of(calls.begin(), calls.end(), [](const std::string& call) {
      return call.find("claw_") != std::string::npos;
    });
    return state == before || (moved && state != number(ClawState::Unknown));
  }

  bool run_with_failing_allocation(std::size_t n) const {
    Robot robot;
    GetParam().set_up(robot);
    const States before = robot.states();

    const bool failed = fails_at(n, [&robot] { (void)GetParam().run(robot); });

    const Lines calls = robot.calls();
    EXPECT_LE(calls.size(), undisturbed_calls.size());
    EXPECT_TRUE(std::equal(calls.begin(), calls.end(), undisturbed_calls.begin()));
    const States after = robot.states();
    for (std::size_t claw = 0; claw < after.size(); ++claw) {
      EXPECT_TRUE(is_plausible(after[claw], before[claw], calls))
          << "claw " << claw << " went from " << before[claw] << " to " << after[claw];
    }
    robot.expect_to_work();
    return failed;
  }

  Lines undisturbed_calls;
};

TEST_P(AllocationFault, LeavesAsBadAllocAndLeavesNothingBehind) {
  std::size_t n = 1;
  bool failed = true;
  for (; failed && !HasFailure(); ++n) {
    const long live = live_allocations();
    failed = run_with_failing_allocation(n);
    EXPECT_EQ(live_allocations(), live) << "leaked";
    EXPECT_FALSE(HasFailure()) << "with allocation " << n;
  }
  EXPECT_GT(n, 2U) << "nothing was allocated";
}

INSTANTIATE_TEST_SUITE_P(Command, AllocationFault, testing::ValuesIn(every_course()),
                         [](const auto& command) { return command.param.name; });

/// Constructs a robot with the `n`-th allocation failing; whether there was one.
bool construct(Journal& journal, std::size_t n) {
  auto gateway = std::make_shared<RecordingGateway>(journal);
  const std::weak_ptr<RecordingGateway> taken_over = gateway;
  const auto captured = std::make_shared<int>(0);
  const LogCallback callback = [captured](const std::string&) {};
  BottomCompatConfig config = reference_config();
  LogCallback debug = callback;
  LogCallback info = callback;
  LogCallback warn = callback;

  const bool failed = fails_at(n, [&] {
    const BottomCompatOrchestrator robot(std::move(gateway), std::move(config), std::move(debug),
                                         std::move(info), std::move(warn));
    EXPECT_EQ(captured.use_count(), 2 + 3);
  });

  EXPECT_TRUE(taken_over.expired());
  EXPECT_EQ(captured.use_count(), 2) << "a callback is still there";
  return failed;
}

TEST(AllocationFaultInConstructor, ReleasesWhatWasTakenOver) {
  Journal journal;
  std::size_t n = 0;
  bool failed = true;
  while (failed && !testing::Test::HasFailure()) {
    const long live = live_allocations();
    failed = construct(journal, ++n);
    EXPECT_EQ(live_allocations(), live) << "leaked";
  }
  EXPECT_EQ(n, 4U) << "allocated are the recorded states and the two texts of a status query";
}

}  // namespace
}  // namespace vantrel_can_bridge::test
