#include "workbench/simulated_claw.hpp"

#include "tests/workbench/boards_fixture.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

/// A claw on a board, a second from end to end; what a client sees are its status bytes.
class Claw : public BoardsTest {
 protected:
  void extend() { expect_done(selfclean("motor1", "claw_extend")); }
  void home() { expect_done(selfclean("motor1", "claw_home")); }
  std::chrono::nanoseconds from_home() { return boards.snapshot().claws[0].from_home; }
  void extend_fully() {
    extend();
    clock->advance(1000ms);
    ASSERT_EQ(claw_status(), (Bytes{3, 2}));
  }
};

TEST_F(Claw, IsIdleAtHomeBeforeItsFirstMove) {
  clock->advance(24h);
  EXPECT_EQ(claw_status(), (Bytes{0, 1}));
}

TEST_F(Claw, ExtendsInItsTravelTime) {
  extend();
  EXPECT_EQ(claw_status(), (Bytes{1, 1}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  clock->advance(1000ms - 2ns);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  EXPECT_EQ(from_home(), 1000ms - 1ns);
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
  EXPECT_EQ(from_home(), 1000ms);
}

TEST_F(Claw, HomesInItsTravelTime) {
  extend_fully();
  home();
  EXPECT_EQ(claw_status(), (Bytes{2, 2}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{2, 0}));
  clock->advance(1000ms - 2ns);
  EXPECT_EQ(claw_status(), (Bytes{2, 0}));
  EXPECT_EQ(from_home(), 1ns);
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{4, 1}));
  EXPECT_EQ(from_home(), 0ns);
}

TEST_F(Claw, StaysWhereItsMoveEnded) {
  extend_fully();
  clock->advance(24h);
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, IsThereAtOnceWhenItStandsThere) {
  home();
  EXPECT_EQ(claw_status(), (Bytes{4, 1}));
  extend_fully();
  extend();
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, TurnsRoundWhereItIs) {
  extend();
  clock->advance(300ms);
  home();
  EXPECT_EQ(claw_status(), (Bytes{2, 0}));
  clock->advance(300ms - 1ns);
  EXPECT_EQ(claw_status(), (Bytes{2, 0}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{4, 1}));
}

TEST_F(Claw, GoesOnWhenItIsSentAgain) {
  extend();
  clock->advance(300ms);
  extend();
  clock->advance(700ms - 1ns);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, MovesApartFromTheOthers) {
  extend();
  clock->advance(1000ms);
  expect_done(selfclean("motor2", "claw_query_state"), {0, 1});
}

TEST(ClawWithoutTravelTime, IsAtTheEndItWasSentTo) {
  for (const std::chrono::nanoseconds travel_time : {0ns, -5ns}) {
    SimulatedBoards boards({"body", "clean", {}, {1}, travel_time},
                           std::make_shared<ManualClock>());
    const auto status = [&] { return boards.operate("clean", "motor1", "claw_query_state", {}); };

    (void)boards.operate("clean", "motor1", "claw_extend", {});
    EXPECT_EQ(status().data, (Bytes{3, 2}));
    (void)boards.operate("clean", "motor1", "claw_home", {});
    EXPECT_EQ(status().data, (Bytes{4, 1}));
  }
}

// --- Failing moves ---

TEST_F(Claw, ReportsAFailedExtendHalfWayToItsEnd) {
  boards.add_fault({"*", "motor1", "*", 1, FailMove{}});
  extend();
  clock->advance(500ms - 1ns);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{5, 0}));
  clock->advance(24h);
  EXPECT_EQ(claw_status(), (Bytes{5, 0}));
  EXPECT_EQ(from_home(), 500ms);
}

TEST_F(Claw, ReportsAFailedHomeAndMovesOnAtTheNextCommand) {
  extend_fully();
  boards.add_fault({"*", "*", "*", 1, FailMove{}});
  home();
  clock->advance(500ms);
  EXPECT_EQ(claw_status(), (Bytes{6, 0}));

  home();
  EXPECT_EQ(claw_status(), (Bytes{2, 0}));
  clock->advance(500ms);
  EXPECT_EQ(claw_status(), (Bytes{4, 1}));
}

TEST_F(Claw, IsStuckInOnePlaceHoweverOftenItIsToldToMoveOn) {
  boards.add_fault({"*", "motor1", "*", 2, StickMove{400}});
  for (const auto move : {1, 2}) {
    extend();
    clock->advance(24h);
    EXPECT_EQ(claw_status(), (Bytes{1, 0})) << "move " << move;
    EXPECT_EQ(from_home(), 400ms) << "move " << move;
  }
  extend_fully();
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, IsStuckOnItsWayHomeCountedFromTheFarEnd) {
  extend_fully();
  boards.add_fault({"*", "motor1", "*", 2, StickMove{400}});
  for (const auto move : {1, 2}) {
    home();
    clock->advance(24h);
    EXPECT_EQ(claw_status(), (Bytes{2, 0})) << "move " << move;
    EXPECT_EQ(from_home(), 600ms) << "move " << move;
  }
}

TEST_F(Claw, DoesNotMoveAtAllBeyondThePlaceWhereItSticks) {
  extend();
  clock->advance(700ms);
  boards.add_fault({"*", "motor1", "*", 1, StickMove{400}});
  extend();
  clock->advance(24h);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  EXPECT_EQ(from_home(), 700ms);
}

TEST_F(Claw, SpendsAFailingMoveOnMovesAlone) {
  boards.add_fault({"*", "*", "*", 1, FailMove{}});

  expect_done(selfclean("pump", "set_duty", {1, 1, 0}));
  EXPECT_EQ(claw_status(), (Bytes{0, 1}));
  EXPECT_EQ(boards.snapshot().pending_faults, 1U);

  home();
  EXPECT_EQ(boards.snapshot().pending_faults, 0U);
  EXPECT_EQ(claw_status(), (Bytes{6, 1}));
}

// --- Emergency stop ---

TEST_F(Claw, FreezesInAnEmergencyAndStaysThereWhenItClears) {
  extend();
  clock->advance(300ms);
  boards.raise_emergency();
  EXPECT_EQ(claw_status(), (Bytes{7, 0}));
  clock->advance(24h);
  EXPECT_EQ(from_home(), 300ms);

  boards.clear_emergency();
  clock->advance(24h);
  EXPECT_EQ(claw_status(), (Bytes{7, 0}));
  EXPECT_EQ(from_home(), 300ms);
}

TEST_F(Claw, MovesAgainAtACommandAfterTheEmergency) {
  extend_fully();
  home();
  clock->advance(300ms);
  boards.raise_emergency();
  boards.clear_emergency();

  extend();
  clock->advance(300ms - 1ns);
  EXPECT_EQ(claw_status(), (Bytes{1, 0}));
  clock->advance(1ns);
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, RefusesToMoveInAnEmergency) {
  boards.raise_emergency();

  expect_refused(
      selfclean("motor1", "claw_extend"),
      "selfclean_board motor1 claw_extend: the board is in emergency stop; clear it first");
  expect_refused(
      selfclean("motor2", "claw_home"),
      "selfclean_board motor2 claw_home: the board is in emergency stop; clear it first");
  clock->advance(1000ms);
  EXPECT_EQ(claw_status(), (Bytes{0, 1}));
}

TEST_F(Claw, KeepsItsStatusInAnEmergencyWhenItWasNotMoving) {
  extend_fully();
  boards.raise_emergency();
  boards.clear_emergency();
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
  expect_done(selfclean("motor2", "claw_query_state"), {0, 1});
}

TEST_F(Claw, KeepsAMoveThatEndedUnseenBeforeTheEmergency) {
  extend();
  clock->advance(1000ms);
  boards.raise_emergency();
  EXPECT_EQ(claw_status(), (Bytes{3, 2}));
}

TEST_F(Claw, SaysThatItWasStoppedAlsoAtTheEndItHadNotLeft) {
  extend();
  boards.raise_emergency();
  EXPECT_EQ(claw_status(), (Bytes{7, 1}));
}

TEST_F(Claw, LeavesPumpsValvesAndMotorsAloneInAnEmergency) {
  boards.raise_emergency();
  expect_done(selfclean("pump", "set_duty", {1, 20, 0}));
  expect_done(selfclean("valve", "set_valves", {1, 1}));
  expect_done(selfclean("motor5", "enable"));
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
