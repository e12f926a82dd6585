// The self-cleaning board's emergency stop: what it finds, and how the claws are lowered
// again when it clears.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/claw_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr const char* kStoppedAllLowered =
    "debug: tools_claw emergency active (selfclean_board): need_lower=false";
constexpr const char* kRecovering =
    "debug: tools_claw emergency recovered: recovering non-lowered motors";
constexpr const char* kNoLowerNeeded = "debug: tools_claw emergency recovered: no lower needed";
constexpr const char* kStoppedAgain = "warn: 工具爪恢复期间再次收到急停，中止恢复。";

std::string over_budget(const std::string& ms) {
  return "warn: 工具爪恢复超过总预算 " + ms + "ms，剩余电机保持待恢复。";
}

/// `lines` with `line` behind the `position` first ones.
Lines with_line_at(std::size_t position, const std::string& line, Lines lines) {
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(position), line);
  return lines;
}

class Emergency : public ClawTest {
 protected:
  /// As many claws, motors 11 and up, in these states.
  void bring_all(const std::vector<ClawState>& states) {
    config.claw_motor_ids.clear();
    for (std::size_t index = 0; index < states.size(); ++index) {
      config.claw_motor_ids.push_back(11 + static_cast<std::int64_t>(index));
    }
    for (std::size_t index = 0; index < states.size(); ++index) {
      bring(index, states[index]);
    }
  }
  void bring_all_and_stop(const std::vector<ClawState>& states) {
    bring_all(states);
    stop();
    journal.take();
  }

  /// The stop clears; what that leaves in the journal.
  Lines recover() {
    orchestrator().on_emergency_recovered();
    return journal.take();
  }

  /// The stop comes; what that leaves in the journal.
  Lines stop_again() {
    stop();
    return journal.take();
  }

  ClawState state(std::size_t index = 0) { return orchestrator().claw_state(index); }

  Lines extends = claw.move("claw_extend");
  Lines homes = claw.move("claw_home");
  ClawLines second{"motor12"};
};

// --- The stop comes ---

struct Found {
  const char* name;
  std::vector<ClawState> states;
  bool need_lower;
};
void PrintTo(const Found& row, std::ostream* out) { *out << row.name; }

class EmergencyStop : public Emergency, public testing::WithParamInterface<Found> {};

TEST_P(EmergencyStop, SendsNothingAndSaysWhetherAnyClawIsNotLowered) {
  bring_all(GetParam().states);

  EXPECT_EQ(stop_again(), Lines{GetParam().need_lower ? kStopped : kStoppedAllLowered});
  EXPECT_EQ(stop_again(), Lines{GetParam().need_lower ? kStopped : kStoppedAllLowered});
}
INSTANTIATE_TEST_SUITE_P(
    Claws, EmergencyStop,
    testing::Values(
        Found{"None", {}, false}, Found{"Unknown", {ClawState::Unknown}, true},
        Found{"Raised", {ClawState::Raised}, true}, Found{"Lowered", {ClawState::Lowered}, false},
        Found{"RaiseIncomplete", {ClawState::RaiseIncomplete}, true},
        Found{"LowerIncomplete", {ClawState::LowerIncomplete}, true},
        Found{"AllLowered", {ClawState::Lowered, ClawState::Lowered, ClawState::Lowered}, false},
        Found{"FirstNot", {ClawState::Raised, ClawState::Lowered, ClawState::Lowered}, true},
        Found{"MiddleNot", {ClawState::Lowered, ClawState::Unknown, ClawState::Lowered}, true},
        Found{"LastNot", {ClawState::Lowered, ClawState::Lowered, ClawState::Raised}, true}),
    [](const auto& row) { return row.param.name; });

TEST_F(Emergency, TakesAClawThatMovesForNotLoweredWhateverIsRecorded) {
  bring_all({ClawState::Lowered});
  journal.once("gateway: clean motor11 claw_extend []", [this] { stop(); });

  EXPECT_FALSE(orchestrator().claw_execute(0, ClawState::Raised).success);

  EXPECT_EQ(journal.take()[3], kStopped);
  EXPECT_EQ(state(), ClawState::RaiseIncomplete);
  EXPECT_EQ(recover(), record(kRecovering, extends, homes));
}

TEST_F(Emergency, ForgetsAnEarlierNeedWhenTheNextStopFindsAllClawsLowered) {
  config.claw_recovery_budget_ms = 100;
  bring_all_and_stop({ClawState::Unknown});
  ASSERT_EQ(recover().back(), over_budget("100"));  // lowered, but late: the need is left

  EXPECT_EQ(stop_again(), Lines{kStoppedAllLowered});
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
}

// --- The stop clears ---

TEST_F(Emergency, DoesNothingWhenNoStopCameBefore) { EXPECT_EQ(recover(), Lines{kNoLowerNeeded}); }

TEST_F(Emergency, DoesNothingWhenAllClawsWereLoweredAndLetsThemMoveAgain) {
  bring_all_and_stop({ClawState::Lowered, ClawState::Lowered});

  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised), success());
}

TEST_F(Emergency, DoesNothingWithoutClaws) {
  bring_all_and_stop({});

  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
}

TEST_F(Emergency, LowersNothingWhenRecoveryIsOffAndLetsClawsMoveAgain) {
  config.claw_emergency_recovery = false;
  bring_all_and_stop({ClawState::Raised});

  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  EXPECT_EQ(state(), ClawState::Raised);
  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Lowered), success());
  journal.take();
  EXPECT_EQ(stop_again(), Lines{kStoppedAllLowered});
}

struct Start {
  const char* name;
  ClawState state;
  bool raised_first;
};
void PrintTo(const Start& row, std::ostream* out) { *out << row.name; }

class Recovery : public Emergency, public testing::WithParamInterface<Start> {};

TEST_P(Recovery, LowersTheClawOnceAndRaisesItFirstUnlessItIsRaised) {
  bring_all_and_stop({GetParam().state});

  EXPECT_EQ(recover(), record(kRecovering, GetParam().raised_first ? extends : Lines{}, homes));

  EXPECT_EQ(state(), ClawState::Lowered);
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  EXPECT_EQ(stop_again(), Lines{kStoppedAllLowered});
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
}
INSTANTIATE_TEST_SUITE_P(States, Recovery,
                         testing::Values(Start{"Unknown", ClawState::Unknown, true},
                                         Start{"Raised", ClawState::Raised, false},
                                         Start{"RaiseIncomplete", ClawState::RaiseIncomplete, true},
                                         Start{"LowerIncomplete", ClawState::LowerIncomplete,
                                               true}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Emergency, RecoversOneClawAfterTheOtherAndLeavesOutTheLowered) {
  bring_all_and_stop({ClawState::Lowered, ClawState::LowerIncomplete, ClawState::Lowered,
                      ClawState::Raised, ClawState::Unknown, ClawState::RaiseIncomplete});

  const ClawLines fourth{"motor14"};
  const ClawLines fifth{"motor15"};
  const ClawLines sixth{"motor16"};
  EXPECT_EQ(recover(),
            record(kRecovering, second.move("claw_extend"), second.move("claw_home"),
                   fourth.move("claw_home"), fifth.move("claw_extend"), fifth.move("claw_home"),
                   sixth.move("claw_extend"), sixth.move("claw_home")));
  for (std::size_t index = 0; index < 6; ++index) {
    EXPECT_EQ(state(index), ClawState::Lowered) << index;
  }
}

class RecoveryRaise : public Recovery {};

TEST_P(RecoveryRaise, IsTriedOnceAndItsFailureLeavesThatClawAloneButNotTheNext) {
  bring_all_and_stop({GetParam().state, ClawState::Raised});
  gateway->then_fail("jammed");

  EXPECT_EQ(recover(), record(kRecovering, claw.write("claw_extend", refusal("jammed")),
                              "debug: tools_claw recovery raise failed for motor11: "
                              "tools_claw claw_extend write failed: jammed",
                              second.move("claw_home")));

  EXPECT_EQ(state(0), GetParam().state);
  EXPECT_EQ(state(1), ClawState::Lowered);
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  EXPECT_EQ(stop_again(), Lines{kStopped});
  EXPECT_EQ(recover(), record(kRecovering, extends, homes));
}
INSTANTIATE_TEST_SUITE_P(States, RecoveryRaise,
                         testing::Values(Start{"Unknown", ClawState::Unknown, true},
                                         Start{"RaiseIncomplete", ClawState::RaiseIncomplete, true},
                                         Start{"LowerIncomplete", ClawState::LowerIncomplete,
                                               true}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Emergency, KeepsAClawThatCannotBeLoweredAsRaisedAndGoesOnWithTheNext) {
  bring_all_and_stop({ClawState::Unknown, ClawState::Raised});
  gateway->then_succeed();
  gateway->then_data({3, 2});
  gateway->then_succeed();
  gateway->then_data({6, 7});

  EXPECT_EQ(recover(), record(kRecovering, extends, homes,
                              "debug: tools_claw recovery lower failed for motor11: tools_claw "
                              "claw_home failed (action_state=6, position_state=7)",
                              second.move("claw_home")));

  EXPECT_EQ(state(0), ClawState::Raised);
  EXPECT_EQ(state(1), ClawState::Lowered);
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  EXPECT_EQ(stop_again(), Lines{kStopped});
  EXPECT_EQ(recover(), record(kRecovering, homes));
}

TEST_F(Emergency, NamesTheClawThatFails) {
  bring_all_and_stop({ClawState::Raised, ClawState::Unknown, ClawState::Raised});
  gateway->then_succeed();
  gateway->then_data({4, 1});
  gateway->then_fail("jammed");
  gateway->then_fail("stuck");

  EXPECT_EQ(recover(),
            record(kRecovering, homes, second.write("claw_extend", refusal("jammed")),
                   "debug: tools_claw recovery raise failed for motor12: tools_claw claw_extend "
                   "write failed: jammed",
                   ClawLines{"motor13"}.write("claw_home", refusal("stuck")),
                   "debug: tools_claw recovery lower failed for motor13: tools_claw claw_home "
                   "write failed: stuck"));
}

// --- A new stop during the recovery ---

/// What follows every new stop: claws stay where they are until it clears too.
class NewStop : public Emergency {
 protected:
  void expect_recovered_next_time(const Lines& moves) {
    EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised),
              failure("tools_claw rejected: selfclean_board in emergency"));
    EXPECT_EQ(recover(), record(kRecovering, moves));
    EXPECT_EQ(state(), ClawState::Lowered);
  }
};

TEST_F(NewStop, EndsTheRecoveryBeforeTheFirstClaw) {
  bring_all_and_stop({ClawState::Raised});
  journal.once(kRecovering, [this] { stop(); });

  EXPECT_EQ(recover(), (Lines{kRecovering, kStopped, kStoppedAgain}));
  EXPECT_EQ(state(), ClawState::Raised);
  expect_recovered_next_time(homes);
}

TEST_F(NewStop, EndsTheRaise) {
  bring_all_and_stop({ClawState::LowerIncomplete, ClawState::Raised});
  journal.once("wait: 50ms", [this] { stop(); });

  EXPECT_EQ(recover(),
            record(kRecovering, claw.write("claw_extend"), "wait: 50ms", kStopped, kStoppedAgain));
  EXPECT_EQ(state(), ClawState::LowerIncomplete);
  expect_recovered_next_time(record(extends, homes, second.move("claw_home")));
}

TEST_F(NewStop, DoesNotRecordARaiseThatItFindsDone) {
  bring_all_and_stop({ClawState::RaiseIncomplete});
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, with_line_at(6, kStopped, extends), kStoppedAgain));
  EXPECT_EQ(state(), ClawState::RaiseIncomplete);
  expect_recovered_next_time(record(extends, homes));
}

TEST_F(NewStop, KeepsSilentAboutARaiseThatFailedMeanwhile) {
  bring_all_and_stop({ClawState::Unknown});
  gateway->then_fail("jammed");
  journal.once("gateway: clean motor11 claw_extend []", [this] { stop(); });

  EXPECT_EQ(
      recover(),
      record(kRecovering, with_line_at(2, kStopped, claw.write("claw_extend", refusal("jammed"))),
             kStoppedAgain));
  expect_recovered_next_time(record(extends, homes));
}

TEST_F(NewStop, EndsTheLoweringOfAClawThatWasRaisedBefore) {
  bring_all_and_stop({ClawState::Unknown, ClawState::Unknown});
  journal.once("gateway: clean motor11 claw_home []", [this] { stop(); });

  EXPECT_EQ(recover(),
            record(kRecovering, extends, with_line_at(2, kStopped, claw.write("claw_home")),
                   "wait: 50ms", kStoppedAgain));
  EXPECT_EQ(state(0), ClawState::Raised);
  EXPECT_EQ(state(1), ClawState::Unknown);
  expect_recovered_next_time(record(homes, second.move("claw_extend"), second.move("claw_home")));
}

TEST_F(NewStop, DoesNotRecordALoweringThatItFindsDone) {
  bring_all_and_stop({ClawState::Raised});
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, with_line_at(6, kStopped, homes), kStoppedAgain));
  EXPECT_EQ(state(), ClawState::Raised);
  expect_recovered_next_time(homes);
}

TEST_F(NewStop, KeepsSilentAboutALoweringThatFailedMeanwhile) {
  bring_all_and_stop({ClawState::Raised});
  gateway->then_fail("jammed");
  journal.once("gateway: clean motor11 claw_home []", [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering,
                              with_line_at(2, kStopped, claw.write("claw_home", refusal("jammed"))),
                              kStoppedAgain));
  expect_recovered_next_time(homes);
}

/// A stop that comes when the first of two claws has failed.
class NewStopBetweenClaws : public NewStop {
 protected:
  const std::string raise_failed =
      "debug: tools_claw recovery raise failed for motor11: tools_claw claw_extend write failed: "
      "jammed";
  const std::string lower_failed =
      "debug: tools_claw recovery lower failed for motor11: tools_claw claw_home write failed: "
      "jammed";
};

TEST_F(NewStopBetweenClaws, EndsTheRecoveryBeforeTheNextIsTouchedAfterAFailedRaise) {
  bring_all_and_stop({ClawState::Unknown, ClawState::Raised});
  gateway->then_fail("jammed");
  journal.once(raise_failed, [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, claw.write("claw_extend", refusal("jammed")),
                              raise_failed, kStopped, kStoppedAgain));
  expect_recovered_next_time(record(extends, homes, second.move("claw_home")));
}

TEST_F(NewStopBetweenClaws, EndsTheRecoveryBeforeTheNextIsTouchedAfterAFailedLowering) {
  bring_all_and_stop({ClawState::Raised, ClawState::Raised});
  gateway->then_fail("jammed");
  journal.once(lower_failed, [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, claw.write("claw_home", refusal("jammed")), lower_failed,
                              kStopped, kStoppedAgain));
  expect_recovered_next_time(record(homes, second.move("claw_home")));
}

TEST_F(NewStopBetweenClaws, IsNotReportedByTheRecoveryWhenNoClawIsLeftToLower) {
  bring_all_and_stop({ClawState::Raised, ClawState::Lowered});
  gateway->then_fail("jammed");
  journal.once(lower_failed, [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, claw.write("claw_home", refusal("jammed")), lower_failed,
                              kStopped));
  expect_recovered_next_time(homes);
}

TEST_F(NewStopBetweenClaws, IsNotReportedWhenTheBudgetWasUsedUpBeforeTheNext) {
  config.claw_recovery_budget_ms = 1;
  bring_all_and_stop({ClawState::Raised, ClawState::Raised});
  gateway->then([this](const Operation&) {
    time.advance(1ms);
    return refusal("jammed");
  });
  journal.once(lower_failed, [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, claw.write("claw_home", refusal("jammed")), lower_failed,
                              kStopped, over_budget("1")));
}

TEST_F(NewStop, CountsMoreThanABudgetThatTheRaiseUsedUp) {
  config.claw_recovery_budget_ms = 1;
  bring_all_and_stop({ClawState::Unknown});
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, with_line_at(6, kStopped, extends), kStoppedAgain));
}

TEST_F(NewStop, CountsMoreThanABudgetThatTheLoweringUsedUp) {
  config.claw_recovery_budget_ms = 1;
  bring_all_and_stop({ClawState::Raised});
  journal.once("gateway: clean motor11 claw_query_state []", [this] { stop(); });

  EXPECT_EQ(recover(), record(kRecovering, with_line_at(6, kStopped, homes), kStoppedAgain));
}

// --- The budget ---

struct Duration {
  const char* name;
  std::chrono::nanoseconds last_query_takes;  // 10 ms are left for it
  bool in_time;
};
void PrintTo(const Duration& row, std::ostream* out) { *out << row.name; }

class RecoveryBudget : public Emergency, public testing::WithParamInterface<Duration> {
 protected:
  /// The first claw's first attempt takes its 50 ms and the query that ends it with `data`.
  void budget_for_one_attempt(std::vector<std::uint8_t> data) {
    gateway->then_succeed();
    then_data_after(GetParam().last_query_takes, std::move(data));
  }
};
INSTANTIATE_TEST_SUITE_P(Durations, RecoveryBudget,
                         testing::Values(Duration{"OneNanosecondLeft", 10ms - 1ns, true},
                                         Duration{"NothingLeft", 10ms, false},
                                         Duration{"Late", 10ms + 1ns, false}),
                         [](const auto& row) { return row.param.name; });

TEST_P(RecoveryBudget, IsLookedAtAfterAFailedRaise) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Unknown, ClawState::Raised});
  budget_for_one_attempt({5, 0});

  const Lines lines = recover();

  const Lines first = record(kRecovering, extends,
                             "debug: tools_claw recovery raise failed for motor11: tools_claw "
                             "claw_extend failed (action_state=5, position_state=0)");
  EXPECT_EQ(lines, record(first, GetParam().in_time ? second.move("claw_home") : Lines{},
                          over_budget("60")));
  EXPECT_EQ(state(0), ClawState::Unknown);
  EXPECT_EQ(state(1), GetParam().in_time ? ClawState::Lowered : ClawState::Raised);
}

TEST_P(RecoveryBudget, IsLookedAtAfterAFailedRaiseOfTheLastClawToo) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Unknown});
  budget_for_one_attempt({5, 0});

  EXPECT_EQ(recover().back() == over_budget("60"), !GetParam().in_time);
  EXPECT_EQ(recover()[0], GetParam().in_time ? kNoLowerNeeded : kRecovering);
}

TEST_P(RecoveryBudget, IsLookedAtAfterAFailedLoweringOfTheLastClawToo) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Raised});
  budget_for_one_attempt({5, 0});

  EXPECT_EQ(recover().back() == over_budget("60"), !GetParam().in_time);
  EXPECT_EQ(recover()[0], GetParam().in_time ? kNoLowerNeeded : kRecovering);
}

TEST_P(RecoveryBudget, IsLookedAtAfterARaiseWhichIsRecorded) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Unknown});
  budget_for_one_attempt({3, 2});

  EXPECT_EQ(recover(),
            record(kRecovering, extends, GetParam().in_time ? homes : Lines{}, over_budget("60")));
  EXPECT_EQ(state(), GetParam().in_time ? ClawState::Lowered : ClawState::Raised);
  // Over the budget the need is left: the next clear lowers what is still raised.
  EXPECT_EQ(recover(), record(kRecovering, GetParam().in_time ? Lines{} : homes));
}

TEST_P(RecoveryBudget, IsLookedAtAfterAFailedLowering) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Raised, ClawState::Raised});
  budget_for_one_attempt({5, 0});

  const Lines first = record(kRecovering, homes,
                             "debug: tools_claw recovery lower failed for motor11: tools_claw "
                             "claw_home failed (action_state=5, position_state=0)");
  EXPECT_EQ(recover(), record(first, GetParam().in_time ? second.move("claw_home") : Lines{},
                              over_budget("60")));
  EXPECT_EQ(state(0), ClawState::Raised);
  EXPECT_EQ(state(1), GetParam().in_time ? ClawState::Lowered : ClawState::Raised);
}

TEST_P(RecoveryBudget, IsLookedAtAfterTheLoweringOfTheLastClawToo) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Raised});
  budget_for_one_attempt({4, 1});

  EXPECT_EQ(recover(),
            record(kRecovering, homes, GetParam().in_time ? Lines{} : Lines{over_budget("60")}));
  EXPECT_EQ(state(), ClawState::Lowered);
  EXPECT_EQ(recover(), Lines{GetParam().in_time ? kNoLowerNeeded : kRecovering});
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
}

TEST_P(RecoveryBudget, IsLookedAtAfterALoweringBeforeTheNextClaw) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Raised, ClawState::Raised});
  budget_for_one_attempt({4, 1});

  EXPECT_EQ(recover(),
            record(kRecovering, homes, GetParam().in_time ? second.move("claw_home") : Lines{},
                   over_budget("60")));
  EXPECT_EQ(state(0), ClawState::Lowered);
  EXPECT_EQ(state(1), GetParam().in_time ? ClawState::Lowered : ClawState::Raised);
}

TEST_F(Emergency, StopsWithinTheNextClawsMovesOnceTheBudgetIsUsedUp) {
  config.claw_recovery_budget_ms = 200;
  bring_all_and_stop({ClawState::Unknown, ClawState::Unknown, ClawState::Unknown});

  EXPECT_EQ(recover(), record(kRecovering, extends, homes, second.move("claw_extend"),
                              second.move("claw_home"), over_budget("200")));
  EXPECT_EQ(state(2), ClawState::Unknown);
  EXPECT_EQ(stop_again(), Lines{kStopped});
}

TEST_F(Emergency, CountsTheBudgetFromAfterItsFirstLine) {
  config.claw_recovery_budget_ms = 60;
  bring_all_and_stop({ClawState::Raised});
  journal.once(kRecovering, [this] { time.advance(1h); });

  EXPECT_EQ(recover(), record(kRecovering, homes));
}

struct Budget {
  const char* name;
  std::int64_t configured_ms;
  const char* shown;
};
void PrintTo(const Budget& row, std::ostream* out) { *out << row.name; }

class RecoveryBudgetText : public Emergency, public testing::WithParamInterface<Budget> {};

TEST_P(RecoveryBudgetText, ShowsTheBudgetThatWasUsedWhichIsAtLeastOneMillisecond) {
  config.claw_recovery_budget_ms = GetParam().configured_ms;
  bring_all_and_stop({ClawState::Raised});
  gateway->then_succeed();
  then_data_after(std::chrono::milliseconds(5'000'000'000'000), {4, 1});

  EXPECT_EQ(recover(), record(kRecovering, homes, over_budget(GetParam().shown)));
}
INSTANTIATE_TEST_SUITE_P(Budgets, RecoveryBudgetText,
                         testing::Values(Budget{"Smallest", kMin, "1"}, Budget{"Negative", -1, "1"},
                                         Budget{"Zero", 0, "1"}, Budget{"One", 1, "1"},
                                         Budget{"Two", 2, "2"},
                                         Budget{"Large", 5'000'000'000'000, "5000000000000"}),
                         [](const auto& row) { return row.param.name; });

TEST_F(Emergency, NeverUsesUpABudgetBeyondTheClock) {
  config.claw_recovery_budget_ms = kMax;
  bring_all_and_stop({ClawState::Unknown});
  gateway->then_succeed();
  then_data_after(std::chrono::nanoseconds::max(), {3, 2});

  EXPECT_EQ(recover(), record(kRecovering, extends, homes));
}

// --- Exceptions ---

TEST_F(Emergency, HoldsEvenWhenTheLogOfTheStopThrows) {
  bring_all({ClawState::Lowered});
  throw_at_line(0);

  EXPECT_THROW(orchestrator().on_emergency_active(), std::runtime_error);

  EXPECT_EQ(journal.take(), Lines{kStoppedAllLowered});
  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised),
            failure("tools_claw rejected: selfclean_board in emergency"));
  EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
}

TEST_F(Emergency, IsOverEvenWhenTheLogOfAnIdleRecoveryThrows) {
  bring_all_and_stop({ClawState::Lowered});
  throw_at_line(0);

  EXPECT_THROW(orchestrator().on_emergency_recovered(), std::runtime_error);

  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised), success());
}

TEST_F(Emergency, FreesTheLockAndKeepsWhatWasDoneWhicheverLineOfARecoveryThrows) {
  config.claw_recovery_budget_ms = 100;  // just enough to be over it after the last move
  bring_all_and_stop({ClawState::LowerIncomplete});
  const Lines whole = recover();
  ASSERT_EQ(whole, record(kRecovering, extends, homes, over_budget("100")));
  const std::size_t raised_by = 1 + extends.size();

  for (std::size_t at = 0; at < whole.size(); ++at) {
    if (whole[at].rfind("wait: ", 0) == 0) {
      continue;
    }
    SCOPED_TRACE("thrown at line " + std::to_string(at) + ", " + whole[at]);
    bring(0, ClawState::Raised);
    bring(0, ClawState::LowerIncomplete);
    stop();
    journal.take();
    throw_at_line(at);

    EXPECT_THROW(orchestrator().on_emergency_recovered(), std::runtime_error);

    journal.watch(nullptr);
    EXPECT_EQ(journal.take(),
              Lines(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at) + 1));
    const bool last = at + 1 == whole.size();
    EXPECT_EQ(state(), last              ? ClawState::Lowered
                       : at >= raised_by ? ClawState::Raised
                                         : ClawState::LowerIncomplete);
    EXPECT_EQ(recover(), Lines{last ? kRecovering : kNoLowerNeeded});
    bring(0, ClawState::Lowered);
    EXPECT_EQ(stop_again(), Lines{kStoppedAllLowered});
    EXPECT_EQ(recover(), Lines{kNoLowerNeeded});
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::test
