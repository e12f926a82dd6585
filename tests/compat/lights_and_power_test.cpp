#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/expected_record.hpp"
#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/sequence_test.hpp"

namespace vantrel_can_bridge::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kInt32Max = std::numeric_limits<std::int32_t>::max();

// --- LED payload ---

struct LedRow {
  const char* name;
  std::uint32_t rgb;
  std::int32_t level;
  std::uint32_t mode;
  Bytes payload;
};
void PrintTo(const LedRow& row, std::ostream* out) { *out << row.name; }
class LedPayload : public testing::TestWithParam<LedRow> {};

TEST_P(LedPayload, IsColourLevelAndMode) {
  const LedRow& row = GetParam();

  EXPECT_EQ(BottomCompatOrchestrator::encode_led(row.rgb, row.level, row.mode), row.payload);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, LedPayload,
    testing::Values(LedRow{"Zero", 0, 0, 0, {0, 0, 0, 0, 0, 0}},
                    LedRow{"Red", 0xFF0000, 0, 0, {0xFF, 0, 0, 0, 0, 0}},
                    LedRow{"Green", 0x00FF00, 0, 0, {0, 0xFF, 0, 0, 0, 0}},
                    LedRow{"Blue", 0x0000FF, 0, 0, {0, 0, 0xFF, 0, 0, 0}},
                    LedRow{
                        "ByteOrder", 0x123456, 0x78, 0x9ABC, {0x12, 0x34, 0x56, 0x78, 0xBC, 0x9A}},
                    LedRow{"TopByteOfColour", 0xFF000000, 0, 0, {0, 0, 0, 0, 0, 0}},
                    LedRow{"AllOfColour", 0xFFFFFFFF, 0, 0, {0xFF, 0xFF, 0xFF, 0, 0, 0}},
                    LedRow{"ModeLow", 0, 0, 0xFF, {0, 0, 0, 0, 0xFF, 0}},
                    LedRow{"ModeHigh", 0, 0, 0xFF00, {0, 0, 0, 0, 0, 0xFF}},
                    LedRow{"ModeTopHalf", 0, 0, 0xFFFF0000, {0, 0, 0, 0, 0, 0}},
                    LedRow{"ModeBit16", 0xFF8000, 300, 0x12345, {0xFF, 0x80, 0, 0xFF, 0x45, 0x23}},
                    LedRow{"LowestLevel", 0, kInt32Min, 0, {0, 0, 0, 0, 0, 0}},
                    LedRow{"HighestLevel", 0, kInt32Max, 0, {0, 0, 0, 0xFF, 0, 0}}),
    [](const auto& row) { return row.param.name; });

TEST(LedPayloadLevel, IsClampedToOneByte) {
  for (std::int32_t level = -300; level <= 600; ++level) {
    const int expected = level < 0 ? 0 : level > 255 ? 255 : level;
    EXPECT_EQ(BottomCompatOrchestrator::encode_led(0, level, 0).at(3), expected) << level;
  }
}

// --- Fill light ---

class FillLight : public OrchestratorTest {
 protected:
  /// The brightness that is sent for `value`, the whole operation compared.
  void expect_brightness(std::uint32_t value, unsigned percent) {
    char payload[16];
    std::snprintf(payload, sizeof payload, "[0x%02x 0x00]", percent);

    EXPECT_EQ(orchestrator().operate_fill_light(value), success()) << value;
    EXPECT_EQ(journal.take(), record({on_body("fill_light", "set_brightness", payload,
                                              "fill_light brightness=" + std::to_string(percent))}))
        << value;
  }
};

TEST_F(FillLight, TakesValuesUpToAHundredAsPercent) {
  for (std::uint32_t percent = 0; percent <= 100; ++percent) {
    expect_brightness(percent, percent);
  }
}

TEST_F(FillLight, ReducesColoursToTheirBrightestChannel) {
  expect_brightness(101, 39);  // a dark blue, not 101 percent
  expect_brightness(0x0000FF, 100);
  expect_brightness(0xFFFFFF, 100);
  expect_brightness(0x800000, 50);
  expect_brightness(0x000065, 39);
  expect_brightness(0x010101, 0);
  expect_brightness(0x7F8081, 50);
  expect_brightness(0xFF000000, 0);
  expect_brightness(0x80000064, 39);  // far above 100: a colour with blue 100
  expect_brightness(0xFFFFFFFF, 100);
}

TEST_F(FillLight, CountsEachChannelAlone) {
  for (const unsigned shift : {0U, 8U, 16U}) {
    for (std::uint32_t channel = 1; channel <= 255; ++channel) {
      const std::uint32_t value = channel << shift;
      if (value <= 100) {
        continue;
      }
      // The largest percentage that does not exceed the channel's share of 255.
      unsigned percent = 0;
      while ((percent + 1) * 255 <= channel * 100) {
        ++percent;
      }
      expect_brightness(value, percent);
    }
  }
}

TEST_F(FillLight, TakesTheLargestOfThreeChannelsWhereverItStands) {
  for (const std::uint32_t colour :
       {0xCC1020U, 0xCC2010U, 0x10CC20U, 0x20CC10U, 0x1020CCU, 0x2010CCU}) {
    expect_brightness(colour, 80);
  }
}

// --- Power bits ---

struct PowerBitRow {
  const char* name;
  std::uint8_t sub;
  std::uint8_t bit;
  bool value;
  const char* payload;
  const char* label;
};
void PrintTo(const PowerBitRow& row, std::ostream* out) { *out << row.name; }
class PowerBit : public OrchestratorTest, public testing::WithParamInterface<PowerBitRow> {};

TEST_P(PowerBit, IsWrittenAsItIs) {
  const PowerBitRow& row = GetParam();
  gateway->then_succeed("acknowledged");

  EXPECT_EQ(orchestrator().operate_power_bit(row.sub, row.bit, row.value), success("acknowledged"));
  EXPECT_EQ(journal.take(), record({on_body("power_control", "set_bit", row.payload, row.label)},
                                   {{true, {}, "acknowledged"}}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, PowerBit,
    testing::Values(
        PowerBitRow{"Off", 0, 0, false, "[0x00 0x00 0x00]", "power_bit sub=0 bit=0 value=0"},
        PowerBitRow{"On", 0, 0, true, "[0x00 0x00 0x01]", "power_bit sub=0 bit=0 value=1"},
        PowerBitRow{"SubThenBit", 1, 5, true, "[0x01 0x05 0x01]", "power_bit sub=1 bit=5 value=1"},
        PowerBitRow{"BeyondAByteOfBits", 9, 8, false, "[0x09 0x08 0x00]",
                    "power_bit sub=9 bit=8 value=0"},
        PowerBitRow{"LargestSub", 255, 0, true, "[0xff 0x00 0x01]",
                    "power_bit sub=255 bit=0 value=1"},
        PowerBitRow{"LargestBit", 0, 255, true, "[0x00 0xff 0x01]",
                    "power_bit sub=0 bit=255 value=1"}),
    [](const auto& row) { return row.param.name; });

// --- Commands ---

class BodyCommand : public SequenceTest {};
TEST_P(BodyCommand, DoesEveryStepInOrder) { expect_every_step_in_order(); }
TEST_P(BodyCommand, EndsAtWhicheverOperationFails) { expect_end_at_whichever_operation_fails(); }
TEST_P(BodyCommand, PassesOnWhatTheGatewayThrows) { expect_gateway_exceptions_to_pass(); }

class SilentBodyCommand : public SequenceTest {};
TEST_P(SilentBodyCommand, SendsNothing) { expect_lines_alone(); }

/// Every light field has a value of its own: one that is mixed up shows.
Request light_request(std::uint32_t bottom, std::uint32_t left, std::uint32_t right) {
  Request request;
  request.bottom_rgb = bottom;
  request.bottom_level = 0x11;
  request.bottom_mode = 0x2221;
  request.left_rgb = left;
  request.left_level = 0x33;
  request.left_mode = 0x4443;
  request.right_rgb = right;
  request.right_level = 0x55;
  request.right_mode = 0x6665;
  request.rgb = 0x77;
  request.front_rgb = 0x88;
  request.rear_rgb = 0x99;
  return request;
}

Sequence operate_light(const char* name, std::uint32_t bottom, std::uint32_t left,
                       std::uint32_t right, Steps steps) {
  const Request request = light_request(bottom, left, right);
  return {name, [request](auto& robot) { return robot.handle_operate_light(request); },
          std::move(steps)};
}

Step led(const char* device, const char* payload, const char* rgb) {
  return on_body(device, "set_led", payload, std::string("led rgb=") + rgb);
}

INSTANTIATE_TEST_SUITE_P(
    OperateLight, BodyCommand,
    testing::Values(
        Sequence{
            "Led",
            [](auto& robot) { return robot.operate_led("any_light", 0xFFABCDEF, 256, 0x10102); },
            {on_body("any_light", "set_led", "[0xab 0xcd 0xef 0xff 0x02 0x01]",
                     "led rgb=4289449455")},
            message_passed_on},
        operate_light("Both", 0xFF8000, 0, 0,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=16744448 left_rgb=0 right_rgb=0",
                       led("left_light", "[0xff 0x80 0x00 0x11 0x21 0x22]", "16744448"),
                       led("right_light", "[0xff 0x80 0x00 0x11 0x21 0x22]", "16744448")}),
        operate_light("LeftAlone", 0, 1, 0,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=0 left_rgb=1 right_rgb=0",
                       led("left_light", "[0x00 0x00 0x01 0x33 0x43 0x44]", "1")}),
        operate_light("RightAlone", 0, 0, 2,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=0 left_rgb=0 right_rgb=2",
                       led("right_light", "[0x00 0x00 0x02 0x55 0x65 0x66]", "2")}),
        operate_light("RightAfterBoth", 0x00FF00, 0, 0x0000FF,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=65280 left_rgb=0 right_rgb=255",
                       led("left_light", "[0x00 0xff 0x00 0x11 0x21 0x22]", "65280"),
                       led("right_light", "[0x00 0xff 0x00 0x11 0x21 0x22]", "65280"),
                       led("right_light", "[0x00 0x00 0xff 0x55 0x65 0x66]", "255")}),
        operate_light("AllThree", 0x030201, 0x060504, 0x090807,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=197121 left_rgb=394500 "
                       "right_rgb=591879",
                       led("left_light", "[0x03 0x02 0x01 0x11 0x21 0x22]", "197121"),
                       led("right_light", "[0x03 0x02 0x01 0x11 0x21 0x22]", "197121"),
                       led("left_light", "[0x06 0x05 0x04 0x33 0x43 0x44]", "394500"),
                       led("right_light", "[0x09 0x08 0x07 0x55 0x65 0x66]", "591879")}),
        // Not 0, though none of the bits that are sent is set; and unsigned in the log.
        operate_light("TopByteAlone", 0, 0xFF000000, 0x80000000,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=0 left_rgb=4278190080 "
                       "right_rgb=2147483648",
                       led("left_light", "[0x00 0x00 0x00 0x33 0x43 0x44]", "4278190080"),
                       led("right_light", "[0x00 0x00 0x00 0x55 0x65 0x66]", "2147483648")}),
        operate_light("LargestColour", 0xFFFFFFFF, 0, 0,
                      {"debug: CMD_OPERATE_LIGHT: bottom_rgb=4294967295 left_rgb=0 right_rgb=0",
                       led("left_light", "[0xff 0xff 0xff 0x11 0x21 0x22]", "4294967295"),
                       led("right_light", "[0xff 0xff 0xff 0x11 0x21 0x22]", "4294967295")})),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(OperateLight, SilentBodyCommand,
                         testing::Values(operate_light(
                             "NothingAtZero", 0, 0, 0,
                             {"debug: CMD_OPERATE_LIGHT: bottom_rgb=0 left_rgb=0 right_rgb=0"})),
                         sequence_name);

Sequence fill_light(const char* name, std::uint32_t rgb, Steps steps) {
  Request request = light_request(1, 2, 3);
  request.rgb = rgb;
  return {name, [request](auto& robot) { return robot.handle_fill_light(request); },
          std::move(steps), message_passed_on};
}

INSTANTIATE_TEST_SUITE_P(
    FillLight, BodyCommand,
    testing::Values(fill_light("Off", 0,
                               {"debug: CMD_FILL_LIGHT: rgb=0",
                                on_body("fill_light", "set_brightness", "[0x00 0x00]",
                                        "fill_light brightness=0")}),
                    fill_light("HundredPercent", 100,
                               {"debug: CMD_FILL_LIGHT: rgb=100",
                                on_body("fill_light", "set_brightness", "[0x64 0x00]",
                                        "fill_light brightness=100")}),
                    fill_light("DarkBlue", 101,
                               {"debug: CMD_FILL_LIGHT: rgb=101",
                                on_body("fill_light", "set_brightness", "[0x27 0x00]",
                                        "fill_light brightness=39")}),
                    fill_light("LargestValue", 0xFFFFFFFF,
                               {"debug: CMD_FILL_LIGHT: rgb=4294967295",
                                on_body("fill_light", "set_brightness", "[0x64 0x00]",
                                        "fill_light brightness=100")})),
    sequence_name);

Sequence projection_light(const char* name, std::uint32_t front, std::uint32_t rear, Steps steps) {
  Request request = light_request(1, 2, 3);
  request.front_rgb = front;
  request.rear_rgb = rear;
  return {name, [request](auto& robot) { return robot.handle_projection_light(request); },
          std::move(steps)};
}

Step front_light(bool on) {
  return on_body("power_control", "set_bit", on ? "[0x03 0x04 0x01]" : "[0x03 0x04 0x00]",
                 on ? "power_bit sub=3 bit=4 value=1" : "power_bit sub=3 bit=4 value=0");
}
Step rear_light(bool on) {
  return on_body("power_control", "set_bit", on ? "[0x06 0x08 0x01]" : "[0x06 0x08 0x00]",
                 on ? "power_bit sub=6 bit=8 value=1" : "power_bit sub=6 bit=8 value=0");
}

INSTANTIATE_TEST_SUITE_P(
    ProjectionLight, BodyCommand,
    testing::Values(
        projection_light("BothOff", 0, 0,
                         {"debug: CMD_PROJECTION_LIGHT: front_rgb=0 rear_rgb=0", front_light(false),
                          rear_light(false)}),
        projection_light("FrontOn", 1, 0,
                         {"debug: CMD_PROJECTION_LIGHT: front_rgb=1 rear_rgb=0", front_light(true),
                          rear_light(false)}),
        projection_light("RearOn", 0, 0x80000000,
                         {"debug: CMD_PROJECTION_LIGHT: front_rgb=0 rear_rgb=2147483648",
                          front_light(false), rear_light(true)}),
        projection_light("BothOn", 0xFF000000, 0xFFFFFFFF,
                         {"debug: CMD_PROJECTION_LIGHT: front_rgb=4278190080 rear_rgb=4294967295",
                          front_light(true), rear_light(true)})),
    sequence_name);

Sequence wheel_control(
    const char* name, std::int32_t wheel_cmd, const std::string& word, Step write,
    std::function<void(BottomCompatConfig&)> configure = [](BottomCompatConfig&) {}) {
  Request request;
  request.wheel_cmd = wheel_cmd;
  return {name,
          [request](auto& robot) { return robot.handle_wheel_control(request); },
          {"debug: CMD_WHEEL_CONTROL: wheel_cmd=" + std::to_string(wheel_cmd) +
               " mapped_value=" + word + " bottom_motor_stop_bit=5",
           std::move(write)},
          message_passed_on,
          std::move(configure)};
}

Step wheel_bit(bool set) {
  return on_body("power_control", "set_bit", set ? "[0x01 0x05 0x01]" : "[0x01 0x05 0x00]",
                 set ? "power_bit sub=1 bit=5 value=1" : "power_bit sub=1 bit=5 value=0");
}

void invert_wheel_values(BottomCompatConfig& config) {
  config.wheel_lock_value = false;
  config.wheel_unlock_value = true;
}

void move_wheel_bit(BottomCompatConfig& config) {
  config.wheel_power_sub = 200;
  config.wheel_power_bit = 254;
}

INSTANTIATE_TEST_SUITE_P(
    WheelControl, BodyCommand,
    testing::Values(wheel_control("Unlocks", 0, "unlock", wheel_bit(false)),
                    wheel_control("Locks", 1, "lock", wheel_bit(true)),
                    wheel_control("LocksAtTwo", 2, "lock", wheel_bit(true)),
                    wheel_control("LocksAtMinusOne", -1, "lock", wheel_bit(true)),
                    wheel_control("LocksAtTheLowest", kInt32Min, "lock", wheel_bit(true)),
                    wheel_control("LocksAtTheHighest", kInt32Max, "lock", wheel_bit(true)),
                    wheel_control("UnlocksWithTheConfiguredValue", 0, "unlock", wheel_bit(true),
                                  invert_wheel_values),
                    wheel_control("LocksWithTheConfiguredValue", 1, "lock", wheel_bit(false),
                                  invert_wheel_values),
                    wheel_control("LogsBitFiveWhateverIsConfigured", 0, "unlock",
                                  on_body("power_control", "set_bit", "[0xc8 0xfe 0x00]",
                                          "power_bit sub=200 bit=254 value=0"),
                                  move_wheel_bit)),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    BumpUnlock, BodyCommand,
    testing::Values(Sequence{"SetsTheBit",
                             [](auto& robot) { return robot.handle_bump_unlock(); },
                             {"debug: CMD_UNLOCK_BUMP: dispatching power_control bit7",
                              on_body("power_control", "set_bit", "[0x02 0x07 0x01]",
                                      "power_bit sub=2 bit=7 value=1")},
                             message_passed_on},
                    Sequence{"LogsBitSevenWhateverIsConfigured",
                             [](auto& robot) { return robot.handle_bump_unlock(); },
                             {"debug: CMD_UNLOCK_BUMP: dispatching power_control bit7",
                              on_body("power_control", "set_bit", "[0x14 0x03 0x01]",
                                      "power_bit sub=20 bit=3 value=1")},
                             message_passed_on,
                             [](auto& config) {
                               config.bump_unlock_sub = 20;
                               config.bump_unlock_bit = 3;
                             }}),
    sequence_name);

}  // namespace
}  // namespace vantrel_can_bridge::test
