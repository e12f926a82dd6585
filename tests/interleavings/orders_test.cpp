// Every order of a claw move, an emergency stop, its clearing and other requests that can
// make a difference, each forced to the event: who does what, until where, who is next.

#include <gtest/gtest.h>

#include "tests/interleavings/stage.hpp"
#include "tests/interleavings/staged_robot.hpp"

namespace vantrel_can_bridge::test {
namespace {

class Order : public testing::Test, protected StagedRobot {
 protected:
  const Stage::Job goes_on;  // a step without a job
  Stage stage;               // last: its actors end before the robot does
};

// --- A stop meets a move ---

TEST_F(Order, StopBeforeTheMoveHasTheLockRefusesIt) {
  stage.play({{"stop", stops(), "ends"}, {"move", raises(), "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends", "move: takes a lock",
                   "move: ends failure: tools_claw rejected: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
}

TEST_F(Order, StopBetweenTheLockAndTheFirstAttemptLetsNothingOut) {
  stage.play({{"move", raises(), "debug: tools_claw execute"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "move: ends failure: tools_claw aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

// The stop comes after the last look at the flag: this one write still goes out, and the
// board, which is stopped, is left to refuse it.
TEST_F(Order, StopBeforeTheWriteEndsTheMoveAtItsFirstPoll) {
  stage.play({{"move", raises(), "gateway: motor11 claw_extend"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
             "move: gateway: motor11 claw_extend",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends", "move: wait: 50ms",
             "move: debug: tools_claw attempt 1/2 failed: tools_claw aborted: selfclean_board in "
             "emergency",
             "move: warn: 工具11伸出第 1/2 次尝试失败：tools_claw aborted: selfclean_board in "
             "emergency",
             "move: wait: 300ms",
             "move: ends failure: tools_claw aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

TEST_F(Order, StopBetweenWriteAndFirstPollSendsNoQuery) {
  stage.play(
      {{"move", lowers(), "wait: 50ms"}, {"stop", stops(), "ends"}, {"move", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_home",
             "move: gateway: motor11 claw_home", "move: wait: 50ms",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "move: debug: tools_claw attempt 1/2 failed: tools_claw aborted: selfclean_board in "
             "emergency",
             "move: warn: 工具11收回第 1/2 次尝试失败：tools_claw aborted: selfclean_board in "
             "emergency",
             "move: wait: 300ms",
             "move: ends failure: tools_claw aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::LowerIncomplete);
}

TEST_F(Order, StopDuringAQueryEndsTheMoveAtTheNextPoll) {
  stage.play({{"move", raises(), "gateway: motor11 claw_query_state"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
             "move: gateway: motor11 claw_extend", "move: wait: 50ms",
             "move: gateway: motor11 claw_query_state",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends", "move: info: 工具11伸出动作中 action_state=1 position_state=0",
             "move: wait: 50ms",
             "move: debug: tools_claw attempt 1/2 failed: tools_claw aborted: selfclean_board in "
             "emergency",
             "move: warn: 工具11伸出第 1/2 次尝试失败：tools_claw aborted: selfclean_board in "
             "emergency",
             "move: wait: 300ms",
             "move: ends failure: tools_claw aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

// The claw was there before it could be stopped.
TEST_F(Order, StopDuringTheConfirmingQueryLetsTheMoveSucceed) {
  gateway->then({true, {}, {}});
  gateway->then({true, kRaised, {}});
  stage.play({{"move", raises(), "gateway: motor11 claw_query_state"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
                   "move: gateway: motor11 claw_extend", "move: wait: 50ms",
                   "move: gateway: motor11 claw_query_state",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends", "move: debug: tools_claw ok: motor11 raised",
                   "move: info: 工具11伸出成功", "move: ends success"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Raised);
}

TEST_F(Order, StopInTheRetryPauseIsSeenWhenThePauseIsOver) {
  gateway->then({false, {}, "bus off"});
  stage.play(
      {{"move", raises(), "wait: 300ms"}, {"stop", stops(), "ends"}, {"move", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{
          "move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
          "move: gateway: motor11 claw_extend",
          "move: debug: tools_claw attempt 1/2 failed: tools_claw claw_extend write failed: bus "
          "off",
          "move: warn: 工具11伸出第 1/2 次尝试失败：tools_claw claw_extend write failed: bus off",
          "move: wait: 300ms",
          "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
          "stop: ends", "move: ends failure: tools_claw aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

TEST_F(Order, StopInTheLastAttemptIsItsFailure) {
  config.claw_retry_count = 0;
  stage.play({{"move", lowers(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "debug: tools_claw attempt 1/1"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_home",
             "move: gateway: motor11 claw_home", "move: wait: 50ms",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "move: debug: tools_claw attempt 1/1 failed: tools_claw aborted: selfclean_board in "
             "emergency",
             "move: warn: 工具11收回第 1/1 次尝试失败：tools_claw aborted: selfclean_board in "
             "emergency",
             "move: warn: 工具11收回失败：tools_claw claw_home failed after 1 attempts: tools_claw "
             "aborted: selfclean_board in emergency",
             "move: ends failure: tools_claw claw_home failed after 1 attempts: tools_claw "
             "aborted: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::LowerIncomplete);
}

// The outcome is recorded, the lock not yet free: the stop cannot look at the states and
// takes the claw for one to be lowered, here wrongly.
TEST_F(Order, StopAfterTheConfirmationFindsTheLockBusy) {
  stage.play({{"move", lowers(), "debug: tools_claw ok"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"},
              {"clear", clears(), "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_home",
                   "move: gateway: motor11 claw_home", "move: wait: 50ms",
                   "move: gateway: motor11 claw_query_state",
                   "move: info: 工具11收回动作中 action_state=1 position_state=0",
                   "move: wait: 50ms", "move: gateway: motor11 claw_query_state",
                   "move: debug: tools_claw ok: motor11 lowered",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends", "move: info: 工具11收回成功", "move: ends success",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: takes a lock", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

TEST_F(Order, StopWhileClawStateHoldsTheLockTakesTheClawForNotLowered) {
  has_moved_to(ClawState::Lowered);
  stage.play({{"ask", asks(), "takes a lock"},
              {"stop", stops(), "ends"},
              {"ask", goes_on, "ends"},
              {"stop", stops(), "ends"}});  // and once more, with the lock free

  EXPECT_EQ(stage.journal(),
            (Lines{"ask: takes a lock",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends", "ask: ends 2",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=false",
                   "stop: ends"}));
}

TEST_F(Order, ClawStateWaitsForARunningMove) {
  stage.play({{"move", raises(), "wait: 50ms"},
              {"ask", asks(), "waits for a lock"},
              {"move", goes_on, "debug: tools_claw ok"},
              {"ask", goes_on, "waits for a lock"},  // recorded, but not yet to be seen
              {"move", goes_on, "ends"},
              {"ask", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
                   "move: gateway: motor11 claw_extend", "move: wait: 50ms",
                   "ask: waits for a lock", "move: gateway: motor11 claw_query_state",
                   "move: info: 工具11伸出动作中 action_state=1 position_state=0",
                   "move: wait: 50ms", "move: gateway: motor11 claw_query_state",
                   "move: debug: tools_claw ok: motor11 raised", "move: info: 工具11伸出成功",
                   "move: ends success", "ask: takes a lock", "ask: ends 1"}));
}

// --- A stop that clears before the move has looked ---

// A move looks at the flag once a poll. A stop that comes and goes in between is not
// noticed: the move runs to its end as if nothing had been, while the recovery waits for
// it, and then undoes it.
TEST_F(Order, StopAndClearWithinOnePollIntervalLeaveTheMoveRunning) {
  stage.play({{"move", raises(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"clear", clears(), "waits for a lock"},
              {"move", goes_on, "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"move: takes a lock",
                   "move: debug: tools_claw execute: motor11 op=claw_extend",
                   "move: gateway: motor11 claw_extend",
                   "move: wait: 50ms",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: waits for a lock",
                   "move: gateway: motor11 claw_query_state",
                   "move: info: 工具11伸出动作中 action_state=1 position_state=0",
                   "move: wait: 50ms",
                   "move: gateway: motor11 claw_query_state",
                   "move: debug: tools_claw ok: motor11 raised",
                   "move: info: 工具11伸出成功",
                   "move: ends success",
                   "clear: takes a lock",
                   "clear: gateway: motor11 claw_home",
                   "clear: wait: 50ms",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: info: 工具11收回动作中 action_state=1 position_state=0",
                   "clear: wait: 50ms",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// The same in the pause between two attempts: the second attempt is made.
TEST_F(Order, StopAndClearWithinTheRetryPauseLeaveTheRetriesRunning) {
  gateway->then({false, {}, "bus off"});
  stage.play({{"move", lowers(), "wait: 300ms"},
              {"stop", stops(), "ends"},
              {"clear", clears(), "waits for a lock"},
              {"move", goes_on, "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock",
             "move: debug: tools_claw execute: motor11 op=claw_home",
             "move: gateway: motor11 claw_home",
             "move: debug: tools_claw attempt 1/2 failed: tools_claw claw_home write failed: bus "
             "off",
             "move: warn: 工具11收回第 1/2 次尝试失败：tools_claw claw_home write failed: bus off",
             "move: wait: 300ms",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: waits for a lock",
             "move: gateway: motor11 claw_home",
             "move: wait: 50ms",
             "move: gateway: motor11 claw_query_state",
             "move: info: 工具11收回动作中 action_state=1 position_state=0",
             "move: wait: 50ms",
             "move: gateway: motor11 claw_query_state",
             "move: debug: tools_claw ok: motor11 lowered",
             "move: info: 工具11收回成功",
             "move: ends success",
             "clear: takes a lock",
             "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// --- Recoveries ---

// The budget runs from the clearing, not from the lock: what the running move takes is
// gone when the recovery gets its turn.
TEST_F(Order, RecoveryThatWaitedForAMovePastItsBudgetMovesNothing) {
  config.claw_recovery_budget_ms = 100;
  stage.play({{"move", raises(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"clear", clears(), "waits for a lock"},
              {"move", goes_on, "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"move: takes a lock", "move: debug: tools_claw execute: motor11 op=claw_extend",
             "move: gateway: motor11 claw_extend", "move: wait: 50ms",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: waits for a lock", "move: gateway: motor11 claw_query_state",
             "move: info: 工具11伸出动作中 action_state=1 position_state=0", "move: wait: 50ms",
             "move: gateway: motor11 claw_query_state",
             "move: debug: tools_claw ok: motor11 raised", "move: info: 工具11伸出成功",
             "move: ends success", "clear: takes a lock",
             "clear: warn: 工具爪恢复超过总预算 100ms，剩余电机保持待恢复。", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Raised);
}

// The raise was confirmed, but what it left behind after the stop is anyone's guess: the
// claw keeps the state that it had.
TEST_F(Order, StopDuringTheConfirmationOfARecoverysRaiseDoesNotRecordIt) {
  gateway->then({true, {}, {}});
  gateway->then({true, kRaised, {}});
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "gateway: motor11 claw_query_state"},
              {"stop", stops(), "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: takes a lock", "clear: gateway: motor11 claw_extend", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends", "clear: warn: 工具爪恢复期间再次收到急停，中止恢复。", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
}

TEST_F(Order, StopBetweenARecoverysRaiseAndLowerEndsItAtTheFirstPoll) {
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "gateway: motor11 claw_home"},
              {"stop", stops(), "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: takes a lock", "clear: gateway: motor11 claw_extend", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state",
             "clear: info: 工具11伸出动作中 action_state=1 position_state=0", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state", "clear: gateway: motor11 claw_home",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends", "clear: wait: 50ms",
             "clear: warn: 工具爪恢复期间再次收到急停，中止恢复。", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Raised);
}

TEST_F(Order, SecondStopDuringARecoveryIsRecoveredFromWhenItClears) {
  has_moved_to(ClawState::Raised);
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"clear", goes_on, "ends"},
              {"clear", clears(), "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: takes a lock", "clear: gateway: motor11 claw_home", "clear: wait: 50ms",
             "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends", "clear: warn: 工具爪恢复期间再次收到急停，中止恢复。", "clear: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: takes a lock", "clear: gateway: motor11 claw_home", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state",
             "clear: info: 工具11收回动作中 action_state=1 position_state=0", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// The second clearing finds nothing left to take over.
TEST_F(Order, ClearingTwiceRecoversOnce) {
  has_moved_to(ClawState::Raised);
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"clear again", clears(), "ends"},
              {"clear", goes_on, "ends"}});

  EXPECT_EQ(
      stage.journal(),
      (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
             "stop: ends",
             "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
             "clear: takes a lock", "clear: gateway: motor11 claw_home", "clear: wait: 50ms",
             "clear again: debug: tools_claw emergency recovered: no lower needed",
             "clear again: ends", "clear: gateway: motor11 claw_query_state",
             "clear: info: 工具11收回动作中 action_state=1 position_state=0", "clear: wait: 50ms",
             "clear: gateway: motor11 claw_query_state", "clear: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// Stop and clear within one poll interval of a recovery: the first recovery does not
// notice and finishes; the second waits for it and finds all claws lowered.
TEST_F(Order, TwoRecoveriesAtOnceRunOneAfterTheOther) {
  has_moved_to(ClawState::Raised);
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"clear again", clears(), "waits for a lock"},
              {"clear", goes_on, "ends"},
              {"clear again", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: takes a lock", "clear: gateway: motor11 claw_home", "clear: wait: 50ms",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear again: debug: tools_claw emergency recovered: recovering non-lowered "
                   "motors",
                   "clear again: waits for a lock", "clear: gateway: motor11 claw_query_state",
                   "clear: info: 工具11收回动作中 action_state=1 position_state=0",
                   "clear: wait: 50ms", "clear: gateway: motor11 claw_query_state", "clear: ends",
                   "clear again: takes a lock", "clear again: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// The first recovery notices the stop, gives the claws back, and the second, already
// waiting, takes them over.
TEST_F(Order, SecondRecoveryTakesOverFromOneThatWasStopped) {
  has_moved_to(ClawState::Raised);
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"stop", stops(), "ends"},
              {"clear", goes_on, "warn: "},
              {"clear again", clears(), "waits for a lock"},
              {"clear", goes_on, "ends"},
              {"clear again", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: takes a lock",
                   "clear: gateway: motor11 claw_home",
                   "clear: wait: 50ms",
                   "stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: warn: 工具爪恢复期间再次收到急停，中止恢复。",
                   "clear again: debug: tools_claw emergency recovered: recovering non-lowered "
                   "motors",
                   "clear again: waits for a lock",
                   "clear: ends",
                   "clear again: takes a lock",
                   "clear again: gateway: motor11 claw_home",
                   "clear again: wait: 50ms",
                   "clear again: gateway: motor11 claw_query_state",
                   "clear again: info: 工具11收回动作中 action_state=1 position_state=0",
                   "clear again: wait: 50ms",
                   "clear again: gateway: motor11 claw_query_state",
                   "clear again: ends"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

TEST_F(Order, RequestDuringARecoveryIsCarriedOutAfterIt) {
  has_moved_to(ClawState::Raised);
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"move", raises(), "waits for a lock"},
              {"clear", goes_on, "ends"},
              {"move", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: takes a lock",
                   "clear: gateway: motor11 claw_home",
                   "clear: wait: 50ms",
                   "move: waits for a lock",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: info: 工具11收回动作中 action_state=1 position_state=0",
                   "clear: wait: 50ms",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: ends",
                   "move: takes a lock",
                   "move: debug: tools_claw execute: motor11 op=claw_extend",
                   "move: gateway: motor11 claw_extend",
                   "move: wait: 50ms",
                   "move: gateway: motor11 claw_query_state",
                   "move: info: 工具11伸出动作中 action_state=1 position_state=0",
                   "move: wait: 50ms",
                   "move: gateway: motor11 claw_query_state",
                   "move: debug: tools_claw ok: motor11 raised",
                   "move: info: 工具11伸出成功",
                   "move: ends success"}));
}

// --- What a waiting procter request holds up ---

// It waits for the recovery with the actuator lock held: other actuator requests wait with
// it, lights do not.
TEST_F(Order, ProcterThatWaitsForARecoveryHoldsUpActuatorsButNoLights) {
  has_moved_to(ClawState::Raised);
  Request claw_up;
  claw_up.tools_claw_cmd = 1;
  claw_up.tools_claw_select = 1;
  Request wheels;
  wheels.cmd = 8;
  Request fill_light;
  fill_light.cmd = 9;
  fill_light.rgb = 60;
  stage.play({{"stop", stops(), "ends"},
              {"clear", clears(), "wait: 50ms"},
              {"procter", requests(claw_up), "waits for a lock"},
              {"wheels", requests(wheels), "waits for a lock"},
              {"light", requests(fill_light), "ends"},
              {"clear", goes_on, "ends"},
              {"wheels", goes_on, "waits for a lock"},
              {"procter", goes_on, "ends"},
              {"wheels", goes_on, "ends"}});

  EXPECT_EQ(stage.journal(),
            (Lines{"stop: debug: tools_claw emergency active (selfclean_board): need_lower=true",
                   "stop: ends",
                   "clear: debug: tools_claw emergency recovered: recovering non-lowered motors",
                   "clear: takes a lock",
                   "clear: gateway: motor11 claw_home",
                   "clear: wait: 50ms",
                   "procter: debug: dispatch cmd=0",
                   "procter: takes a lock",
                   "procter: debug: CMD_PROCTER: tools_select=0 tools_cmd=0 tools_duty=0 "
                   "clean_select=0 clean_duty=0 dirty_select=0 dirty_duty=0",
                   "procter: debug: tools_clean skipped: empty command",
                   "procter: debug: clean_pump skipped: empty command",
                   "procter: debug: dirty_pump skipped: empty command",
                   "procter: debug: CMD_PROCTER tools_claw: cmd=1 duty=0 select=1",
                   "procter: info: 收到爪子控制请求 工具11 伸出 cmd=1 duty=0",
                   "procter: waits for a lock",
                   "wheels: debug: dispatch cmd=8",
                   "wheels: waits for a lock",
                   "light: debug: dispatch cmd=9",
                   "light: takes a lock",
                   "light: debug: CMD_FILL_LIGHT: rgb=60",
                   "light: gateway: fill_light set_brightness",
                   "light: ends success",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: info: 工具11收回动作中 action_state=1 position_state=0",
                   "clear: wait: 50ms",
                   "clear: gateway: motor11 claw_query_state",
                   "clear: ends",
                   "procter: takes a lock",
                   "procter: debug: tools_claw execute: motor11 op=claw_extend",
                   "procter: gateway: motor11 claw_extend",
                   "procter: wait: 50ms",
                   "procter: gateway: motor11 claw_query_state",
                   "procter: info: 工具11伸出动作中 action_state=1 position_state=0",
                   "procter: wait: 50ms",
                   "procter: gateway: motor11 claw_query_state",
                   "procter: debug: tools_claw ok: motor11 raised",
                   "procter: info: 工具11伸出成功",
                   "procter: ends success",
                   "wheels: takes a lock",
                   "wheels: debug: CMD_WHEEL_CONTROL: wheel_cmd=0 mapped_value=unlock "
                   "bottom_motor_stop_bit=5",
                   "wheels: gateway: power_control set_bit",
                   "wheels: ends success"}));
}

// A stop reaches a procter request that waits behind another move: it is then refused.
TEST_F(Order, StopWhileAProcterWaitsBehindAMoveRefusesItsClaw) {
  Request claw_down;
  claw_down.tools_claw_cmd = 3;
  claw_down.tools_claw_select = 1;
  stage.play({{"move", raises(), "gateway: motor11 claw_extend"},
              {"procter", requests(claw_down), "waits for a lock"},
              {"stop", stops(), "ends"},
              {"move", goes_on, "ends"},
              {"procter", goes_on, "ends"}});

  const Lines journal = stage.journal();
  ASSERT_GE(journal.size(), 2U);
  EXPECT_EQ(Lines(journal.end() - 2, journal.end()),
            (Lines{"procter: takes a lock",
                   "procter: ends failure: tools_claw rejected: selfclean_board in emergency"}));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

}  // namespace
}  // namespace vantrel_can_bridge::test
