// One attempt to move a claw: the write, the polls, and every way in which it ends.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/claw_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();

class ClawAttempt : public ClawTest {
 protected:
  BottomCompatReply extend() { return orchestrator().claw_try_once(0, ClawState::Raised); }
  BottomCompatReply home() { return orchestrator().claw_try_once(0, ClawState::Lowered); }
};

TEST_F(ClawAttempt, WritesTheMoveOnceThenWaitsAndAsksOnceWhenConfirmedAtOnce) {
  EXPECT_EQ(extend(), success());
  EXPECT_EQ(journal.take(), record(claw.write("claw_extend"), claw.poll()));
  EXPECT_EQ(home(), success());
  EXPECT_EQ(journal.take(), record(claw.write("claw_home"), claw.poll()));
}

TEST_F(ClawAttempt, MovesTheClawThatItIsGiven) {
  config.claw_motor_ids = {11, -2, kMin};
  gateway->then_succeed();
  gateway->then_data({1, 0});
  gateway->then_fail("deaf");

  EXPECT_EQ(orchestrator().claw_try_once(2, ClawState::Raised), success());

  const ClawLines third{"motor-9223372036854775808"};
  EXPECT_EQ(
      journal.take(),
      record(third.write("claw_extend"), third.poll(),
             "info: 工具-9223372036854775808伸出动作中 action_state=1 position_state=0",
             third.poll(refusal("deaf")),
             "debug: tools_claw query failed (retrying): tools_claw query failed: deaf",
             "warn: 工具-9223372036854775808伸出查询失败，重试中：tools_claw query failed: deaf",
             third.poll()));
}

TEST_F(ClawAttempt, HomesForEveryTargetButRaised) {
  for (const ClawState target : {ClawState::Unknown, ClawState::Lowered, ClawState::RaiseIncomplete,
                                 ClawState::LowerIncomplete}) {
    EXPECT_EQ(orchestrator().claw_try_once(0, target), success());
    EXPECT_EQ(journal.take(), claw.move("claw_home")) << testing::PrintToString(target);
  }
}

TEST_F(ClawAttempt, ChangesNoRecordedState) {
  EXPECT_EQ(extend(), success());
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
  gateway->then_fail("busy");
  EXPECT_FALSE(home().success);
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Unknown);
}

TEST_F(ClawAttempt, EndsWithoutAPollWhenTheWriteIsRefused) {
  gateway->then_fail("busy");
  gateway->then_fail("");

  EXPECT_EQ(extend(), failure("tools_claw claw_extend write failed: busy"));
  EXPECT_EQ(journal.take(), claw.write("claw_extend", refusal("busy")));
  EXPECT_EQ(home(), failure("tools_claw claw_home write failed: "));
  EXPECT_EQ(journal.take(), claw.write("claw_home", refusal("")));
}

// --- Poll interval and time-out ---

struct Interval {
  const char* name;
  std::int64_t configured_ms;
  const char* wait;
};
void PrintTo(const Interval& row, std::ostream* out) { *out << row.name; }

class ClawPollInterval : public ClawAttempt, public testing::WithParamInterface<Interval> {};

TEST_P(ClawPollInterval, IsTheConfiguredOneButAtLeastTenMilliseconds) {
  config.claw_poll_interval_ms = GetParam().configured_ms;
  gateway->then_succeed();
  gateway->then_data({1, 0});

  config.claw_timeout_ms = kMax;
  claw.wait = GetParam().wait;
  EXPECT_EQ(extend(), success());
  EXPECT_EQ(journal.take(),
            record(claw.write("claw_extend"), claw.poll(),
                   "info: 工具11伸出动作中 action_state=1 position_state=0", claw.poll()));
}
INSTANTIATE_TEST_SUITE_P(Intervals, ClawPollInterval,
                         testing::Values(Interval{"Smallest", kMin, "wait: 10ms"},
                                         Interval{"Negative", -1, "wait: 10ms"},
                                         Interval{"Zero", 0, "wait: 10ms"},
                                         Interval{"JustBelow", 9, "wait: 10ms"},
                                         Interval{"Limit", 10, "wait: 10ms"},
                                         Interval{"JustAbove", 11, "wait: 11ms"},
                                         Interval{"SecondAndAHalf", 1500, "wait: 1500ms"},
                                         Interval{"Largest", kMax, "wait: 9223372036854775807ms"}),
                         [](const auto& row) { return row.param.name; });

struct Timeout {
  const char* name;
  std::int64_t interval_ms;
  std::int64_t timeout_ms;
  const char* wait;
  int polls;
  const char* shown;
};
void PrintTo(const Timeout& row, std::ostream* out) { *out << row.name; }

class ClawTimeout : public ClawAttempt, public testing::WithParamInterface<Timeout> {};

TEST_P(ClawTimeout, EndsTheAttemptAtTheFirstRoundThatStartsTooLate) {
  config.claw_poll_interval_ms = GetParam().interval_ms;
  config.claw_timeout_ms = GetParam().timeout_ms;
  claw.wait = GetParam().wait;
  gateway->then_succeed();
  Lines expected = claw.write("claw_extend");
  for (int poll = 0; poll < GetParam().polls; ++poll) {
    gateway->then_data({0, 0});
    append(expected, claw.poll());
    if (poll == 0) {
      append(expected, "info: 工具11伸出动作中 action_state=0 position_state=0");
    }
  }

  EXPECT_EQ(extend(),
            failure(std::string("tools_claw claw_extend timeout after ") + GetParam().shown));
  EXPECT_EQ(journal.take(), expected);
}
INSTANTIATE_TEST_SUITE_P(
    Timeouts, ClawTimeout,
    testing::Values(Timeout{"BothZero", 0, 0, "wait: 10ms", 1, "10ms"},
                    Timeout{"BothSmallest", kMin, kMin, "wait: 10ms", 1, "10ms"},
                    Timeout{"BelowInterval", 500, 200, "wait: 500ms", 1, "500ms"},
                    Timeout{"JustBelowInterval", 50, 49, "wait: 50ms", 1, "50ms"},
                    Timeout{"Interval", 50, 50, "wait: 50ms", 1, "50ms"},
                    Timeout{"JustAboveInterval", 50, 51, "wait: 50ms", 2, "51ms"},
                    Timeout{"Negative", 50, -1, "wait: 50ms", 1, "50ms"},
                    Timeout{"JustBelowEight", 50, 399, "wait: 50ms", 8, "399ms"},
                    Timeout{"Eight", 50, 400, "wait: 50ms", 8, "400ms"},
                    Timeout{"JustAboveEight", 50, 401, "wait: 50ms", 9, "401ms"},
                    Timeout{"LargeYetWithinTheClock", 4'500'000'000'000, 9'000'000'000'000,
                            "wait: 4500000000000ms", 2, "9000000000000ms"}),
    [](const auto& row) { return row.param.name; });

TEST_F(ClawAttempt, NamesTheHomeMoveWhenItTimesOut) {
  config.claw_timeout_ms = 0;
  gateway->then_succeed();
  gateway->then_data({0, 0});

  EXPECT_EQ(home(), failure("tools_claw claw_home timeout after 50ms"));
  EXPECT_EQ(journal.take(), record(claw.move("claw_home"),
                                   "info: 工具11收回动作中 action_state=0 position_state=0"));
}

TEST_F(ClawAttempt, NeverTimesOutWhenTheTimeoutLiesBeyondTheClock) {
  config.claw_timeout_ms = kMax;
  gateway->then_succeed();
  then_data_after(std::chrono::nanoseconds::max(), {1, 0});  // the clock is at its end now
  gateway->then_data({1, 0});

  EXPECT_EQ(extend(), success());
  EXPECT_EQ(journal.take(), record(claw.write("claw_extend"), claw.poll(),
                                   "info: 工具11伸出动作中 action_state=1 position_state=0",
                                   claw.poll(), claw.poll()));
}

TEST_F(ClawAttempt, DoesNotTakeTheTimeOfASlowWriteOffTheTimeout) {
  config.claw_timeout_ms = 50;
  gateway->then([this](const Operation&) {
    time.advance(10s);
    return OperateResult{true, {}, {}};
  });

  EXPECT_EQ(extend(), success());
  EXPECT_EQ(journal.take(), claw.move("claw_extend"));
}

struct SlowQuery {
  const char* name;
  std::chrono::nanoseconds takes;
  bool asks_again;
};
void PrintTo(const SlowQuery& row, std::ostream* out) { *out << row.name; }

class ClawSlowQuery : public ClawAttempt, public testing::WithParamInterface<SlowQuery> {};

TEST_P(ClawSlowQuery, IsTakenOffTheTimeout) {
  gateway->then_succeed();
  then_data_after(GetParam().takes, {1, 0});

  const BottomCompatReply reply = extend();

  const Lines first =
      record(claw.move("claw_extend"), "info: 工具11伸出动作中 action_state=1 position_state=0");
  if (GetParam().asks_again) {
    EXPECT_EQ(reply, success());
    EXPECT_EQ(journal.take(), record(first, claw.poll()));
  } else {
    EXPECT_EQ(reply, failure("tools_claw claw_extend timeout after 400ms"));
    EXPECT_EQ(journal.take(), first);
  }
}
INSTANTIATE_TEST_SUITE_P(Durations, ClawSlowQuery,  // of the 400 ms, 50 went into the wait
                         testing::Values(SlowQuery{"OneNanosecondLeft", 350ms - 1ns, true},
                                         SlowQuery{"NothingLeft", 350ms, false},
                                         SlowQuery{"Late", 350ms + 1ns, false}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ClawAttempt, AcceptsAConfirmationThatComesAfterTheDeadline) {
  gateway->then_succeed();
  then_data_after(1h, {3, 2});

  EXPECT_EQ(extend(), success());
}

// --- Judging the status bytes ---

enum class Verdict { Arrived, Failed, Moving };

struct Status {
  const char* name;
  ClawState target;
  std::uint8_t action;
  std::uint8_t position;
  Verdict verdict;
};
void PrintTo(const Status& row, std::ostream* out) { *out << row.name; }

class ClawStatus : public ClawAttempt, public testing::WithParamInterface<Status> {};

TEST_P(ClawStatus, IsJudgedByTheTarget) {
  const bool raise = GetParam().target == ClawState::Raised;
  const std::string op = raise ? "claw_extend" : "claw_home";
  const std::string sample = "action_state=" + std::to_string(GetParam().action);
  const std::string position = "position_state=" + std::to_string(GetParam().position);
  gateway->then_succeed();
  gateway->then_data({GetParam().action, GetParam().position});

  const BottomCompatReply reply = orchestrator().claw_try_once(0, GetParam().target);

  switch (GetParam().verdict) {
    case Verdict::Arrived:
      EXPECT_EQ(reply, success());
      EXPECT_EQ(journal.take(), claw.move(op));
      return;
    case Verdict::Failed:
      EXPECT_EQ(reply, failure("tools_claw " + op + " failed (" + sample + ", " + position + ")"));
      EXPECT_EQ(journal.take(), claw.move(op));
      return;
    case Verdict::Moving:
      EXPECT_EQ(reply, success());
      EXPECT_EQ(journal.take(), record(claw.move(op),
                                       "info: 工具11" + std::string(raise ? "伸出" : "收回") +
                                           "动作中 " + sample + " " + position,
                                       claw.poll()));
      return;
  }
}
INSTANTIATE_TEST_SUITE_P(
    Pairs, ClawStatus,
    testing::Values(Status{"Extended", ClawState::Raised, 3, 2, Verdict::Arrived},
                    Status{"ExtendedInTheWrongPlace", ClawState::Raised, 3, 0, Verdict::Moving},
                    Status{"ExtendedYetAtHome", ClawState::Raised, 3, 1, Verdict::Moving},
                    Status{"ExtendedBeyond", ClawState::Raised, 3, 3, Verdict::Moving},
                    Status{"ExtendingInTheRightPlace", ClawState::Raised, 1, 2, Verdict::Moving},
                    Status{"HomeDuringAnExtend", ClawState::Raised, 4, 1, Verdict::Moving},
                    Status{"HomeFinishedAtTheExtendedEnd", ClawState::Raised, 4, 2,
                           Verdict::Moving},
                    Status{"ExtendFailed", ClawState::Raised, 5, 0, Verdict::Failed},
                    Status{"ExtendFailedInTheRightPlace", ClawState::Raised, 5, 2, Verdict::Failed},
                    Status{"ExtendFailedOtherwise", ClawState::Raised, 6, 255, Verdict::Failed},
                    Status{"ExtendUnknownAction", ClawState::Raised, 7, 2, Verdict::Moving},
                    Status{"ExtendLargestBytes", ClawState::Raised, 255, 254, Verdict::Moving},
                    Status{"ExtendIdle", ClawState::Raised, 0, 0, Verdict::Moving},
                    Status{"ExtendStarting", ClawState::Raised, 2, 0, Verdict::Moving},
                    Status{"Homed", ClawState::Lowered, 4, 1, Verdict::Arrived},
                    Status{"HomedInTheWrongPlace", ClawState::Lowered, 4, 0, Verdict::Moving},
                    Status{"HomedYetExtended", ClawState::Lowered, 4, 2, Verdict::Moving},
                    Status{"HomingInTheRightPlace", ClawState::Lowered, 1, 1, Verdict::Moving},
                    Status{"ExtendedDuringAHome", ClawState::Lowered, 3, 2, Verdict::Moving},
                    Status{"ExtendFinishedAtHome", ClawState::Lowered, 3, 1, Verdict::Moving},
                    Status{"HomeFailed", ClawState::Lowered, 5, 0, Verdict::Failed},
                    Status{"HomeFailedInTheRightPlace", ClawState::Lowered, 6, 1, Verdict::Failed},
                    Status{"HomeUnknownAction", ClawState::Lowered, 7, 1, Verdict::Moving}),
    [](const auto& row) { return row.param.name; });

// --- Progress lines ---

TEST_F(ClawAttempt, ReportsAStatusOnceUntilEitherByteChanges) {
  gateway->then_succeed();
  for (const std::vector<std::uint8_t>& data :
       std::vector<std::vector<std::uint8_t>>{{3, 0}, {3, 0}, {3, 1}, {1, 1}, {1, 1}, {3, 0}}) {
    gateway->then_data(data);
  }

  EXPECT_EQ(extend(), success());
  EXPECT_EQ(
      journal.take(),
      record(claw.write("claw_extend"), claw.poll(),
             "info: 工具11伸出动作中 action_state=3 position_state=0", claw.poll(), claw.poll(),
             "info: 工具11伸出动作中 action_state=3 position_state=1", claw.poll(),
             "info: 工具11伸出动作中 action_state=1 position_state=1", claw.poll(), claw.poll(),
             "info: 工具11伸出动作中 action_state=3 position_state=0", claw.poll()));
}

TEST_F(ClawAttempt, ReportsTheSameStatusAgainInTheNextAttempt) {
  config.claw_timeout_ms = 0;
  const Lines reported =
      record(claw.move("claw_extend"), "info: 工具11伸出动作中 action_state=1 position_state=0");
  for (int attempt = 0; attempt < 2; ++attempt) {
    gateway->then_succeed();
    gateway->then_data({1, 0});
    EXPECT_FALSE(extend().success);
    EXPECT_EQ(journal.take(), reported);
  }
}

TEST_F(ClawAttempt, RepeatsAFailedQueryAtTheNextPollAndKeepsTheStatusReportedBefore) {
  gateway->then_succeed();
  gateway->then_fail("early");
  gateway->then_data({0, 0});
  gateway->then_data({7});
  gateway->then_data({0, 0});

  EXPECT_EQ(home(), success());
  EXPECT_EQ(journal.take(),
            record(claw.write("claw_home"), claw.poll(refusal("early")),
                   "debug: tools_claw query failed (retrying): tools_claw query failed: early",
                   "warn: 工具11收回查询失败，重试中：tools_claw query failed: early", claw.poll(),
                   "info: 工具11收回动作中 action_state=0 position_state=0", claw.poll(),
                   "debug: tools_claw query failed (retrying): tools_claw query result too short: "
                   "bytes=1",
                   "warn: 工具11收回查询失败，重试中：tools_claw query result too short: bytes=1",
                   claw.poll(), claw.poll()));
}

TEST_F(ClawAttempt, TimesOutWhenEveryQueryFails) {
  config.claw_timeout_ms = 100;
  gateway->then_succeed();
  gateway->then_fail("deaf");
  gateway->then_fail("deaf");

  EXPECT_EQ(extend(), failure("tools_claw claw_extend timeout after 100ms"));
  const Lines round =
      record(claw.poll(refusal("deaf")),
             "debug: tools_claw query failed (retrying): tools_claw query failed: deaf",
             "warn: 工具11伸出查询失败，重试中：tools_claw query failed: deaf");
  EXPECT_EQ(journal.take(), record(claw.write("claw_extend"), round, round));
}

// --- Emergency stop ---

TEST_F(ClawAttempt, EndsWithoutAQueryWhenTheStopComesDuringTheWait) {
  time.on_sleep([this] { orchestrator().on_emergency_active(); });

  EXPECT_EQ(extend(), failure(kAborted));
  EXPECT_EQ(journal.take(), record(claw.write("claw_extend"), "wait: 50ms", kStopped));
}

TEST_F(ClawAttempt, NoticesAStopDuringTheWriteOnlyAfterTheFirstWait) {
  journal.once("gateway: clean motor11 claw_extend []", [this] { stop(); });

  EXPECT_EQ(extend(), failure(kAborted));
  Lines expected = record(claw.write("claw_extend"), "wait: 50ms");
  expected.insert(expected.begin() + 2, kStopped);
  EXPECT_EQ(journal.take(), expected);
}

TEST_F(ClawAttempt, WritesEvenWhenTheStopCameBefore) {
  stop();
  journal.take();

  EXPECT_EQ(home(), failure(kAborted));
  EXPECT_EQ(journal.take(), record(claw.write("claw_home"), "wait: 50ms"));
}

TEST_F(ClawAttempt, SucceedsWhenTheStopComesDuringTheConfirmingQuery) {
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(extend(), success());
}

TEST_F(ClawAttempt, TimesOutWhenTheStopComesDuringTheLastQuery) {
  config.claw_timeout_ms = 0;
  gateway->then_succeed();
  gateway->then_data({1, 0});
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(extend(), failure("tools_claw claw_extend timeout after 50ms"));
}

TEST_F(ClawAttempt, EndsAtTheSecondWaitWhenTheStopComesDuringAQuery) {
  gateway->then_succeed();
  gateway->then_data({1, 0});
  journal.once("info: 工具11伸出动作中 action_state=1 position_state=0", [this] { stop(); });

  EXPECT_EQ(extend(), failure(kAborted));
  EXPECT_EQ(journal.take(), record(claw.move("claw_extend"),
                                   "info: 工具11伸出动作中 action_state=1 position_state=0",
                                   kStopped, "wait: 50ms"));
}

TEST_F(ClawAttempt, GoesOnWhenTheStopHasClearedByTheEndOfTheWait) {
  config.claw_emergency_recovery = false;
  time.on_sleep([this] {
    stop();
    clear();
  });

  EXPECT_EQ(extend(), success());
  EXPECT_EQ(journal.take(),
            record(claw.write("claw_extend"), "wait: 50ms", kStopped,
                   "debug: tools_claw emergency recovered: no lower needed", claw.query()));
}

}  // namespace
}  // namespace vantrel_can_bridge::test
