// The pure rules of the cleaning tools: selects, masks, on and off, motor speeds.

#include <gtest/gtest.h>

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"
#include "tests/support/selects.hpp"

namespace vantrel_can_bridge::test {
namespace {

using Orchestrator = business_layer::bottom_compat::BottomCompatOrchestrator;

constexpr std::int32_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

// --- On and off, empty ---

TEST(CommandIsOn, NeedsACommandAndAPositiveDuty) {
  for (const std::int32_t cmd : {kInt32Min, -1, 1, 2, 3, 5, kInt32Max}) {
    for (const std::int32_t duty : {1, 2, 100, 101, kInt32Max}) {
      EXPECT_TRUE(Orchestrator::command_is_on(cmd, duty)) << cmd << ' ' << duty;
    }
    for (const std::int32_t duty : {kInt32Min, -20, -1, 0}) {
      EXPECT_FALSE(Orchestrator::command_is_on(cmd, duty)) << cmd << ' ' << duty;
    }
  }
}

TEST(CommandIsOn, IsOffWithoutACommandWhateverTheDuty) {
  for (const std::int32_t duty : {kInt32Min, -1, 0, 1, 50, kInt32Max}) {
    EXPECT_FALSE(Orchestrator::command_is_on(0, duty)) << duty;
  }
}

TEST(CommandIsEmpty, OnlyWhenAllThreeAreZero) {
  EXPECT_TRUE(Orchestrator::multiplex_command_is_empty(0, 0, 0));
  for (const std::int32_t value : {kInt32Min, -1, 1, 2, 256, kInt32Max}) {
    EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(value, 0, 0)) << value;
    EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(0, value, 0)) << value;
    EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(0, 0, value)) << value;
    EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(value, value, value)) << value;
  }
}

// A sum would take these for empty.
TEST(CommandIsEmpty, DoesNotLetValuesCancelOut) {
  EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(1, -1, 0));
  EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(0, 5, -5));
  EXPECT_FALSE(Orchestrator::multiplex_command_is_empty(2, -1, -1));
}

// --- Selects ---

TEST(SelectToIndex, TakesExactlyTheFourOneHotCodes) {
  for (const std::int32_t select : selects_worth_testing()) {
    EXPECT_EQ(Orchestrator::multiplex_select_to_index(select), one_hot_position(select)) << select;
  }
}

TEST(SelectToIndex, GivesListPositionsAndMinusOne) {
  EXPECT_EQ(Orchestrator::multiplex_select_to_index(1), 0);
  EXPECT_EQ(Orchestrator::multiplex_select_to_index(2), 1);
  EXPECT_EQ(Orchestrator::multiplex_select_to_index(4), 2);
  EXPECT_EQ(Orchestrator::multiplex_select_to_index(8), 3);
  for (const std::int32_t select : {kInt32Min, -8, -1, 0, 3, 5, 6, 7, 9, 16, kInt32Max}) {
    EXPECT_EQ(Orchestrator::multiplex_select_to_index(select), -1) << select;
  }
}

// --- Motor speed ---

struct RpmRow {
  const char* name;
  std::int32_t cmd;
  std::int32_t duty;
  std::int64_t rpm_per_duty;
  std::int64_t rpm;
};
void PrintTo(const RpmRow& row, std::ostream* out) { *out << row.name; }
class MotorTargetRpm : public testing::TestWithParam<RpmRow> {};

TEST_P(MotorTargetRpm, IsDutyTimesFactorNegatedInReverse) {
  const RpmRow& row = GetParam();

  EXPECT_EQ(Orchestrator::motor_target_rpm(row.cmd, row.duty, row.rpm_per_duty), row.rpm);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, MotorTargetRpm,
    testing::Values(RpmRow{"Forward", 1, 50, 30, 1500}, RpmRow{"Reverse", 3, 50, 30, -1500},
                    RpmRow{"ReverseOfNegativeDuty", 3, -2, 30, 60},
                    RpmRow{"NegativeDuty", 1, -2, 30, -60},
                    RpmRow{"NegativeFactor", 1, 2, -30, -60},
                    RpmRow{"ReverseOfNegativeFactor", 3, 2, -30, 60},
                    RpmRow{"CmdZero", 0, 50, 30, 1500}, RpmRow{"CmdTwo", 2, 50, 30, 1500},
                    RpmRow{"CmdFour", 4, 50, 30, 1500}, RpmRow{"CmdMinusThree", -3, 50, 30, 1500},
                    RpmRow{"LowestCmd", kInt32Min, 50, 30, 1500}, RpmRow{"ZeroDuty", 3, 0, 30, 0},
                    RpmRow{"ZeroFactor", 3, 50, 0, 0}, RpmRow{"NotClamped", 1, 100'000, 1, 100'000},
                    RpmRow{"Beyond32Bits", 1, kInt32Max, 30, 64'424'509'410},
                    RpmRow{"ReverseBeyond32Bits", 3, kInt32Min, 2, 4'294'967'296},
                    RpmRow{"LargestFactor", 1, 1, kInt64Max, kInt64Max},
                    RpmRow{"ReverseOfLargestFactor", 3, 1, kInt64Max, -kInt64Max},
                    RpmRow{"LowestFactor", 1, 1, kInt64Min, kInt64Min},
                    RpmRow{"ReverseOfLowestFactor", 3, 1, kInt64Min, kInt64Max},
                    RpmRow{"JustFits", 1, 2, 4'611'686'018'427'387'903, 9'223'372'036'854'775'806},
                    RpmRow{"JustTooLarge", 1, 2, 4'611'686'018'427'387'904, kInt64Max},
                    RpmRow{"JustFitsBelow", 1, 2, -4'611'686'018'427'387'904, kInt64Min},
                    RpmRow{"JustTooLow", 1, 2, -4'611'686'018'427'387'905, kInt64Min},
                    RpmRow{"TooLargeOfTwoNegatives", 1, -2, kInt64Min, kInt64Max},
                    RpmRow{"TooLargeOfMinusOne", 1, -1, kInt64Min, kInt64Max},
                    RpmRow{"TooLowOfNegativeDuty", 1, kInt32Min, kInt64Max, kInt64Min},
                    RpmRow{"ReverseOfTooLarge", 3, 2, kInt64Max, -kInt64Max},
                    RpmRow{"ReverseOfTooLow", 3, 2, kInt64Min, kInt64Max},
                    RpmRow{"ReverseOfTooLowOfNegativeDuty", 3, -2, kInt64Max, kInt64Max},
                    RpmRow{"ReverseOfTooLargeOfTwoNegatives", 3, -2, kInt64Min, -kInt64Max}),
    [](const auto& row) { return row.param.name; });

// --- Valve masks ---

struct ValveRow {
  const char* name;
  Valves valves;
  std::uint8_t mask;
};
void PrintTo(const ValveRow& row, std::ostream* out) { *out << row.name; }
class ValveGroupMask : public testing::TestWithParam<ValveRow> {};

TEST_P(ValveGroupMask, HoldsTheValidEntries) {
  EXPECT_EQ(Orchestrator::valve_group_mask(GetParam().valves), GetParam().mask);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ValveGroupMask,
    testing::Values(ValveRow{"Empty", {}, 0}, ValveRow{"Mixed", {0, 3, 9, -1, 7}, 0x89},
                    ValveRow{"All", {7, 6, 5, 4, 3, 2, 1, 0}, 0xFF},
                    ValveRow{"Duplicates", {5, 5, 5}, 0x20}, ValveRow{"NoneValid", {8, -1}, 0},
                    ValveRow{"AllBeyondAByte", {8, 16, 32, 64, 256, 264}, 0},
                    ValveRow{"EqualToZeroIn32Bits", {4'294'967'296, -4'294'967'296}, 0},
                    ValveRow{"Extremes", {kInt64Min, 2, kInt64Max}, 0x04}),
    [](const auto& row) { return row.param.name; });

TEST(ValveMasks, TakeEntriesFromZeroToSevenAlone) {
  for (std::int64_t valve = -300; valve <= 300; ++valve) {
    const int mask =
        valve < 0 || valve > 7
            ? 0
            : std::vector{1, 2, 4, 8, 16, 32, 64, 128}.at(static_cast<std::size_t>(valve));
    EXPECT_EQ(Orchestrator::valve_group_mask({valve}), mask) << valve;
    EXPECT_EQ(Orchestrator::single_select_to_valve_mask({valve}, 1), mask) << valve;
    EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({valve}, 1), mask) << valve;
  }
}

TEST(SingleSelectToValveMask, TakesTheEntryOfAOneHotSelect) {
  for (const Valves& valves : valve_lists_worth_testing()) {
    for (const std::int32_t select : selects_worth_testing()) {
      const auto position = one_hot_position(select);
      const bool exists = position >= 0 && position < static_cast<std::int64_t>(valves.size());
      const int mask = exists ? bit_of_valve(valves.at(static_cast<std::size_t>(position))) : 0;
      EXPECT_EQ(Orchestrator::single_select_to_valve_mask(valves, select), mask)
          << testing::PrintToString(valves) << " select " << select;
    }
  }
}

TEST(SingleSelectToValveMask, GivesNothingWhereThereIsNoValve) {
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({2, 5}, 1), 0x04);
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({2, 5}, 2), 0x20);
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({2, 5}, 3), 0);
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({2, 5}, 4), 0);
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({8}, 1), 0);
  EXPECT_EQ(Orchestrator::single_select_to_valve_mask({}, 1), 0);
}

TEST(BitmaskSelectToValveMask, TakesTheEntriesOfEveryBit) {
  for (const Valves& valves : valve_lists_worth_testing()) {
    for (const std::int32_t select : selects_worth_testing()) {
      const std::bitset<32> bits(static_cast<std::uint32_t>(select));
      int mask = 0;
      for (std::size_t i = 0; i < valves.size() && i < bits.size(); ++i) {
        mask |= bits.test(i) ? bit_of_valve(valves[i]) : 0;
      }
      EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, select), mask)
          << testing::PrintToString(valves) << " select " << select;
    }
  }
}

TEST(BitmaskSelectToValveMask, SkipsWhatIsNoValve) {
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({1, 2, 12, 4}, 0x0F), 0x16);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({1, 2, 12, 4}, 0), 0);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({1, 2, 12, 4}, -1), 0x16);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({1, 2}, 4), 0);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask({}, -1), 0);
}

TEST(BitmaskSelectToValveMask, ReachesTheLast32BitPositionAndNoneBeyond) {
  Valves valves(70, -1);
  valves[31] = 1;
  valves[32] = 2;
  valves[63] = 3;
  valves[64] = 4;
  valves[69] = 5;

  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, -1), 0x02);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, kInt32Min), 0x02);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, kInt32Max), 0);
  EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, 1), 0);
}

}  // namespace
}  // namespace vantrel_can_bridge::test
