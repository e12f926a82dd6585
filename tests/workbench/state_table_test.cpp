#include "workbench/state_table.hpp"

#include <gtest/gtest.h>

#include <chrono>

#include "tests/workbench/reference_robot.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;

BoardsSnapshot resting() {
  BoardsSnapshot snapshot;
  snapshot.cleaning_motors = {{5, 3, false, 0}};
  snapshot.claws = {{1, ClawAction::Homed, ClawPosition::Home, 0ns}};
  return snapshot;
}

std::string table(const BoardsSnapshot& snapshot) {
  return state_table(device_rows(snapshot, reference_robot(900ms)), false);
}

TEST(StateTable, ShowsBoardsAtRest) {
  EXPECT_EQ(table(resting()),
            "  ✔ bottom_board/left_light       level 0, colour 0x000000, mode 0\n"
            "  ✔ bottom_board/right_light      level 0, colour 0x000000, mode 0\n"
            "  ✔ bottom_board/fill_light       0 %\n"
            "  ✔ selfclean_board/pump          channels 1 to 5 at 0 0 0 0 0 %\n"
            "  ✔ selfclean_board/valve         all shut\n"
            "  ✔ selfclean_board/motor5        disabled, target 0 rpm\n"
            "  ✔ selfclean_board/motor1        claw homed, at home\n");
}

TEST(StateTable, MarksWhatIsNotAtRest) {
  BoardsSnapshot busy = resting();
  busy.left_light = {1, 2, 0xAB, 4, 5};
  busy.right_light.level = 1;
  busy.fill_light_percent = 7;
  busy.power_bits = {{1, 5, true}, {1, 7, true}, {2, 0, true}, {2, 1, true}, {9, 9, true}};
  busy.pump_duty_percent = {0, 0, 0, 0, 80};
  busy.open_valves = 0x81;
  busy.cleaning_motors[0] = {5, 3, true, -600};
  busy.claws[0] = {1, ClawAction::Stopped, ClawPosition::Between, 1ms};
  EXPECT_EQ(table(busy),
            "  ✘ bottom_board/left_light       level 4, colour 0x0102ab, mode 5\n"
            "  ✘ bottom_board/right_light      level 1, colour 0x000000, mode 0\n"
            "  ✘ bottom_board/fill_light       7 %\n"
            "  ✘ bottom_board/power_control    wheels locked (sub-address 1, bit 5 = 1)\n"
            "  ✘ bottom_board/power_control    bump sensor unlocked (sub-address 1, bit 7 = 1)\n"
            "  ✘ bottom_board/power_control    front projection light on (sub-address 2, bit 0 = "
            "1)\n"
            "  ✘ bottom_board/power_control    rear projection light on (sub-address 2, bit 1 = "
            "1)\n"
            "  ✘ bottom_board/power_control    output on (sub-address 9, bit 9 = 1)\n"
            "  ✘ selfclean_board/pump          channels 1 to 5 at 0 0 0 0 80 %\n"
            "  ✘ selfclean_board/valve         open: 0 7\n"
            "  ✘ selfclean_board/motor5        enabled, target -600 rpm\n"
            "  ✘ selfclean_board/motor1        claw stopped by emergency, in between\n");
}

TEST(StateTable, KnowsWheelsThatUnlockWithAOne) {
  auto config = reference_robot(900ms);
  config.wheel_lock_value = false;
  config.wheel_unlock_value = true;
  BoardsSnapshot snapshot;
  snapshot.power_bits = {{1, 5, false}};
  EXPECT_EQ(device_rows(snapshot, config)[3].state, "wheels locked (sub-address 1, bit 5 = 0)");
  EXPECT_FALSE(device_rows(snapshot, config)[3].at_rest);

  snapshot.power_bits[0].value = true;
  EXPECT_EQ(device_rows(snapshot, config)[3].state, "wheels unlocked (sub-address 1, bit 5 = 1)");
  EXPECT_TRUE(device_rows(snapshot, config)[3].at_rest);
}

TEST(StateTable, NamesEveryStateOfAClaw) {
  const auto row = [](ClawAction action, ClawPosition position) {
    BoardsSnapshot snapshot;
    snapshot.claws = {{1, action, position, 0ns}};
    return device_rows(snapshot, reference_robot(900ms)).back();
  };
  const ClawPosition home = ClawPosition::Home;
  EXPECT_EQ(row(ClawAction::Idle, home).state, "claw not moved yet, at home");
  EXPECT_FALSE(row(ClawAction::Idle, home).at_rest);
  EXPECT_EQ(row(ClawAction::Extending, home).state, "claw extending, at home");
  EXPECT_EQ(row(ClawAction::Homing, home).state, "claw homing, at home");
  EXPECT_FALSE(row(ClawAction::Homing, home).at_rest);
  EXPECT_EQ(row(ClawAction::Extended, ClawPosition::Extended).state,
            "claw extended, at its far end");
  EXPECT_EQ(row(ClawAction::ExtendFailed, home).state, "claw extend failed, at home");
  EXPECT_EQ(row(ClawAction::HomeFailed, home).state, "claw home failed, at home");
}

TEST(StateTable, ColoursItsMarks) {
  EXPECT_EQ(state_table({{"a", "on", false}, {"b", "off", true}}, true),
            "  \x1b[1;31m✘\x1b[0m a                             on\n"
            "  \x1b[32m✔\x1b[0m b                             off\n");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
