// Mutexes that cannot be locked, and what happens at the very moment of a lock.

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <future>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "tests/support/claw_fixture.hpp"
#include "tests/support/mutex_watch.hpp"
#include "tests/support/requests.hpp"

namespace vantrel_can_bridge::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kRecovering =
    "debug: tools_claw emergency recovered: recovering non-lowered motors";
constexpr const char* kNoLowerNeeded = "debug: tools_claw emergency recovered: no lower needed";

/// Lets lock number `failing` (from 0) of `robot` fail once with `error`.
void fail_lock(MutexWatch& watch, int failing, int error) {
  watch.on_lock([=]() mutable { return failing-- == 0 ? error : 0; });
}

/// The error number that `call` throws; 0 where it throws nothing.
int error_of(const std::function<void()>& call) {
  try {
    call();
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code().category(), std::generic_category());
    return error.code().value();
  }
  return 0;
}

// --- Locks that fail ---

class FailingLock : public ClawTest, public testing::WithParamInterface<LockedCall> {};

TEST_P(FailingLock, EndsTheCallWithItsErrorNumberBeforeAnythingIsDone) {
  config.valve_switch_delay_ms = 0;
  for (const int error : {EINVAL, EDEADLK, EAGAIN}) {
    MutexWatch watch(orchestrator());
    fail_lock(watch, 0, error);

    EXPECT_EQ(error_of([this] { GetParam().run(orchestrator()); }), error);
    EXPECT_EQ(journal.take(), Lines{});

    EXPECT_EQ(error_of([this] { GetParam().run(orchestrator()); }), 0);
    journal.take();
  }
}
INSTANTIATE_TEST_SUITE_P(Lights, FailingLock, testing::ValuesIn(light_calls()),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(Actuators, FailingLock, testing::ValuesIn(actuator_calls()),
                         [](const auto& row) { return row.param.name; });
INSTANTIATE_TEST_SUITE_P(
    Claw, FailingLock,
    testing::Values(LockedCall{"Execute",
                               [](auto& robot) { (void)robot.claw_execute(0, ClawState::Raised); }},
                    LockedCall{"State", [](auto& robot) { (void)robot.claw_state(0); }}),
    [](const auto& row) { return row.param.name; });

class FailingClawLock : public ClawTest {
 protected:
  FailingClawLock() {
    config.claw_motor_ids = {11};
    watch.emplace(orchestrator());
  }

  std::optional<MutexWatch> watch;
};

TEST_F(FailingClawLock, InAProcterRequestLeavesTheClawAloneAndTheActuatorsFree) {
  Request request;
  request.tools_claw_cmd = 1;
  request.tools_claw_select = 1;
  fail_lock(*watch, 1, EINVAL);

  EXPECT_EQ(error_of([&] { (void)orchestrator().handle_procter(request); }), EINVAL);

  const Lines lines = journal.take();
  EXPECT_EQ(lines.back(), "info: 收到爪子控制请求 工具11 伸出 cmd=1 duty=0");
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
  EXPECT_EQ(orchestrator().handle_procter(request), success());
}

TEST_F(FailingClawLock, InARecoveryLeavesTheClawsAloneAndTheStopCleared) {
  stop();
  journal.take();
  fail_lock(*watch, 0, EDEADLK);

  EXPECT_EQ(error_of([this] { orchestrator().on_emergency_recovered(); }), EDEADLK);

  EXPECT_EQ(journal.take(), Lines{kRecovering});
  orchestrator().on_emergency_recovered();
  EXPECT_EQ(journal.take(), Lines{kNoLowerNeeded});
  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Lowered), success());
}

TEST_F(FailingClawLock, WhereItIsOnlyTriedCountsAsAClawThatMoves) {
  ASSERT_EQ(orchestrator().claw_execute(0, ClawState::Lowered), success());
  journal.take();
  watch->on_try_lock([] { return EBUSY; });

  stop();
  orchestrator().on_emergency_recovered();

  EXPECT_EQ(journal.take(), (Lines{kStopped, kRecovering}));
}

class NoClaws : public ClawTest {};

TEST_F(NoClaws, AreRecoveredByDoingNothing) {
  config.claw_motor_ids = {};
  config.claw_recovery_budget_ms = 1;
  MutexWatch watch(orchestrator());
  watch.on_try_lock([] { return EBUSY; });
  watch.on_lock([this] {
    time.advance(1h);
    return 0;
  });

  stop();
  orchestrator().on_emergency_recovered();

  EXPECT_EQ(journal.take(), (Lines{kStopped, kRecovering}));
}

// --- Recoveries that wait for the lock ---

class RecoveryLock : public ClawTest {
 protected:
  RecoveryLock() {
    config.claw_motor_ids = {11};
    config.claw_recovery_budget_ms = 60;
    stop();
    journal.take();
    watch.emplace(orchestrator());
  }

  /// What a recovery leaves in the journal for which the lock takes `duration`.
  Lines recover_after(std::chrono::nanoseconds duration) {
    watch->on_lock([this, duration] {
      time.advance(duration);
      return 0;
    });
    orchestrator().on_emergency_recovered();
    return journal.take();
  }

  std::optional<MutexWatch> watch;
  const std::string over_budget = "warn: 工具爪恢复超过总预算 60ms，剩余电机保持待恢复。";
};

TEST_F(RecoveryLock, MovesNothingWhenTheWaitUsesUpTheBudget) {
  EXPECT_EQ(recover_after(60ms), (Lines{kRecovering, over_budget}));
  EXPECT_EQ(recover_after(60ms + 1ns), (Lines{kRecovering, over_budget}));
}

TEST_F(RecoveryLock, StartsAMoveWhenANanosecondIsLeft) {
  EXPECT_EQ(recover_after(60ms - 1ns), record(kRecovering, claw.move("claw_extend"), over_budget));
}

TEST_F(RecoveryLock, ReportsNoBudgetWhenThereIsNothingToLower) {
  ASSERT_EQ(recover_after(0ms).back(), over_budget);
  ASSERT_EQ(orchestrator().claw_state(0), ClawState::Lowered);  // yet the need is left

  EXPECT_EQ(recover_after(1h), Lines{kRecovering});
}

TEST_F(RecoveryLock, LetsAStopDuringTheWaitCountMoreThanTheBudget) {
  watch->on_lock([this] {
    time.advance(1h);
    stop();
    return 0;
  });

  orchestrator().on_emergency_recovered();

  EXPECT_EQ(journal.take(),
            (Lines{kRecovering, kStopped, "warn: 工具爪恢复期间再次收到急停，中止恢复。"}));
}

TEST_F(RecoveryLock, LeavesTheNeedBehindForAStopThatHasNotYetLookedForItself) {
  config.claw_recovery_budget_ms = 60'000;
  std::promise<void> stop_is_set;
  std::promise<void> may_look;
  std::thread stopping;
  watch->on_try_lock([&] {  // the stop is known, the states have not been looked at
    stop_is_set.set_value();
    may_look.get_future().wait();
    return 0;
  });
  journal.once("gateway: clean motor11 claw_extend []", [&] {
    stopping = std::thread([this] { orchestrator().on_emergency_active(); });
    stop_is_set.get_future().wait();
  });

  orchestrator().on_emergency_recovered();
  EXPECT_EQ(journal.take(), record(kRecovering, claw.write("claw_extend"), "wait: 50ms",
                                   "warn: 工具爪恢复期间再次收到急停，中止恢复。"));
  orchestrator().on_emergency_recovered();
  EXPECT_EQ(journal.take()[0], kRecovering);

  may_look.set_value();
  stopping.join();
}

}  // namespace
}  // namespace vantrel_can_bridge::test
