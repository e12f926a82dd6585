// A requested claw move with its attempts: what is refused or skipped, what is logged, and
// which state is recorded.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include "tests/support/claw_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr const char* kRejected = "tools_claw rejected: selfclean_board in emergency";
constexpr ClawState kAllStates[] = {ClawState::Unknown, ClawState::Raised, ClawState::Lowered,
                                    ClawState::RaiseIncomplete, ClawState::LowerIncomplete};

/// One direction of a move and its words.
struct Direction {
  const char* name;
  ClawState target;
  std::string op;
  std::string verb;
  std::string result;
  ClawState incomplete;
};
void PrintTo(const Direction& row, std::ostream* out) { *out << row.name; }

const Direction kRaise{"Raise", ClawState::Raised, "claw_extend",
                       "伸出",  "raised",          ClawState::RaiseIncomplete};
const Direction kLower{"Lower", ClawState::Lowered, "claw_home",
                       "收回",  "lowered",          ClawState::LowerIncomplete};

/// Expected lines of a move of claw 0.
struct MoveLines {
  ClawLines claw;
  Direction to;

  [[nodiscard]] std::string begins() const {
    return "debug: tools_claw execute: motor11 op=" + to.op;
  }
  [[nodiscard]] Lines attempt_fails(const std::string& number, const std::string& message) const {
    return {"debug: tools_claw attempt " + number + " failed: " + message,
            "warn: 工具11" + to.verb + "第 " + number + " 次尝试失败：" + message};
  }
  /// An attempt whose write is refused.
  [[nodiscard]] Lines refused_attempt(const std::string& number,
                                      const std::string& message = "jammed") const {
    return record(claw.write(to.op, refusal(message)),
                  attempt_fails(number, "tools_claw " + to.op + " write failed: " + message));
  }
  [[nodiscard]] Lines succeeds() const {
    return record(claw.move(to.op), "debug: tools_claw ok: motor11 " + to.result,
                  "info: 工具11" + to.verb + "成功");
  }
  [[nodiscard]] std::string gives_up(const std::string& failure) const {
    return "warn: 工具11" + to.verb + "失败：" + failure;
  }
};

class ClawRetries : public ClawTest {
 protected:
  BottomCompatReply execute(const Direction& direction) {
    return orchestrator().claw_execute(0, direction.target);
  }
  ClawState state() { return orchestrator().claw_state(0); }

  MoveLines raise{claw, kRaise};
};

class ClawMove : public ClawRetries, public testing::WithParamInterface<Direction> {
 protected:
  MoveLines lines{claw, GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Directions, ClawMove, testing::Values(kRaise, kLower),
                         [](const auto& row) { return row.param.name; });

TEST_P(ClawMove, IsRecordedAndReportedWhenTheFirstAttemptSucceeds) {
  EXPECT_EQ(execute(GetParam()), success());

  EXPECT_EQ(journal.take(), record(lines.begins(), lines.succeeds()));
  EXPECT_EQ(state(), GetParam().target);
}

TEST_P(ClawMove, IsSkippedWhenTheClawIsAlreadyThere) {
  bring(0, GetParam().target);

  EXPECT_EQ(execute(GetParam()), success());

  EXPECT_EQ(journal.take(),
            Lines{"debug: tools_claw idempotent: motor11 already " + GetParam().result});
  EXPECT_EQ(state(), GetParam().target);
}

TEST_P(ClawMove, IsCarriedOutFromEveryOtherState) {
  config.claw_motor_ids = {11, 11, 11, 11, 11};  // a claw for each state, all told alike
  for (std::size_t index = 0; index < 5; ++index) {
    if (kAllStates[index] != GetParam().target) {
      bring(index, kAllStates[index]);

      EXPECT_EQ(orchestrator().claw_execute(index, GetParam().target), success());

      EXPECT_EQ(journal.take(), record(lines.begins(), lines.succeeds()));
      EXPECT_EQ(orchestrator().claw_state(index), GetParam().target);
    }
  }
}

TEST_P(ClawMove, PausesBetweenAttemptsAndReportsTheOneThatSucceeds) {
  gateway->then_fail("jammed");
  gateway->then_fail("still jammed");

  EXPECT_EQ(execute(GetParam()), success());

  EXPECT_EQ(journal.take(),
            record(lines.begins(), lines.refused_attempt("1/3"), "wait: 300ms",
                   lines.refused_attempt("2/3", "still jammed"), "wait: 300ms", lines.succeeds()));
  EXPECT_EQ(state(), GetParam().target);
}

TEST_P(ClawMove, IsGivenUpWithoutAPauseAfterTheLastAttempt) {
  gateway->then_fail("first");
  gateway->then_fail("second");
  gateway->then_fail("third");

  const std::string given_up = "tools_claw " + GetParam().op +
                               " failed after 3 attempts: tools_claw " + GetParam().op +
                               " write failed: third";
  EXPECT_EQ(execute(GetParam()), failure(given_up));
  EXPECT_EQ(journal.take(),
            record(lines.begins(), lines.refused_attempt("1/3", "first"), "wait: 300ms",
                   lines.refused_attempt("2/3", "second"), "wait: 300ms",
                   lines.refused_attempt("3/3", "third"), lines.gives_up(given_up)));
  EXPECT_EQ(state(), GetParam().incomplete);
}

TEST_P(ClawMove, IsRejectedDuringAnEmergencyWithoutALineFromAnyState) {
  config.claw_motor_ids = {1, 2, 3, 4, 5};
  for (std::size_t index = 0; index < 5; ++index) {
    bring(index, kAllStates[index]);
  }
  stop();
  journal.take();

  for (std::size_t index = 0; index < 5; ++index) {
    EXPECT_EQ(orchestrator().claw_execute(index, GetParam().target), failure(kRejected));
    EXPECT_EQ(orchestrator().claw_state(index), kAllStates[index]);
  }
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_P(ClawMove, IsAbortedWhenTheStopComesBeforeTheFirstAttempt) {
  journal.once(lines.begins(), [this] { stop(); });

  EXPECT_EQ(execute(GetParam()), failure(kAborted));

  EXPECT_EQ(journal.take(), record(lines.begins(), kStopped));
  EXPECT_EQ(state(), GetParam().incomplete);
}

TEST_P(ClawMove, IsAbortedWhenTheStopComesDuringAPause) {
  gateway->then_fail("jammed");
  journal.once("wait: 300ms", [this] { stop(); });

  EXPECT_EQ(execute(GetParam()), failure(kAborted));

  EXPECT_EQ(journal.take(),
            record(lines.begins(), lines.refused_attempt("1/3"), "wait: 300ms", kStopped));
  EXPECT_EQ(state(), GetParam().incomplete);
}

TEST_P(ClawMove, TakesAnAttemptThatTheStopEndedForAFailedOne) {
  journal.once("wait: 50ms", [this] { stop(); });

  EXPECT_EQ(execute(GetParam()), failure(kAborted));

  EXPECT_EQ(journal.take(), record(lines.begins(), claw.write(GetParam().op), "wait: 50ms",
                                   kStopped, lines.attempt_fails("1/3", kAborted), "wait: 300ms"));
  EXPECT_EQ(state(), GetParam().incomplete);
}

TEST_P(ClawMove, IsGivenUpWhenTheStopEndsTheLastAttempt) {
  config.claw_retry_count = 0;
  journal.once("wait: 50ms", [this] { stop(); });

  const std::string given_up =
      "tools_claw " + GetParam().op + " failed after 1 attempts: " + kAborted;
  EXPECT_EQ(execute(GetParam()), failure(given_up));

  EXPECT_EQ(journal.take(),
            record(lines.begins(), claw.write(GetParam().op), "wait: 50ms", kStopped,
                   lines.attempt_fails("1/1", kAborted), lines.gives_up(given_up)));
  EXPECT_EQ(state(), GetParam().incomplete);
}

TEST_F(ClawRetries, GoesOnWhenTheStopHasClearedByTheEndOfThePause) {
  config.claw_emergency_recovery = false;
  gateway->then_fail("jammed");
  journal.once("wait: 300ms", [this] {
    stop();
    clear();
  });

  EXPECT_EQ(execute(kRaise), success());
  EXPECT_EQ(state(), ClawState::Raised);
}

TEST_F(ClawRetries, NamesTheMotorOfTheClawThatItMoves) {
  config.claw_motor_ids = {11, -7};
  config.claw_retry_count = 0;
  bring(0, ClawState::Lowered);
  gateway->then_fail("jammed");
  const std::string given_up =
      "tools_claw claw_home failed after 1 attempts: tools_claw claw_home write failed: jammed";

  EXPECT_EQ(orchestrator().claw_execute(1, ClawState::Lowered), failure(given_up));
  EXPECT_EQ(orchestrator().claw_execute(1, ClawState::Raised), success());

  const ClawLines second{"motor-7"};
  EXPECT_EQ(
      journal.take(),
      record("debug: tools_claw execute: motor-7 op=claw_home",
             second.write("claw_home", refusal("jammed")),
             "debug: tools_claw attempt 1/1 failed: tools_claw claw_home write failed: jammed",
             "warn: 工具-7收回第 1/1 次尝试失败：tools_claw claw_home write failed: jammed",
             "warn: 工具-7收回失败：" + given_up,
             "debug: tools_claw execute: motor-7 op=claw_extend", second.move("claw_extend"),
             "debug: tools_claw ok: motor-7 raised", "info: 工具-7伸出成功"));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
  EXPECT_EQ(orchestrator().claw_state(1), ClawState::Raised);
}

TEST_F(ClawRetries, SaysWhichMotorIsAlreadyLowered) {
  config.claw_motor_ids = {4, 5};
  bring(1, ClawState::Lowered);

  EXPECT_EQ(orchestrator().claw_execute(1, ClawState::Lowered), success());
  EXPECT_EQ(journal.take(), Lines{"debug: tools_claw idempotent: motor5 already lowered"});
}

TEST_F(ClawRetries, DropsTheMessageOfASuccessfulWrite) {
  gateway->then_succeed("moving");

  EXPECT_EQ(execute(kRaise), success());
}

// --- Numbers of attempts and pauses ---

struct Count {
  const char* name;
  std::int64_t configured;
};
void PrintTo(const Count& row, std::ostream* out) { *out << row.name; }

class ClawSingleAttemptCount : public ClawRetries, public testing::WithParamInterface<Count> {};

TEST_P(ClawSingleAttemptCount, MakesOneAttempt) {
  config.claw_retry_count = GetParam().configured;
  gateway->then_fail("jammed");

  const std::string given_up =
      "tools_claw claw_extend failed after 1 attempts: tools_claw claw_extend write failed: jammed";
  EXPECT_EQ(execute(kRaise), failure(given_up));
  EXPECT_EQ(journal.take(),
            record(raise.begins(), raise.refused_attempt("1/1"), raise.gives_up(given_up)));
}
INSTANTIATE_TEST_SUITE_P(Retries, ClawSingleAttemptCount,
                         testing::Values(Count{"None", 0}, Count{"MinusOne", -1},
                                         Count{"MinusFive", -5}, Count{"Smallest", kMin}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ClawRetries, MakesTwoAttemptsForOneRetry) {
  config.claw_retry_count = 1;
  gateway->then_fail("jammed");
  gateway->then_fail("jammed");

  const std::string given_up =
      "tools_claw claw_extend failed after 2 attempts: tools_claw claw_extend write failed: jammed";
  EXPECT_EQ(execute(kRaise), failure(given_up));
  EXPECT_EQ(journal.take(), record(raise.begins(), raise.refused_attempt("1/2"), "wait: 300ms",
                                   raise.refused_attempt("2/2"), raise.gives_up(given_up)));
}

TEST_F(ClawRetries, CountsOneMoreAttemptThanTheLargestRetryCount) {
  config.claw_retry_count = kMax;
  gateway->then_fail("jammed");
  gateway->then_fail("jammed");

  EXPECT_EQ(execute(kRaise), success());
  EXPECT_EQ(journal.take(), record(raise.begins(), raise.refused_attempt("1/9223372036854775808"),
                                   "wait: 300ms", raise.refused_attempt("2/9223372036854775808"),
                                   "wait: 300ms", raise.succeeds()));
}

struct Pause {
  const char* name;
  std::int64_t configured_ms;
  const char* wait;  // nullptr: none
};
void PrintTo(const Pause& row, std::ostream* out) { *out << row.name; }

class ClawPause : public ClawRetries, public testing::WithParamInterface<Pause> {};

TEST_P(ClawPause, LastsAsConfiguredAndIsLeftOutForZeroAndLess) {
  config.claw_retry_backoff_ms = GetParam().configured_ms;
  gateway->then_fail("jammed");
  gateway->then_fail("jammed");

  EXPECT_EQ(execute(kRaise), success());
  const Lines pause = GetParam().wait == nullptr ? Lines{} : Lines{GetParam().wait};
  EXPECT_EQ(journal.take(), record(raise.begins(), raise.refused_attempt("1/3"), pause,
                                   raise.refused_attempt("2/3"), pause, raise.succeeds()));
}
INSTANTIATE_TEST_SUITE_P(Pauses, ClawPause,
                         testing::Values(Pause{"Zero", 0, nullptr}, Pause{"MinusOne", -1, nullptr},
                                         Pause{"Smallest", kMin, nullptr},
                                         Pause{"One", 1, "wait: 1ms"},
                                         Pause{"SecondAndAHalf", 1500, "wait: 1500ms"},
                                         Pause{"Largest", kMax, "wait: 9223372036854775807ms"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(ClawRetries, GivesEveryAttemptItsOwnTimeout) {
  config.claw_retry_count = 1;
  config.claw_retry_backoff_ms = 0;
  config.claw_timeout_ms = 0;
  for (int attempt = 0; attempt < 2; ++attempt) {
    gateway->then_succeed();
    gateway->then_data({1, 0});
  }

  const std::string timeout = "tools_claw claw_extend timeout after 50ms";
  const std::string given_up = "tools_claw claw_extend failed after 2 attempts: " + timeout;
  const Lines attempt =
      record(claw.move("claw_extend"), "info: 工具11伸出动作中 action_state=1 position_state=0");
  EXPECT_EQ(execute(kRaise), failure(given_up));
  EXPECT_EQ(journal.take(),
            record(raise.begins(), attempt, raise.attempt_fails("1/2", timeout), attempt,
                   raise.attempt_fails("2/2", timeout), raise.gives_up(given_up)));
}

// --- Exceptions ---

/// A move that ends in `end`; `recorded` lines before its last one the state is recorded.
struct CutOff {
  const char* name;
  int refusals;
  ClawState end;
  std::size_t recorded;
};
void PrintTo(const CutOff& row, std::ostream* out) { *out << row.name; }

class ClawCutOff : public ClawRetries, public testing::WithParamInterface<CutOff> {
 protected:
  /// A move from Lowered with as many refused attempts, then one that takes three polls.
  BottomCompatReply move() {
    for (int attempt = 0; attempt < GetParam().refusals; ++attempt) {
      gateway->then_fail("jammed");
    }
    gateway->then_succeed();
    gateway->then_data({1, 0});
    gateway->then_fail("deaf");
    const BottomCompatReply reply = execute(kRaise);
    gateway->drop_answers();
    return reply;
  }
};

TEST_P(ClawCutOff, FreesTheLockAndRecordsNoMoreThanWasDoneWhicheverLineThrows) {
  config.claw_motor_ids = {11};
  config.claw_emergency_recovery = false;
  bring(0, ClawState::Lowered);
  EXPECT_EQ(move().success, GetParam().end == ClawState::Raised);
  const Lines whole = journal.take();

  for (std::size_t at = 0; at < whole.size(); ++at) {
    if (whole[at].rfind("wait: ", 0) == 0) {
      continue;
    }
    SCOPED_TRACE("thrown at " + whole[at]);
    bring(0, ClawState::Lowered);
    throw_at_line(at);

    EXPECT_THROW((void)move(), std::runtime_error);

    journal.watch(nullptr);
    gateway->drop_answers();
    const Lines until_thrown(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at) + 1);
    EXPECT_EQ(journal.take(), until_thrown);
    const bool recorded = at + GetParam().recorded >= whole.size();
    EXPECT_EQ(state(), recorded ? GetParam().end : ClawState::Lowered);
    stop();
    EXPECT_EQ(journal.take(),
              Lines{std::string("debug: tools_claw emergency active (selfclean_board): "
                                "need_lower=") +
                    (recorded ? "true" : "false")});
    clear();
    journal.take();
  }
}
INSTANTIATE_TEST_SUITE_P(Moves, ClawCutOff,
                         testing::Values(CutOff{"Succeeding", 1, ClawState::Raised, 2},
                                         CutOff{"GivenUp", 3, ClawState::RaiseIncomplete, 1}),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace vantrel_can_bridge::test
