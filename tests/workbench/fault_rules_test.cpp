#include "workbench/fault_rules.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "tests/workbench/boards_fixture.hpp"
#include "workbench/simulated_time.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

FaultRule rule(const std::string& device, const std::string& op, FaultEffect effect) {
  FaultRule made;
  made.device = device;
  made.op = op;
  made.effect = std::move(effect);
  return made;
}

class FaultTest : public BoardsTest {
 protected:
  OperateResult pump(std::uint8_t duty) { return selfclean("pump", "set_duty", {1, duty, 0}); }
  int duty() { return boards.snapshot().pump_duty_percent[0]; }
};

TEST_F(FaultTest, RefusedOperationNeverReachesItsDevice) {
  boards.add_fault(rule("pump", "*", Refuse{"bus busy"}));
  expect_refused(pump(80), "bus busy");
  EXPECT_EQ(duty(), 0);
  expect_done(pump(80));
}

TEST_F(FaultTest, DoneButFailedIsDone) {
  boards.add_fault(rule("pump", "*", DoneButFailed{"no answer"}));
  expect_refused(pump(80), "no answer");
  EXPECT_EQ(duty(), 80);
}

TEST_F(FaultTest, AnsweredButNotDoneIsNotDone) {
  boards.add_fault(rule("pump", "*", AnsweredButNotDone{}));
  expect_done(pump(80));
  EXPECT_EQ(duty(), 0);
}

TEST_F(FaultTest, AnswerReplacesTheBytesAlone) {
  boards.add_fault(rule("motor1", "claw_query_state", Answer{{3}}));
  EXPECT_EQ(claw_status(), Bytes({3}));
  EXPECT_EQ(claw_status(), Bytes({0, 1}));
}

TEST_F(FaultTest, ThrownOperationNeverReachesItsDevice) {
  boards.add_fault(rule("pump", "*", Throw{"bus off"}));
  try {
    (void)pump(80);
    FAIL() << "nothing was thrown";
  } catch (const std::runtime_error& error) {
    EXPECT_STREQ(error.what(), "bus off");
  }
  EXPECT_EQ(duty(), 0);
}

TEST_F(FaultTest, StuckClawReportsThatItMovesForEver) {
  boards.add_fault(rule("motor1", "*", StickMove{250}));
  expect_done(selfclean("motor1", "claw_extend"));
  clock->advance(24h);
  EXPECT_EQ(claw_status(), Bytes({1, 0}));
  EXPECT_EQ(boards.snapshot().claws[0].from_home, 250ms);
  boards.raise_emergency();
  EXPECT_EQ(claw_status(), Bytes({7, 0}));
}

TEST_F(FaultTest, StuckClawGoesOnFromWhereItStands) {
  boards.add_fault(rule("motor1", "*", StickMove{250}));
  expect_done(selfclean("motor1", "claw_extend"));
  clock->advance(24h);
  expect_done(selfclean("motor1", "claw_home"));
  clock->advance(250ms);
  EXPECT_EQ(claw_status(), Bytes({4, 1}));
}

TEST_F(FaultTest, FailedMoveIsReportedHalfWay) {
  boards.add_fault(rule("motor1", "*", FailMove{}));
  expect_done(selfclean("motor1", "claw_extend"));
  clock->advance(500ms);
  EXPECT_EQ(claw_status(), Bytes({5, 0}));
}

TEST_F(FaultTest, SkipsThenAppliesThenReverts) {
  FaultRule some = rule("pump", "*", Refuse{"lost"});
  some.skip = 2;
  some.times = 3;
  boards.add_fault(some);
  std::string outcomes;
  for (int write = 0; write < 8; ++write) {
    outcomes += pump(1).success ? "+" : "-";
  }
  EXPECT_EQ(outcomes, "++---+++");
}

TEST_F(FaultTest, StandsUntilItIsClearedByItsName) {
  FaultRule lasting = rule("pump", "*", Refuse{"lost"});
  lasting.times = FaultRule::kUntilCleared;
  lasting.name = "noise";
  boards.add_fault(lasting);
  boards.clear_faults("other");
  for (int write = 0; write < 5; ++write) {
    EXPECT_FALSE(pump(1).success);
  }
  boards.clear_faults("noise");
  expect_done(pump(1));
  boards.add_fault(lasting);
  boards.clear_faults();
  expect_done(pump(1));
}

/// What a rule that hits by chance makes of twenty writes.
std::string chances(std::uint64_t seed, double probability) {
  SimulatedBoards boards(small_robot(), std::make_shared<ManualClock>(), nullptr, seed);
  FaultRule chance = rule("pump", "*", Refuse{"lost"});
  chance.times = FaultRule::kUntilCleared;
  chance.probability = probability;
  boards.add_fault(chance);
  std::string outcomes;
  for (int write = 0; write < 20; ++write) {
    const bool success = boards.operate("selfclean_board", "pump", "set_duty", {1, 1, 0}).success;
    outcomes += success ? "+" : "-";
  }
  return outcomes;
}

TEST(FaultChance, IsTheSameForTheSameSeedOnEveryMachine) {
  EXPECT_EQ(chances(1, 0.5), chances(1, 0.5));
  EXPECT_NE(chances(1, 0.5), chances(2, 0.5));
  EXPECT_EQ(chances(1, 1.0), std::string(20, '-'));
  EXPECT_EQ(chances(7, 0.000001), std::string(20, '+'));
}

TEST_F(FaultTest, RuleThatCanNeverHitSaysWhy) {
  EXPECT_EQ(boards.why_never_hits(rule("pump", "set_duty", Refuse{})), "");
  EXPECT_EQ(boards.why_never_hits(rule("*", "*", FailMove{})), "");
  EXPECT_EQ(boards.why_never_hits(rule("motor9", "*", Refuse{})),
            "no device \"motor9\"; there is left_light, right_light, fill_light, power_control, "
            "pump, valve, motor5, motor6, motor1, motor2");
  EXPECT_EQ(boards.why_never_hits(rule("motor1", "set_duty", Refuse{})),
            "no operation \"set_duty\"; there is claw_extend, claw_home, claw_query_state");
  EXPECT_EQ(boards.why_never_hits(rule("motor1", "claw_query_state", StickMove{})),
            "only the claw moves claw_extend and claw_home can stick or fail");
  FaultRule elsewhere = rule("*", "*", Refuse{});
  elsewhere.board = "aux";
  EXPECT_EQ(boards.why_never_hits(elsewhere),
            "no board \"aux\"; this robot has bottom_board, selfclean_board");
}

TEST(Latency, PassesBeforeTheDeviceActs) {
  SimulatedTime time;
  RobotDescription robot = small_robot();
  robot.default_latency = 5ms;
  robot.latencies["set_duty"] = 20ms;
  SimulatedBoards boards(robot, std::make_shared<SteadyClock>());
  time.start("reader", [&] {
    time.sleep_until(19ms);
    EXPECT_EQ(boards.snapshot().pump_duty_percent[0], 0);
  });
  expect_done(boards.operate("selfclean_board", "pump", "set_duty", {1, 50, 0}));
  EXPECT_EQ(time.now(), 20ms);
  expect_done(boards.operate("selfclean_board", "valve", "set_valves", {1, 1}));
  EXPECT_EQ(time.now(), 25ms);
  boards.add_fault(rule("valve", "*", Slow{1s}));
  expect_done(boards.operate("selfclean_board", "valve", "set_valves", {1, 0}));
  EXPECT_EQ(time.now(), 1030ms);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
