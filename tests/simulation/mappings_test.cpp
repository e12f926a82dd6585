// The pure mappings over their whole domain, or over all of it that matters.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>

#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

using Orchestrator = BottomCompatOrchestrator;
using Bytes = std::vector<std::uint8_t>;
using List = std::vector<std::int64_t>;

constexpr std::int32_t kMost32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kLeast32 = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMost64 = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast64 = std::numeric_limits<std::int64_t>::min();

/// Calls `check` for every select around zero and at the ends of the range.
template <class Check>
void for_each_select(Check check) {
  for (std::int32_t select = -70'000; select <= 70'000; ++select) {
    check(select);
  }
  for (std::int32_t i = 0; i < 16; ++i) {
    check(kMost32 - i);
    check(kLeast32 + i);
  }
}

/// Lists of every length to 40, with every valve and entries that are none.
std::vector<List> valve_lists() {
  const List entries = {3, 0, 7, 8, 1, -1, 6, 3, kMost64, 2, kLeast64, 5, 4, 263, 256, -256};
  std::vector<List> lists;
  for (std::size_t length = 0; length <= 40; ++length) {
    for (std::size_t first = 0; first < entries.size(); ++first) {
      List list;
      for (std::size_t i = 0; i < length; ++i) {
        list.push_back(entries[(first + i * 5) % entries.size()]);
      }
      lists.push_back(list);
    }
  }
  return lists;
}

/// What an entry contributes to a mask.
unsigned bit_of(std::int64_t entry) {
  static const std::map<std::int64_t, unsigned> bits = {{0, 1},  {1, 2},  {2, 4},  {3, 8},
                                                        {4, 16}, {5, 32}, {6, 64}, {7, 128}};
  const auto found = bits.find(entry);
  return found == bits.end() ? 0 : found->second;
}

TEST(Mappings, SixteenBitValuesComeBackFromTheirTwoBytes) {
  for (int value = 0; value <= 0xffff; ++value) {
    const Bytes bytes = Orchestrator::encode_u16_le(static_cast<std::uint16_t>(value));
    ASSERT_EQ(bytes.size(), 2U);
    ASSERT_EQ(bytes[0] + 256 * bytes[1], value);

    const auto signed_value = static_cast<std::int16_t>(value - 0x8000);
    const Bytes signed_bytes = Orchestrator::encode_i16_le(signed_value);
    ASSERT_EQ(signed_bytes.size(), 2U);
    const int high = signed_bytes[1] < 0x80 ? signed_bytes[1] : signed_bytes[1] - 256;
    ASSERT_EQ(signed_bytes[0] + 256 * high, signed_value);
  }
}

TEST(Mappings, EveryByteReadsBackFromItsHexText) {
  for (int value = 0; value <= 0xff; ++value) {
    const auto byte = static_cast<std::uint8_t>(value);
    const std::string text = Orchestrator::payload_to_hex({byte, 0xab, byte});
    ASSERT_EQ(text.size(), 16U);
    ASSERT_EQ(std::stoi(text.substr(3, 2), nullptr, 16), value) << text;
    ASSERT_EQ(text, "[0x" + text.substr(3, 2) + " 0xab 0x" + text.substr(3, 2) + "]");
    ASSERT_EQ(text.find_first_of("ABCDEF"), std::string::npos) << text;
  }
  EXPECT_EQ(Orchestrator::payload_to_hex({}), "[]");
}

TEST(Mappings, LedBytesAreTheColourTheClampedLevelAndTheLowHalfOfTheMode) {
  for (const std::uint32_t top : {0U, 0x01U, 0xffU}) {
    for (std::uint32_t low = 0; low <= 0xff; ++low) {
      const auto level = static_cast<std::int32_t>(low) * 4 - 300;
      const std::uint32_t rgb = top << 24U | low << 16U | (255 - low) << 8U | (low / 2);
      const std::uint32_t mode = top << 24U | top << 16U | (255 - low) << 8U | low;
      const auto byte = [](auto value) { return static_cast<std::uint8_t>(value); };
      ASSERT_EQ(Orchestrator::encode_led(rgb, level, mode),
                (Bytes{byte(low), byte(255 - low), byte(low / 2), byte(std::clamp(level, 0, 255)),
                       byte(low), byte(255 - low)}));
    }
  }
  EXPECT_EQ(Orchestrator::encode_led(0, kLeast32, 0)[3], 0);
  EXPECT_EQ(Orchestrator::encode_led(0, kMost32, 0)[3], 255);
}

TEST(Mappings, OnIsACommandAndAPositiveDuty) {
  const std::initializer_list<std::int32_t> values = {kLeast32, -3, -1, 0, 1, 2, 3, kMost32};
  for (const std::int32_t cmd : values) {
    for (const std::int32_t duty : values) {
      const bool off = cmd == 0 || duty == 0 || duty < 0;
      EXPECT_EQ(Orchestrator::command_is_on(cmd, duty), !off) << cmd << " " << duty;
      for (const std::int32_t select : values) {
        const bool empty = select == 0 && cmd == 0 && duty == 0;
        EXPECT_EQ(Orchestrator::multiplex_command_is_empty(select, cmd, duty), empty);
      }
    }
  }
}

TEST(Mappings, OnlyOneHotSelectsHaveAPosition) {
  const std::map<std::int32_t, std::int64_t> positions = {{1, 0}, {2, 1}, {4, 2}, {8, 3}};
  for_each_select([&](std::int32_t select) {
    const auto found = positions.find(select);
    const std::int64_t expected = found == positions.end() ? -1 : found->second;
    ASSERT_EQ(Orchestrator::multiplex_select_to_index(select), expected) << select;
  });
}

TEST_F(OrchestratorTest, SelectWithoutAPositionNamesNoClaw) {
  config.claw_motor_ids = {5, 6};
  for_each_select([&](std::int32_t select) {
    const std::int64_t position = Orchestrator::multiplex_select_to_index(select);
    const std::size_t expected = position < 0 ? 2 : static_cast<std::size_t>(position);
    ASSERT_EQ(orchestrator().claw_motor_index(select), expected) << select;
  });
}

TEST(Mappings, GroupMaskHoldsEveryValveOfTheList) {
  for (const List& valves : valve_lists()) {
    unsigned expected = 0;
    for (const std::int64_t entry : valves) {
      expected |= bit_of(entry);
    }
    ASSERT_EQ(Orchestrator::valve_group_mask(valves), expected);
  }
}

TEST(Mappings, SingleSelectOpensAtMostTheOneEntry) {
  for (const List& valves : valve_lists()) {
    for (std::int32_t select = -300; select <= 300; ++select) {
      const std::int64_t position = Orchestrator::multiplex_select_to_index(select);
      const auto index = static_cast<std::size_t>(position);
      const unsigned expected = position >= 0 && index < valves.size() ? bit_of(valves[index]) : 0;
      ASSERT_EQ(Orchestrator::single_select_to_valve_mask(valves, select), expected) << select;
    }
  }
}

TEST(Mappings, BitmaskSelectOpensTheEntryOfEachBit) {
  for (const List& valves : valve_lists()) {
    for (std::int32_t select = -256; select <= 255; ++select) {
      unsigned expected = 0;
      for (std::size_t i = 0; i < std::min<std::size_t>(valves.size(), 32); ++i) {
        const bool set = (static_cast<std::uint32_t>(select) & (1U << i)) != 0;
        expected |= set ? bit_of(valves[i]) : 0;
      }
      ASSERT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, select), expected) << select;
    }
  }
}

TEST(Mappings, NoBitSelectsAPositionFrom32On) {
  List valves(40, -1);
  for (std::size_t position = 0; position < valves.size(); ++position) {
    valves.assign(40, -1);
    valves[position] = 5;
    EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, -1), position < 32 ? 0x20 : 0)
        << position;
    EXPECT_EQ(Orchestrator::bitmask_select_to_valve_mask(valves, kLeast32),
              position == 31 ? 0x20 : 0)
        << position;
  }
}

TEST(Mappings, RpmIsTheProductWhereItFits) {
  for (std::int32_t duty = -150; duty <= 150; ++duty) {
    for (std::int64_t factor = -100; factor <= 100; factor += 5) {
      ASSERT_EQ(Orchestrator::motor_target_rpm(1, duty, factor), duty * factor);
      ASSERT_EQ(Orchestrator::motor_target_rpm(3, duty, factor), -duty * factor);
      ASSERT_EQ(Orchestrator::motor_target_rpm(-3, duty, factor), duty * factor);
    }
  }
}

TEST(Mappings, RpmBeyondTheRangeStopsAtItsOwnSide) {
  struct Row {
    std::int32_t cmd;
    std::int32_t duty;
    std::int64_t factor;
    std::int64_t rpm;
  };
  for (const Row& row : {
           Row{1, 1, kMost64, kMost64},
           Row{3, 1, kMost64, -kMost64},
           Row{1, 2, kMost64, kMost64},
           Row{3, 2, kMost64, -kMost64},
           Row{1, 2, kMost64 / 2, kMost64 - 1},
           Row{1, 2, kMost64 / 2 + 1, kMost64},
           Row{1, 1, kLeast64, kLeast64},
           Row{3, 1, kLeast64, kMost64},
           Row{1, 2, kLeast64 / 2, kLeast64},
           Row{1, 2, kLeast64 / 2 - 1, kLeast64},
           Row{3, 2, kLeast64, kMost64},
           Row{1, -1, kMost64, -kMost64},
           Row{1, -1, kLeast64, kMost64},
           Row{3, -1, kLeast64, -kMost64},
           Row{1, -2, kMost64, kLeast64},
           Row{3, -2, kMost64, kMost64},
           Row{1, 0, kLeast64, 0},
           Row{1, kLeast32, kLeast64, kMost64},
           Row{1, kLeast32, kMost64, kLeast64},
           Row{1, kMost32, kMost32, std::int64_t{kMost32} * kMost32},
       }) {
    EXPECT_EQ(Orchestrator::motor_target_rpm(row.cmd, row.duty, row.factor), row.rpm)
        << row.cmd << " " << row.duty << " " << row.factor;
  }
}

/// Keeps the last brightness that was written, and nothing else: for very many writes.
class BrightnessGateway : public business_layer::IBridgeGateway {
 public:
  OperateResult operate(const std::string&, const std::string&, const std::string&,
                        const Bytes& payload) override {
    last = payload;
    return {true, {}, {}};
  }
  Bytes last;
};

TEST(Mappings, FillLightIsThePercentOrTheBrightestChannel) {
  auto gateway = std::make_shared<BrightnessGateway>();
  Orchestrator orchestrator(gateway, {}, {}, {}, {});
  const auto brightness = [&](std::uint32_t value) {
    EXPECT_TRUE(orchestrator.operate_fill_light(value).success);
    EXPECT_EQ(gateway->last.at(1), 0);
    return gateway->last.at(0);
  };
  for (std::uint32_t percent = 0; percent <= 100; ++percent) {
    ASSERT_EQ(brightness(percent), percent);
  }
  // All colours of little red, then, as all of them take seconds, every 251st.
  for (std::uint32_t colour = 101; colour <= 0xffffff; colour += colour < 70'000 ? 1 : 251) {
    const std::uint32_t most = std::max({colour >> 16U, colour >> 8U & 0xffU, colour & 0xffU});
    ASSERT_EQ(brightness(colour), most * 100 / 255) << colour;
    ASSERT_EQ(brightness(colour | 0xa5000000U), most * 100 / 255) << colour;
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::test
