// A thread that is suspended, boards that take hours, sleeps that fail or are interrupted a
// thousand times a second: what becomes of moves, delays and recoveries.

#include <gtest/gtest.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "tests/faults/commands.hpp"

namespace vantrel_can_bridge::test {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

bool is_wait(const std::string& line) { return line.compare(0, 6, "wait: ") == 0; }
bool is_call(const std::string& line) { return line.compare(0, 9, "gateway: ") == 0; }

/// The journal without the lines that only repeat the gateway's.
Lines course(const Robot& robot) {
  Lines lines = robot.journal.lines();
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [](const std::string& line) {
                               return line.compare(0, 15, "debug: operate ") == 0;
                             }),
              lines.end());
  return lines;
}

/// Suspends the thread in its `n`-th sleep (from 1): as it wakes up, `late` has passed on top.
void suspend_in_sleep(Robot& robot, std::size_t n, std::chrono::nanoseconds late) {
  robot.time.on_sleep([&robot, n, late, sleeps = std::size_t{0}]() mutable {
    if (++sleeps == n) {
      robot.time.advance(late);
    }
  });
}

// --- Suspended threads ---

TEST(SuspendedThread, AsksOnceMoreAndThenGivesTheAttemptUp) {
  Robot robot;
  suspend_in_sleep(robot, 1, hours(5));

  EXPECT_EQ(robot->claw_execute(0, ClawState::Raised), success());

  EXPECT_EQ(course(robot),
            (Lines{"debug: tools_claw execute: motor11 op=claw_extend",
                   "gateway: clean motor11 claw_extend []", "wait: 50ms",
                   "gateway: clean motor11 claw_query_state []",
                   "info: 工具11伸出动作中 action_state=1 position_state=0",
                   "debug: tools_claw attempt 1/3 failed: tools_claw claw_extend timeout after "
                   "400ms",
                   "warn: 工具11伸出第 1/3 次尝试失败：tools_claw claw_extend timeout after 400ms",
                   "wait: 300ms", "gateway: clean motor11 claw_extend []", "wait: 50ms",
                   "gateway: clean motor11 claw_query_state []",
                   "info: 工具11伸出动作中 action_state=1 position_state=0", "wait: 50ms",
                   "gateway: clean motor11 claw_query_state []",
                   "debug: tools_claw ok: motor11 raised", "info: 工具11伸出成功"}));
}

TEST(SuspendedThread, TakesAConfirmationLongAfterTheDeadline) {
  Robot robot;
  suspend_in_sleep(robot, 2, hours(5));

  EXPECT_EQ(robot->claw_execute(0, ClawState::Raised), success());

  EXPECT_EQ(robot.calls(), (Lines{"gateway: clean motor11 claw_extend []",
                                  "gateway: clean motor11 claw_query_state []",
                                  "gateway: clean motor11 claw_query_state []"}));
}

// 50 ms asked for, a deadline of 400 ms.
TEST(SuspendedThread, GivesUpAtTheDeadlineAndNotBefore) {
  for (const bool at_deadline : {false, true}) {
    Robot robot;
    suspend_in_sleep(robot, 1, milliseconds(350) - std::chrono::nanoseconds(at_deadline ? 0 : 1));

    EXPECT_EQ(robot->claw_execute(0, ClawState::Raised), success());

    const Lines calls = robot.calls();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "gateway: clean motor11 claw_extend []"),
              at_deadline ? 2 : 1);
  }
}

TEST(SuspendedThread, StartsThePumpHoweverLateTheValveDelayEnds) {
  Robot robot;
  suspend_in_sleep(robot, 1, hours(5));
  Request request;
  request.clean_select = request.clean_cmd = request.clean_duty = 1;

  EXPECT_EQ(robot->handle(request), success());

  EXPECT_EQ(robot.calls(), (Lines{"gateway: clean valve set_valves [0x03 0x01]",
                                  "gateway: clean pump set_duty [0x01 0x01 0x00]"}));
}

// Whichever sleep of a recovery is the long one: the query after it is the last that is
// sent, the budget is reported as exceeded, and the next clearing does the rest.
TEST(SuspendedThread, EndsARecoveryAfterTheMoveInWhichItWasSuspended) {
  Lines undisturbed;
  {
    Robot robot;
    stop(robot);
    robot.start_watching();
    clear(robot);
    undisturbed = robot.journal.lines();
  }
  const auto sleeps =
      static_cast<std::size_t>(std::count_if(undisturbed.begin(), undisturbed.end(), is_wait));
  ASSERT_EQ(sleeps, 16U);  // four claws, two moves, two polls

  auto line = undisturbed.begin();
  for (std::size_t n = 1; n <= sleeps; ++n) {
    SCOPED_TRACE("suspended in sleep " + std::to_string(n));
    line = std::find_if(std::find_if(line, undisturbed.end(), is_wait), undisturbed.end(), is_call);
    Lines calls(undisturbed.begin(), line + 1);
    calls.erase(std::remove_if(calls.begin(), calls.end(), std::not_fn(is_call)), calls.end());
    Robot robot;
    stop(robot);
    robot.start_watching();
    suspend_in_sleep(robot, n, hours(5));

    clear(robot);

    EXPECT_EQ(robot.calls(), calls);
    EXPECT_EQ(robot.journal.lines().back(),
              "warn: 工具爪恢复超过总预算 60000ms，剩余电机保持待恢复。");
    clear(robot);  // without a new stop: what was left over is remembered
    EXPECT_EQ(robot.states(), States(4, number(ClawState::Lowered)));
    robot.expect_to_work();
  }
}

// --- Slow boards ---

// The deadline of a move runs from the end of its write; a query that takes hours is the
// only one of its attempt.
TEST(SlowBoards, TimeEachAttemptOutAfterASingleQuery) {
  Robot robot;
  robot.fault = [&robot](const Operation&, const Robot::Boards& boards) {
    robot.time.advance(hours(2));
    return boards();
  };

  EXPECT_EQ(robot->claw_execute(0, ClawState::Lowered),
            failure("tools_claw claw_home failed after 3 attempts: tools_claw claw_home timeout "
                    "after 400ms"));

  const Lines attempt = {"gateway: clean motor11 claw_home []",
                         "gateway: clean motor11 claw_query_state []"};
  EXPECT_EQ(robot.calls(),
            (Lines{attempt[0], attempt[1], attempt[0], attempt[1], attempt[0], attempt[1]}));
  EXPECT_EQ(robot.time.elapsed(), hours(12) + milliseconds(3 * 50 + 2 * 300));
}

// --- Sleeps that fail ---

// With a sleep that returns at once the polls come as fast as the board answers, here one
// in 7 ms: the 58th ends after the deadline of 400 ms.
TEST(FailingSleep, StillEndsAMoveAtItsDeadline) {
  Robot robot;
  robot.fault = [&robot](const Operation& operation, const Robot::Boards&) {
    robot.time.fail_next_sleep(EINVAL);
    robot.time.advance(milliseconds(operation.op == "claw_query_state" ? 7 : 0));
    return OperateResult{true, kMoving, {}};
  };

  EXPECT_EQ(robot->claw_try_once(0, ClawState::Raised),
            failure("tools_claw claw_extend timeout after 400ms"));

  const Lines calls = robot.calls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "gateway: clean motor11 claw_query_state []"),
            58);
  EXPECT_EQ(robot.time.elapsed(), milliseconds(58 * 7));
}

TEST(FailingSleep, DoesNotKeepThePumpFromItsValves) {
  for (const int error : {EINVAL, EFAULT}) {
    Robot robot;
    robot.time.fail_next_sleep(error);
    Request request;
    request.clean_select = 1;

    EXPECT_EQ(robot->handle(request), success());

    EXPECT_EQ(robot.calls(), (Lines{"gateway: clean pump set_duty [0x01 0x00 0x00]",
                                    "gateway: clean valve set_valves [0x03 0x00]"}));
    EXPECT_EQ(robot.time.elapsed(), milliseconds(0)) << "the failed sleep was repeated";
  }
}

// --- Signals ---

std::atomic<int> signals{0};

/// A signal in each millisecond, with a handler that does not restart what it interrupts.
class SignalStorm {
 public:
  SignalStorm() {
    struct sigaction action {};
    action.sa_handler = [](int) { ++signals; };
    sigaction(SIGALRM, &action, &before_);
    set_interval(1000);
  }
  SignalStorm(const SignalStorm&) = delete;
  SignalStorm& operator=(const SignalStorm&) = delete;
  ~SignalStorm() {
    set_interval(0);
    sigaction(SIGALRM, &before_, nullptr);
  }

 private:
  static void set_interval(suseconds_t microseconds) {
    const itimerval timer{{0, microseconds}, {0, microseconds}};
    setitimer(ITIMER_REAL, &timer, nullptr);
  }

  struct sigaction before_ {};
};

// In real time: a request with both valve delays and a claw move.
class SignalsDuringAProcterRequest : public OrchestratorTest {
 protected:
  SignalsDuringAProcterRequest() {
    request.clean_select = request.clean_cmd = request.clean_duty = 1;
    request.dirty_select = 1;
    request.tools_claw_cmd = request.tools_claw_select = 1;
  }

  Request request;
};

TEST_F(SignalsDuringAProcterRequest, NeitherShortenItsWaitsNorChangeItsCourse) {
  Lines undisturbed;
  {
    Robot robot;
    ASSERT_EQ(robot->handle(request), success());
    undisturbed = robot.journal.take();
    ASSERT_EQ(robot.time.elapsed(), milliseconds(2 * 200 + 2 * 50));
  }
  undisturbed.erase(std::remove_if(undisturbed.begin(), undisturbed.end(), is_wait),
                    undisturbed.end());  // only virtual time writes these
  HealthyBoard boards;
  gateway->otherwise([&boards](const Operation& operation) { return boards.answer(operation); });
  signals = 0;

  const auto begin = std::chrono::steady_clock::now();
  {
    const SignalStorm storm;
    EXPECT_EQ(orchestrator().handle(request), success());
  }
  const auto took = std::chrono::steady_clock::now() - begin;

  EXPECT_GE(took, milliseconds(2 * 200 + 2 * 50));
  EXPECT_EQ(journal.take(), undisturbed);
  EXPECT_GT(signals, 0);
}

}  // namespace
}  // namespace vantrel_can_bridge::test
