#include "workbench/simulated_boards.hpp"

#include <ostream>
#include <thread>
#include <utility>
#include <vector>

#include "tests/workbench/boards_fixture.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::ElementsAre;

// --- What the devices do ---

TEST_F(BoardsTest, StartDarkOffShutAndDisabledWithTheClawsAtHome) {
  const BoardsSnapshot state = boards.snapshot();

  for (const LedState& led : {state.left_light, state.right_light}) {
    EXPECT_EQ(led.red + led.green + led.blue + led.level + led.mode, 0);
  }
  EXPECT_EQ(state.fill_light_percent, 0);
  EXPECT_TRUE(state.power_bits.empty());
  EXPECT_THAT(state.pump_duty_percent, ElementsAre(0, 0, 0, 0, 0));
  EXPECT_EQ(state.open_valves, 0);
  ASSERT_EQ(state.cleaning_motors.size(), 2U);
  EXPECT_EQ(state.cleaning_motors[0].motor, 5);
  EXPECT_EQ(state.cleaning_motors[1].motor, 6);
  EXPECT_EQ(state.cleaning_motors[0].mode, 0);
  EXPECT_FALSE(state.cleaning_motors[0].enabled);
  ASSERT_EQ(state.claws.size(), 2U);
  EXPECT_EQ(state.claws[0].motor, 1);
  EXPECT_EQ(state.claws[1].motor, 2);
  EXPECT_EQ(state.claws[0].action, ClawAction::Idle);
  EXPECT_EQ(state.claws[0].position, ClawPosition::Home);
  EXPECT_EQ(state.claws[0].from_home, 0ns);
  EXPECT_FALSE(state.emergency);
  EXPECT_EQ(state.pending_faults, 0U);
}

TEST_F(BoardsTest, SetEachLedByItself) {
  expect_done(body("left_light", "set_led", {1, 2, 3, 4, 0x45, 0x23}));
  expect_done(body("right_light", "set_led", {5, 6, 7, 8, 0xFF, 0xFF}));

  const BoardsSnapshot state = boards.snapshot();
  EXPECT_EQ(state.left_light.red, 1);
  EXPECT_EQ(state.left_light.green, 2);
  EXPECT_EQ(state.left_light.blue, 3);
  EXPECT_EQ(state.left_light.level, 4);
  EXPECT_EQ(state.left_light.mode, 0x2345);
  EXPECT_EQ(state.right_light.red, 5);
  EXPECT_EQ(state.right_light.mode, 0xFFFF);
}

TEST_F(BoardsTest, SetTheFillLightUpToFullBrightness) {
  expect_done(body("fill_light", "set_brightness", {100, 0}));

  EXPECT_EQ(boards.snapshot().fill_light_percent, 100);
}

TEST_F(BoardsTest, SetOnePowerBitAndLeaveTheOthers) {
  expect_done(body("power_control", "set_bit", {2, 1, 1}));
  expect_done(body("power_control", "set_bit", {1, 255, 1}));
  expect_done(body("power_control", "set_bit", {2, 1, 0}));

  const std::vector<PowerBitState> bits = boards.snapshot().power_bits;
  ASSERT_EQ(bits.size(), 2U);
  EXPECT_EQ(bits[0].sub, 1);
  EXPECT_EQ(bits[0].bit, 255);
  EXPECT_TRUE(bits[0].value);
  EXPECT_EQ(bits[1].sub, 2);
  EXPECT_EQ(bits[1].bit, 1);
  EXPECT_FALSE(bits[1].value);
}

TEST_F(BoardsTest, DriveThePumpOfTheChannel) {
  expect_done(selfclean("pump", "set_duty", {1, 100, 0}));
  expect_done(selfclean("pump", "set_duty", {5, 30, 0}));
  EXPECT_THAT(boards.snapshot().pump_duty_percent, ElementsAre(100, 0, 0, 0, 30));

  expect_done(selfclean("pump", "set_duty", {1, 0, 0}));
  EXPECT_THAT(boards.snapshot().pump_duty_percent, ElementsAre(0, 0, 0, 0, 30));
}

TEST_F(BoardsTest, TouchNoValveOutsideTheMask) {
  expect_done(selfclean("valve", "set_valves", {0xF0, 0x90}));
  EXPECT_EQ(boards.snapshot().open_valves, 0x90);

  expect_done(selfclean("valve", "set_valves", {0x1F, 0x03}));
  EXPECT_EQ(boards.snapshot().open_valves, 0x83);

  expect_done(selfclean("valve", "set_valves", {0x00, 0x00}));
  EXPECT_EQ(boards.snapshot().open_valves, 0x83);
}

TEST_F(BoardsTest, TurnACleaningMotorOnlyWhileItIsEnabled) {
  const auto motor = [this] { return boards.snapshot().cleaning_motors[1]; };
  expect_done(selfclean("motor6", "set_mode", {3}));
  expect_done(selfclean("motor6", "set_target", {0x24, 0xFA}));
  EXPECT_EQ(motor().mode, 3);
  EXPECT_EQ(motor().target_rpm, -1500);
  EXPECT_EQ(motor().rpm(), 0);

  expect_done(selfclean("motor6", "enable"));
  EXPECT_EQ(motor().rpm(), -1500);

  expect_done(selfclean("motor6", "disable"));
  EXPECT_EQ(motor().rpm(), 0);
  EXPECT_EQ(boards.snapshot().cleaning_motors[0].target_rpm, 0);
}

TEST_F(BoardsTest, ReadTheRpmAsASigned16BitNumber) {
  const std::pair<Bytes, std::int16_t> rows[] = {{{0xFF, 0x7F}, std::int16_t{32767}},
                                                 {{0x00, 0x80}, std::int16_t{-32768}},
                                                 {{0xFF, 0xFF}, std::int16_t{-1}},
                                                 {{0x00, 0x01}, std::int16_t{256}}};
  for (const auto& [payload, rpm] : rows) {
    expect_done(selfclean("motor5", "set_target", payload));
    EXPECT_EQ(boards.snapshot().cleaning_motors[0].target_rpm, rpm);
  }
}

TEST(Boards, GiveADeviceOfTwoKindsTheOperationsOfBoth) {
  SimulatedBoards boards({"body", "clean", {5, 5}, {5}, 0ms}, std::make_shared<ManualClock>());

  expect_done(boards.operate("clean", "motor5", "enable", {}));
  expect_done(boards.operate("clean", "motor5", "claw_extend", {}));
  EXPECT_EQ(boards.snapshot().cleaning_motors.size(), 1U);
  EXPECT_EQ(boards.snapshot().claws.size(), 1U);
  expect_refused(boards.operate("clean", "motor5", "fly", {}),
                 "clean motor5 has no operation \"fly\"; it has set_mode, enable, set_target, "
                 "disable, claw_extend, claw_home, claw_query_state");
}

TEST(Boards, MayShareOneName) {
  SimulatedBoards boards({"board", "board", {}, {-2}, 0ms}, std::make_shared<ManualClock>());

  expect_refused(boards.operate("board", "motor2", "claw_home", {}),
                 "board has no device \"motor2\"; it has left_light, right_light, fill_light, "
                 "power_control, pump, valve, motor-2");
  expect_refused(boards.operate("other", "pump", "set_duty", {}),
                 "no board \"other\"; this robot has board");
}

TEST(Boards, AreDescribedByTheOrchestratorsConfiguration) {
  business_layer::bottom_compat::BottomCompatConfig config;
  config.bottom_board = "body";
  config.selfclean_board = "clean";
  config.tools_clean_motor_slots = {7, 8};
  config.claw_motor_ids = {3};

  const RobotDescription robot = describe_robot(config, 5ms);

  EXPECT_EQ(robot.bottom_board, "body");
  EXPECT_EQ(robot.selfclean_board, "clean");
  EXPECT_THAT(robot.cleaning_motors, ElementsAre(7, 8));
  EXPECT_THAT(robot.claw_motors, ElementsAre(3));
  EXPECT_EQ(robot.claw_travel_time, 5ms);
}

// --- What they refuse ---

struct RefusalRow {
  const char* name;
  Operation operation;
  const char* message;
};
void PrintTo(const RefusalRow& row, std::ostream* out) { *out << row.name; }

class BoardsRefusal : public BoardsTest, public testing::WithParamInterface<RefusalRow> {};

TEST_P(BoardsRefusal, SaysWhatWasGotAndWhatIsExpected) {
  const Operation& asked = GetParam().operation;
  expect_refused(operate(asked.board, asked.device, asked.op, asked.payload), GetParam().message);
}

constexpr const char* kBody = "bottom_board";
constexpr const char* kClean = "selfclean_board";

INSTANTIATE_TEST_SUITE_P(
    Names, BoardsRefusal,
    testing::Values(
        RefusalRow{"UnknownBoard",
                   {"aux_board", "pump", "set_duty", {1, 1, 0}},
                   "no board \"aux_board\"; this robot has bottom_board, selfclean_board"},
        RefusalRow{"EmptyBoard",
                   {"", "pump", "set_duty", {1, 1, 0}},
                   "no board \"\"; this robot has bottom_board, selfclean_board"},
        RefusalRow{"UnknownDevice",
                   {kClean, "motor9", "enable", {}},
                   "selfclean_board has no device \"motor9\"; it has pump, valve, motor5, motor6, "
                   "motor1, motor2"},
        RefusalRow{"DeviceOfTheOtherBoard",
                   {kBody, "pump", "set_duty", {1, 1, 0}},
                   "bottom_board has no device \"pump\"; it has left_light, right_light, "
                   "fill_light, power_control"},
        RefusalRow{"UnknownOperation",
                   {kClean, "pump", "stop", {}},
                   "selfclean_board pump has no operation \"stop\"; it has set_duty"},
        RefusalRow{"ClawMoveOfACleaningMotor",
                   {kClean, "motor5", "claw_home", {}},
                   "selfclean_board motor5 has no operation \"claw_home\"; it has set_mode, "
                   "enable, set_target, disable"},
        RefusalRow{"MotorOperationOfAClaw",
                   {kClean, "motor1", "enable", {}},
                   "selfclean_board motor1 has no operation \"enable\"; it has claw_extend, "
                   "claw_home, claw_query_state"}),
    [](const auto& row) { return row.param.name; });

INSTANTIATE_TEST_SUITE_P(
    Payloads, BoardsRefusal,
    testing::Values(
        RefusalRow{"LedTooShort",
                   {kBody, "left_light", "set_led", {1, 2, 3, 4, 5}},
                   "bottom_board left_light set_led: got 5 bytes [01 02 03 04 05]; expected 6 "
                   "bytes: red, green, blue, level, mode low, mode high"},
        RefusalRow{"FillLightTooLong",
                   {kBody, "fill_light", "set_brightness", {1, 0, 0}},
                   "bottom_board fill_light set_brightness: got 3 bytes [01 00 00]; expected 2 "
                   "bytes: brightness 0..100, 0"},
        RefusalRow{"FillLightTooBright",
                   {kBody, "fill_light", "set_brightness", {101, 0}},
                   "bottom_board fill_light set_brightness: got brightness 101 in [65 00]; "
                   "expected 2 bytes: brightness 0..100, 0"},
        RefusalRow{"FillLightSecondByte",
                   {kBody, "fill_light", "set_brightness", {100, 1}},
                   "bottom_board fill_light set_brightness: got second byte 1 in [64 01]; "
                   "expected 2 bytes: brightness 0..100, 0"},
        RefusalRow{"PowerBitEmpty",
                   {kBody, "power_control", "set_bit", {}},
                   "bottom_board power_control set_bit: got no bytes []; expected 3 bytes: "
                   "sub-address, bit, value 0 or 1"},
        RefusalRow{"PowerBitValue",
                   {kBody, "power_control", "set_bit", {1, 2, 2}},
                   "bottom_board power_control set_bit: got value 2 in [01 02 02]; expected 3 "
                   "bytes: sub-address, bit, value 0 or 1"},
        RefusalRow{"PumpOneByte",
                   {kClean, "pump", "set_duty", {6}},
                   "selfclean_board pump set_duty: got 1 byte [06]; expected 3 bytes: channel "
                   "1..5, duty 0..100, 0"},
        RefusalRow{"PumpChannelZero",
                   {kClean, "pump", "set_duty", {0, 80, 0}},
                   "selfclean_board pump set_duty: got channel 0 in [00 50 00]; expected 3 "
                   "bytes: channel 1..5, duty 0..100, 0"},
        RefusalRow{"PumpChannelSix",
                   {kClean, "pump", "set_duty", {6, 80, 0}},
                   "selfclean_board pump set_duty: got channel 6 in [06 50 00]; expected 3 "
                   "bytes: channel 1..5, duty 0..100, 0"},
        RefusalRow{"PumpDuty",
                   {kClean, "pump", "set_duty", {1, 101, 0}},
                   "selfclean_board pump set_duty: got duty 101 in [01 65 00]; expected 3 bytes: "
                   "channel 1..5, duty 0..100, 0"},
        RefusalRow{"PumpThirdByte",
                   {kClean, "pump", "set_duty", {1, 100, 9}},
                   "selfclean_board pump set_duty: got third byte 9 in [01 64 09]; expected 3 "
                   "bytes: channel 1..5, duty 0..100, 0"},
        RefusalRow{"ValveTooShort",
                   {kClean, "valve", "set_valves", {3}},
                   "selfclean_board valve set_valves: got 1 byte [03]; expected 2 bytes: mask of "
                   "the valves concerned, those of them to be open"},
        RefusalRow{"ValveOutsideTheMask",
                   {kClean, "valve", "set_valves", {0x03, 0x06}},
                   "selfclean_board valve set_valves: got open valves 0x04 outside the mask in "
                   "[03 06]; expected 2 bytes: mask of the valves concerned, those of them to be "
                   "open"},
        RefusalRow{"MotorMode",
                   {kClean, "motor5", "set_mode", {1}},
                   "selfclean_board motor5 set_mode: got mode 1 in [01]; expected 1 byte: mode 3 "
                   "(velocity)"},
        RefusalRow{"MotorModeEmpty",
                   {kClean, "motor5", "set_mode", {}},
                   "selfclean_board motor5 set_mode: got no bytes []; expected 1 byte: mode 3 "
                   "(velocity)"},
        RefusalRow{"MotorEnableWithBytes",
                   {kClean, "motor5", "enable", {1}},
                   "selfclean_board motor5 enable: got 1 byte [01]; expected no payload"},
        RefusalRow{"MotorTargetTooShort",
                   {kClean, "motor5", "set_target", {1}},
                   "selfclean_board motor5 set_target: got 1 byte [01]; expected 2 bytes: signed "
                   "16-bit rpm, low byte first"},
        RefusalRow{"MotorDisableWithBytes",
                   {kClean, "motor5", "disable", {0}},
                   "selfclean_board motor5 disable: got 1 byte [00]; expected no payload"},
        RefusalRow{"ClawExtendWithBytes",
                   {kClean, "motor1", "claw_extend", {0}},
                   "selfclean_board motor1 claw_extend: got 1 byte [00]; expected no payload"},
        RefusalRow{"ClawHomeWithBytes",
                   {kClean, "motor1", "claw_home", {0}},
                   "selfclean_board motor1 claw_home: got 1 byte [00]; expected no payload"},
        RefusalRow{"ClawQueryWithBytes",
                   {kClean, "motor1", "claw_query_state", {0}},
                   "selfclean_board motor1 claw_query_state: got 1 byte [00]; expected no "
                   "payload"}),
    [](const auto& row) { return row.param.name; });

TEST_F(BoardsTest, ChangeNothingWhenTheyRefuse) {
  expect_done(selfclean("valve", "set_valves", {0x03, 0x03}));
  expect_done(selfclean("pump", "set_duty", {1, 10, 0}));
  (void)selfclean("valve", "set_valves", {0x01, 0x02});
  (void)selfclean("pump", "set_duty", {1, 20, 7});
  (void)body("fill_light", "set_brightness", {50, 1});

  const BoardsSnapshot state = boards.snapshot();
  EXPECT_EQ(state.open_valves, 0x03);
  EXPECT_EQ(state.pump_duty_percent[0], 10);
  EXPECT_EQ(state.fill_light_percent, 0);
}

// --- Faults ---

TEST_F(BoardsTest, FailTheNextOperationsThatARuleMatches) {
  boards.add_fault({"*", "motor1", "claw_query_state", 2, Refuse{"no answer"}});

  expect_done(selfclean("motor2", "claw_query_state"), {0, 1});
  expect_done(selfclean("motor1", "claw_extend"));
  EXPECT_EQ(boards.snapshot().pending_faults, 2U);
  expect_refused(selfclean("motor1", "claw_query_state"), "no answer");
  expect_refused(selfclean("motor1", "claw_query_state"), "no answer");
  EXPECT_EQ(boards.snapshot().pending_faults, 0U);
  expect_done(selfclean("motor1", "claw_query_state"), {1, 1});
}

TEST_F(BoardsTest, DoNotCarryOutWhatAFaultRefuses) {
  boards.add_fault({"selfclean_board", "pump", "set_duty", 1, Refuse{"bus off"}});

  expect_refused(selfclean("pump", "set_duty", {1, 50, 0}), "bus off");

  EXPECT_EQ(boards.snapshot().pump_duty_percent[0], 0);
}

TEST_F(BoardsTest, LetTheOldestOfTwoRulesGoFirst) {
  boards.add_fault({"*", "*", "set_duty", 1, Refuse{"first"}});
  boards.add_fault({"*", "*", "*", 1, Refuse{"second"}});

  expect_refused(selfclean("pump", "set_duty", {1, 50, 0}), "first");
  expect_refused(selfclean("pump", "set_duty", {1, 50, 0}), "second");
  expect_done(selfclean("pump", "set_duty", {1, 50, 0}));
}

TEST_F(BoardsTest, MatchTheBoardOfARule) {
  boards.add_fault({"bottom_board", "*", "*", 1, Refuse{"body board gone"}});

  expect_done(selfclean("pump", "set_duty", {1, 50, 0}));
  expect_refused(body("fill_light", "set_brightness", {1, 0}), "body board gone");
}

TEST_F(BoardsTest, SpendNoFaultOnWhatNoDeviceKnows) {
  boards.add_fault({"*", "*", "*", 1, Refuse{"no answer"}});

  (void)operate("aux_board", "pump", "set_duty");
  (void)selfclean("motor9", "enable");
  (void)selfclean("pump", "stop");
  EXPECT_EQ(boards.snapshot().pending_faults, 1U);

  expect_refused(selfclean("pump", "set_duty", {}), "no answer");  // before it looks at the payload
}

TEST_F(BoardsTest, CountPendingFaultsWithoutOverflow) {
  boards.add_fault({"*", "*", "*", 3, Refuse{"a"}});
  EXPECT_EQ(boards.snapshot().pending_faults, 3U);
  boards.add_fault({"*", "*", "*", ~std::uint64_t{0}, Refuse{"b"}});
  EXPECT_EQ(boards.snapshot().pending_faults, ~std::uint64_t{0});
}

// --- The observer ---

/// Writes down what it is told, and looks at the boards meanwhile.
class Recorder final : public IBoardsObserver {
 public:
  void on_operation(const OperationEvent& event) override {
    operations.push_back(event);
    if (boards != nullptr) {
      states.push_back(boards->snapshot());
    }
  }
  void on_emergency(bool active) override { emergencies.push_back(active); }

  SimulatedBoards* boards = nullptr;
  std::vector<OperationEvent> operations;
  std::vector<BoardsSnapshot> states;
  std::vector<bool> emergencies;
};

TEST(BoardsObserver, IsToldOfEveryOperationOnceItHasHappened) {
  const auto clock = std::make_shared<ManualClock>();
  Recorder recorder;
  SimulatedBoards boards(small_robot(), clock, &recorder);
  recorder.boards = &boards;

  (void)boards.operate("selfclean_board", "pump", "set_duty", {2, 40, 0});
  clock->advance(5ms);
  (void)boards.operate("moon", "pump", "set_duty", {2, 50, 0});

  ASSERT_EQ(recorder.operations.size(), 2U);
  const OperationEvent& done = recorder.operations[0];
  EXPECT_EQ(done.operation.board, "selfclean_board");
  EXPECT_EQ(done.operation.device, "pump");
  EXPECT_EQ(done.operation.op, "set_duty");
  EXPECT_EQ(done.operation.payload, (Bytes{2, 40, 0}));
  EXPECT_TRUE(done.result.success);
  EXPECT_EQ(done.started, clock->now() - 5ms);
  EXPECT_EQ(done.ended, done.started);
  EXPECT_EQ(recorder.states[0].pump_duty_percent[1], 40);
  EXPECT_FALSE(recorder.operations[1].result.success);
  EXPECT_EQ(recorder.operations[1].started, clock->now());
}

TEST(BoardsObserver, IsToldOfTheEdgesOfAnEmergency) {
  Recorder recorder;
  SimulatedBoards boards(small_robot(), std::make_shared<ManualClock>(), &recorder);

  boards.clear_emergency();
  boards.raise_emergency();
  EXPECT_TRUE(boards.snapshot().emergency);
  boards.raise_emergency();
  boards.clear_emergency();
  EXPECT_FALSE(boards.snapshot().emergency);

  EXPECT_THAT(recorder.emergencies, ElementsAre(true, false));
}

// --- Threads ---

TEST_F(BoardsTest, ServeSeveralThreadsAtOnce) {
  constexpr int kRounds = 300;
  boards.add_fault({"*", "valve", "*", kRounds, Refuse{"lost"}});
  int lost = 0;
  const auto play = [](const auto& step) {
    return std::thread([step] {
      for (int round = 0; round < kRounds; ++round) {
        step(round);
      }
    });
  };

  std::vector<std::thread> threads;
  threads.push_back(play([this](int round) {
    const auto duty = static_cast<std::uint8_t>(round % 100);
    expect_done(selfclean("pump", "set_duty", {1, duty, 0}));
  }));
  threads.push_back(play([this](int) {
    expect_done(body("power_control", "set_bit", {1, 5, 1}));
    clock->advance(1ms);
  }));
  threads.push_back(play([this, &lost](int) {
    lost += selfclean("valve", "set_valves", {1, 1}).success ? 0 : 1;
  }));
  threads.push_back(play([this](int) {
    boards.raise_emergency();
    boards.clear_emergency();
    (void)selfclean("motor1", "claw_extend");
  }));
  threads.push_back(play([this](int) { EXPECT_EQ(boards.snapshot().claws.size(), 2U); }));
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(lost, kRounds);
  const BoardsSnapshot state = boards.snapshot();
  EXPECT_EQ(state.pump_duty_percent[0], (kRounds - 1) % 100);
  EXPECT_EQ(state.pending_faults, 0U);
  EXPECT_EQ(state.open_valves, 0);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
