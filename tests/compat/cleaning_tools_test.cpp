// What the cleaning tools send: pump channels, valves, pumps behind valves, motors, and the
// procter request over all of them.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
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
#include "tests/support/selects.hpp"
#include "tests/support/sequence_test.hpp"

namespace vantrel_can_bridge::test {
namespace {

using namespace std::chrono_literals;
using Numbers = std::vector<std::int64_t>;
using Configure = std::function<void(BottomCompatConfig&)>;

constexpr std::int32_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kInt32Max = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();

void as_it_is(BottomCompatConfig&) {}

Step pump(const char* payload, const char* label) {
  return on_clean("pump", "set_duty", payload, label);
}
Step valve(const char* payload, const char* label) {
  return on_clean("valve", "set_valves", payload, label);
}

std::string hex_pair(int first, int second) {
  char payload[16];
  std::snprintf(payload, sizeof payload, "[0x%02x 0x%02x]", static_cast<unsigned>(first),
                static_cast<unsigned>(second));
  return payload;
}

class CleaningCommand : public SequenceTest {};
TEST_P(CleaningCommand, DoesEveryStepInOrder) { expect_every_step_in_order(); }
TEST_P(CleaningCommand, EndsAtWhicheverOperationFails) {
  expect_end_at_whichever_operation_fails();
}
TEST_P(CleaningCommand, PassesOnWhatTheGatewayThrows) { expect_gateway_exceptions_to_pass(); }

class SilentCleaningCommand : public SequenceTest {};
TEST_P(SilentCleaningCommand, SendsNothing) { expect_lines_alone(); }

class CleaningTools : public OrchestratorTest {
 protected:
  VirtualTime time{journal};
};

// --- Pump channels ---

TEST_F(CleaningTools, DriveTheFivePumpChannelsAndNoOther) {
  for (std::int64_t channel = -300; channel <= 300; ++channel) {
    const BottomCompatReply reply = orchestrator().operate_pump_channel(channel, 1, 50);

    if (channel >= 1 && channel <= 5) {
      const std::string number = std::to_string(channel);
      EXPECT_EQ(reply, success());
      EXPECT_EQ(journal.take(),
                record({on_clean("pump", "set_duty", "[0x0" + number + " 0x32 0x00]",
                                 "pump channel=" + number + " target=50")}));
    } else {
      EXPECT_EQ(reply, failure("pump channel out of range")) << channel;
      EXPECT_EQ(journal.take(), Lines{}) << channel;
    }
  }
}

TEST_F(CleaningTools, RefuseChannelsThatOnlyLookRightInFewerBits) {
  for (const std::int64_t channel :
       {kInt64Min, kInt64Min + 1, std::int64_t{-4'294'967'295}, std::int64_t{-255},
        std::int64_t{257}, std::int64_t{65'537}, std::int64_t{4'294'967'297}, kInt64Max}) {
    for (const std::int32_t cmd : {0, 1}) {
      EXPECT_EQ(orchestrator().operate_pump_channel(channel, cmd, 50),
                failure("pump channel out of range"))
          << channel;
    }
  }
  EXPECT_EQ(journal.take(), Lines{});
}

TEST_F(CleaningTools, LimitPumpDutiesToPercent) {
  for (const std::int32_t cmd : {kInt32Min, -1, 0, 1, 7, kInt32Max}) {
    for (std::int32_t duty = -300; duty <= 600; ++duty) {
      const int target = cmd == 0 || duty < 0 ? 0 : duty > 100 ? 100 : duty;
      char payload[24];
      std::snprintf(payload, sizeof payload, "[0x02 0x%02x 0x00]", static_cast<unsigned>(target));

      EXPECT_EQ(orchestrator().operate_pump_channel(2, cmd, duty), success());
      EXPECT_EQ(journal.take(),
                record({on_clean("pump", "set_duty", payload,
                                 "pump channel=2 target=" + std::to_string(target))}))
          << cmd << ' ' << duty;
    }
  }
}

Sequence pump_channel(const char* name, std::int64_t channel, std::int32_t cmd, std::int32_t duty,
                      Steps steps) {
  return {name, [=](auto& robot) { return robot.operate_pump_channel(channel, cmd, duty); },
          std::move(steps), message_passed_on};
}

INSTANTIATE_TEST_SUITE_P(
    PumpChannel, CleaningCommand,
    testing::Values(
        pump_channel("First", 1, 1, 1, {pump("[0x01 0x01 0x00]", "pump channel=1 target=1")}),
        pump_channel("Last", 5, 2, 100, {pump("[0x05 0x64 0x00]", "pump channel=5 target=100")}),
        pump_channel("Clamped", 2, 1, 150, {pump("[0x02 0x64 0x00]", "pump channel=2 target=100")}),
        pump_channel("HighestDuty", 2, 1, kInt32Max,
                     {pump("[0x02 0x64 0x00]", "pump channel=2 target=100")}),
        pump_channel("OffByCommand", 3, 0, 80,
                     {pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
        pump_channel("OffByDuty", 3, 7, -5, {pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
        pump_channel("LowestDuty", 4, 1, kInt32Min,
                     {pump("[0x04 0x00 0x00]", "pump channel=4 target=0")})),
    sequence_name);

Sequence end_tool_pump(const char* name, std::int32_t cmd, std::int32_t duty, Steps steps,
                       ExpectedReply reply = message_passed_on, Configure configure = as_it_is) {
  Request request;
  request.cmd = 13;
  request.pump_cmd = cmd;
  request.pump_duty = duty;
  request.clean_cmd = request.dirty_cmd = request.tools_cmd = 91;
  request.clean_duty = request.dirty_duty = request.tools_duty = 92;
  return {name, [request](auto& robot) { return robot.handle_end_tool_pump(request); },
          std::move(steps), std::move(reply), std::move(configure)};
}

Configure end_tool_channel(std::int64_t channel) {
  return [channel](BottomCompatConfig& config) { config.end_tool_pump_channel = channel; };
}

INSTANTIATE_TEST_SUITE_P(
    EndToolPump, CleaningCommand,
    testing::Values(
        end_tool_pump("Runs", 1, 40,
                      {"debug: CMD_HANDLE_PUMP: channel=3 cmd=1 duty=40",
                       pump("[0x03 0x28 0x00]", "pump channel=3 target=40")}),
        end_tool_pump("Stops", 0, 80,
                      {"debug: CMD_HANDLE_PUMP: channel=3 cmd=0 duty=80",
                       pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
        end_tool_pump("Negatives", -7, -5,
                      {"debug: CMD_HANDLE_PUMP: channel=3 cmd=-7 duty=-5",
                       pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
        end_tool_pump("Extremes", kInt32Min, kInt32Max,
                      {"debug: CMD_HANDLE_PUMP: channel=3 cmd=-2147483648 duty=2147483647",
                       pump("[0x03 0x64 0x00]", "pump channel=3 target=100")}),
        end_tool_pump("OtherChannel", 1, 40,
                      {"debug: CMD_HANDLE_PUMP: channel=5 cmd=1 duty=40",
                       pump("[0x05 0x28 0x00]", "pump channel=5 target=40")},
                      message_passed_on, end_tool_channel(5))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    EndToolPump, SilentCleaningCommand,
    testing::Values(
        end_tool_pump("RefusesChannelZero", 1, 40,
                      {"debug: CMD_HANDLE_PUMP: channel=0 cmd=1 duty=40"},
                      refused("pump channel out of range"), end_tool_channel(0)),
        end_tool_pump("RefusesTheLowestChannel", 0, 0,
                      {"debug: CMD_HANDLE_PUMP: channel=-9223372036854775808 cmd=0 duty=0"},
                      refused("pump channel out of range"), end_tool_channel(kInt64Min))),
    sequence_name);

// --- Valves ---

Sequence valve_mask(const char* name, std::uint8_t mask, bool open, Step step) {
  return {name,
          [=](auto& robot) { return robot.operate_valve_mask(mask, open); },
          {std::move(step)},
          message_passed_on};
}

INSTANTIATE_TEST_SUITE_P(
    ValveMask, CleaningCommand,
    testing::Values(
        valve_mask("Opens", 0x05, true, valve("[0x05 0x05]", "valve_mask open=true")),
        valve_mask("Closes", 0x05, false, valve("[0x05 0x00]", "valve_mask open=false")),
        valve_mask("OpensNone", 0x00, true, valve("[0x00 0x00]", "valve_mask open=true")),
        valve_mask("OpensAll", 0xFF, true, valve("[0xff 0xff]", "valve_mask open=true")),
        valve_mask("ClosesAll", 0xFF, false, valve("[0xff 0x00]", "valve_mask open=false"))),
    sequence_name);

Sequence valves(const char* name, Numbers list, std::int32_t select, bool open, Steps steps,
                ExpectedReply reply = message_passed_on) {
  return {name,
          [list = std::move(list), select, open](auto& robot) {
            return robot.operate_valves(list, select, open);
          },
          std::move(steps), std::move(reply)};
}

INSTANTIATE_TEST_SUITE_P(
    Valves, CleaningCommand,
    testing::Values(valves("OpensTheGroup", {0, 3, 12}, 0, true,
                           {valve("[0x09 0x09]", "valves select=0 open=true")}),
                    valves("ClosesTheGroup", {0, 3, 12}, -5, false,
                           {valve("[0x09 0x00]", "valves select=-5 open=false")}),
                    valves("ClosesTheGroupOfTheLowestSelect", {0, 3, 12}, kInt32Min, false,
                           {valve("[0x09 0x00]", "valves select=-2147483648 open=false")}),
                    valves("OpensAnEmptyGroup", {}, 0, true,
                           {valve("[0x00 0x00]", "valves select=0 open=true")}),
                    valves("ClosesAGroupWithoutValves", {8, -1}, -1, false,
                           {valve("[0x00 0x00]", "valves select=-1 open=false")}),
                    valves("OpensOne", {0, 3, 12}, 2, true,
                           {valve("[0x08 0x08]", "valves select=2 open=true")}),
                    valves("ClosesOne", {0, 3, 12}, 1, false,
                           {valve("[0x01 0x00]", "valves select=1 open=false")}),
                    valves("OpensTheHighestValve", {7}, 1, true,
                           {valve("[0x80 0x80]", "valves select=1 open=true")})),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    Valves, SilentCleaningCommand,
    testing::Values(
        valves("RefusesAnEntryAboveTheValves", {0, 3, 12}, 4, true, {},
               refused("valve bit out of range")),
        valves("RefusesEight", {8}, 1, true, {}, refused("valve bit out of range")),
        valves("RefusesANegativeEntry", {-1}, 1, false, {}, refused("valve bit out of range")),
        valves("RefusesAnEntryThatIsZeroIn32Bits", {4'294'967'296}, 1, true, {},
               refused("valve bit out of range")),
        valves("RefusesTheLowestEntry", {kInt64Min}, 1, true, {},
               refused("valve bit out of range")),
        valves("RefusesAPositionBeyondTheList", {0, 3, 12}, 8, true, {},
               refused("unsupported valve select: 8")),
        valves("RefusesTwoBits", {0, 3, 12}, 3, true, {}, refused("unsupported valve select: 3")),
        valves("RefusesNine", {0, 3, 12}, 9, false, {}, refused("unsupported valve select: 9")),
        valves("RefusesTheHighest", {0, 3, 12}, kInt32Max, true, {},
               refused("unsupported valve select: 2147483647"))),
    sequence_name);

TEST_F(CleaningTools, TakeEveryValveSelectAsGroupOneHotOrUnsupported) {
  for (const Numbers& list : valve_lists_worth_testing()) {
    int group = 0;
    for (const std::int64_t entry : list) {
      group |= bit_of_valve(entry);
    }
    for (const std::int32_t select : selects_worth_testing()) {
      SCOPED_TRACE(testing::PrintToString(list) + " select " + std::to_string(select));
      const std::int64_t position = one_hot_position(select);
      const bool exists = position >= 0 && position < static_cast<std::int64_t>(list.size());
      const int mask = select <= 0 ? group
                       : exists    ? bit_of_valve(list.at(static_cast<std::size_t>(position)))
                                   : 0;

      const BottomCompatReply reply = orchestrator().operate_valves(list, select, true);

      if (select > 0 && mask == 0) {
        EXPECT_EQ(reply, failure(exists ? "valve bit out of range"
                                        : "unsupported valve select: " + std::to_string(select)));
        EXPECT_EQ(journal.take(), Lines{});
      } else {
        EXPECT_EQ(reply, success());
        EXPECT_EQ(journal.take(),
                  record({on_clean("valve", "set_valves", hex_pair(mask, mask),
                                   "valves select=" + std::to_string(select) + " open=true")}));
      }
    }
  }
}

// --- Pump select ---

Sequence pump_select(const char* name, Numbers pumps, Numbers list, std::int32_t select,
                     std::int32_t cmd, std::int32_t duty, Steps steps,
                     ExpectedReply reply = message_passed_on) {
  return {name,
          [pumps = std::move(pumps), list = std::move(list), select, cmd, duty](auto& robot) {
            return robot.operate_pump_select(pumps, list, select, cmd, duty);
          },
          std::move(steps), std::move(reply)};
}

INSTANTIATE_TEST_SUITE_P(
    PumpSelect, CleaningCommand,
    testing::Values(
        pump_select("AllOn", {1, 4, 2}, {0, 3}, 0, 1, 50,
                    {"debug: pump_select: select=0 cmd=1 duty=50 open=true",
                     valve("[0x09 0x09]", "valves select=0 open=true"),
                     pump("[0x01 0x32 0x00]", "pump channel=1 target=50"),
                     pump("[0x04 0x32 0x00]", "pump channel=4 target=50"),
                     pump("[0x02 0x32 0x00]", "pump channel=2 target=50")},
                    message_dropped),
        pump_select("AllOfMinusOne", {1, 4}, {0, 3}, -1, 2, 100,
                    {"debug: pump_select: select=-1 cmd=2 duty=100 open=true",
                     valve("[0x09 0x09]", "valves select=-1 open=true"),
                     pump("[0x01 0x64 0x00]", "pump channel=1 target=100"),
                     pump("[0x04 0x64 0x00]", "pump channel=4 target=100")},
                    message_dropped),
        pump_select("AllOfNone", {}, {}, 0, 1, 1,
                    {"debug: pump_select: select=0 cmd=1 duty=1 open=true",
                     valve("[0x00 0x00]", "valves select=0 open=true")},
                    message_dropped),
        pump_select("AllUpToABadChannel", {1, 6, 2}, {0}, 0, 1, 50,
                    {"debug: pump_select: select=0 cmd=1 duty=50 open=true",
                     valve("[0x01 0x01]", "valves select=0 open=true"),
                     pump("[0x01 0x32 0x00]", "pump channel=1 target=50")},
                    refused("pump channel out of range")),
        pump_select("First", {5, 4, 3, 2}, {0, 1, 2, 3}, 1, 1, 10,
                    {"debug: pump_select: select=1 cmd=1 duty=10 open=true",
                     valve("[0x01 0x01]", "valves select=1 open=true"),
                     pump("[0x05 0x0a 0x00]", "pump channel=5 target=10")}),
        pump_select("Second", {5, 4, 3, 2}, {0, 1, 2, 3}, 2, 1, 10,
                    {"debug: pump_select: select=2 cmd=1 duty=10 open=true",
                     valve("[0x02 0x02]", "valves select=2 open=true"),
                     pump("[0x04 0x0a 0x00]", "pump channel=4 target=10")}),
        pump_select("Third", {5, 4, 3, 2}, {0, 1, 2, 3}, 4, 1, 10,
                    {"debug: pump_select: select=4 cmd=1 duty=10 open=true",
                     valve("[0x04 0x04]", "valves select=4 open=true"),
                     pump("[0x03 0x0a 0x00]", "pump channel=3 target=10")}),
        pump_select("Fourth", {5, 4, 3, 2}, {0, 1, 2, 3}, 8, 1, 10,
                    {"debug: pump_select: select=8 cmd=1 duty=10 open=true",
                     valve("[0x08 0x08]", "valves select=8 open=true"),
                     pump("[0x02 0x0a 0x00]", "pump channel=2 target=10")}),
        pump_select("ClosesValvesBeforeThePumpStops", {5}, {3}, 1, 1, 0,
                    {"debug: pump_select: select=1 cmd=1 duty=0 open=false",
                     valve("[0x08 0x00]", "valves select=1 open=false"),
                     pump("[0x05 0x00 0x00]", "pump channel=5 target=0")}),
        pump_select("OffByCommand", {5}, {3}, 1, 0, 50,
                    {"debug: pump_select: select=1 cmd=0 duty=50 open=false",
                     valve("[0x08 0x00]", "valves select=1 open=false"),
                     pump("[0x05 0x00 0x00]", "pump channel=5 target=0")}),
        pump_select("OffByNegativeDuty", {5, 1}, {3}, kInt32Min, -1, -50,
                    {"debug: pump_select: select=-2147483648 cmd=-1 duty=-50 open=false",
                     valve("[0x08 0x00]", "valves select=-2147483648 open=false"),
                     pump("[0x05 0x00 0x00]", "pump channel=5 target=0"),
                     pump("[0x01 0x00 0x00]", "pump channel=1 target=0")},
                    message_dropped),
        pump_select("RefusesWhatOnlyTheValvesHave", {1, 2}, {0, 1, 2}, 4, 1, 50,
                    {"debug: pump_select: select=4 cmd=1 duty=50 open=true",
                     valve("[0x04 0x04]", "valves select=4 open=true")},
                    refused("unsupported pump select: 4")),
        pump_select("RefusesASelectedBadChannel", {4'294'967'297}, {0}, 1, 1, 50,
                    {"debug: pump_select: select=1 cmd=1 duty=50 open=true",
                     valve("[0x01 0x01]", "valves select=1 open=true")},
                    refused("pump channel out of range"))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    PumpSelect, SilentCleaningCommand,
    testing::Values(
        pump_select("RefusesTwoBits", {1, 2}, {0, 1}, 3, 1, 50,
                    {"debug: pump_select: select=3 cmd=1 duty=50 open=true"},
                    refused("unsupported valve select: 3")),
        pump_select("RefusesSixteen", {1, 2}, {0, 1}, 16, kInt32Min, kInt32Max,
                    {"debug: pump_select: select=16 cmd=-2147483648 duty=2147483647 open=true"},
                    refused("unsupported valve select: 16")),
        pump_select("RefusesWhatIsNoValve", {1, 2}, {0, 8}, 2, 1, 50,
                    {"debug: pump_select: select=2 cmd=1 duty=50 open=true"},
                    refused("valve bit out of range"))),
    sequence_name);

// --- Clean and dirty pump behind their valves ---

enum Select { Single, Bitmask };

/// The summary line, then `steps`.
Sequence multiplex(const char* name, std::int64_t channel, Numbers list, Select mode,
                   std::int32_t select, std::int32_t cmd, std::int32_t duty, const Steps& steps,
                   ExpectedReply reply = message_passed_on, Configure configure = as_it_is) {
  return {name,
          [channel, list = std::move(list), select, cmd, duty, mode](auto& robot) {
            return robot.operate_multiplex_pump(channel, list, select, cmd, duty, mode == Bitmask);
          },
          Steps{"debug: multiplex_pump: channel=" + std::to_string(channel) +
                " select=" + std::to_string(select) + " cmd=" + std::to_string(cmd) + " duty=" +
                std::to_string(duty) + " valve_select=" + (mode == Bitmask ? "bitmask" : "single") +
                " open=" + (duty == 0 ? "false" : "true")} +
              steps,
          std::move(reply), std::move(configure)};
}

constexpr char kNoGroup[] = "pump valve group has no valid valve bits";
constexpr char kNoValve[] = "pump select has no valid valve bit";

INSTANTIATE_TEST_SUITE_P(
    MultiplexOn, CleaningCommand,
    testing::Values(multiplex("Single", 1, {1, 5}, Single, 2, 1, 30,
                              {valve("[0x22 0x20]", "valve_group open values=32"), "wait: 200ms",
                               pump("[0x01 0x1e 0x00]", "pump channel=1 target=30")}),
                    multiplex("SingleFourth", 4, {2, 3, 9, 7}, Single, 8, 2, 150,
                              {valve("[0x8c 0x80]", "valve_group open values=128"), "wait: 200ms",
                               pump("[0x04 0x64 0x00]", "pump channel=4 target=100")}),
                    multiplex("BitmaskSkipsInvalidEntries", 2, {0, 9, 2}, Bitmask, 7, 1, 30,
                              {valve("[0x05 0x05]", "valve_group open values=5"), "wait: 200ms",
                               pump("[0x02 0x1e 0x00]", "pump channel=2 target=30")}),
                    multiplex("BitmaskOfTwo", 2, {1, 2, 3}, Bitmask, 3, 1, 30,
                              {valve("[0x0e 0x06]", "valve_group open values=6"), "wait: 200ms",
                               pump("[0x02 0x1e 0x00]", "pump channel=2 target=30")}),
                    multiplex("BitmaskOfAllBits", 2, {7, 6, 5, 4, 3, 2, 1, 0}, Bitmask, -1, 1, 30,
                              {valve("[0xff 0xff]", "valve_group open values=255"), "wait: 200ms",
                               pump("[0x02 0x1e 0x00]", "pump channel=2 target=30")}),
                    multiplex("NegativeDuty", 3, {1}, Single, 1, 1, -20,
                              {valve("[0x02 0x02]", "valve_group open values=2"), "wait: 200ms",
                               pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
                    multiplex("LowestDuty", 3, {1}, Single, 1, 1, kInt32Min,
                              {valve("[0x02 0x02]", "valve_group open values=2"), "wait: 200ms",
                               pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
                    multiplex("CommandZero", 3, {1}, Single, 1, 0, 50,
                              {valve("[0x02 0x02]", "valve_group open values=2"), "wait: 200ms",
                               pump("[0x03 0x00 0x00]", "pump channel=3 target=0")}),
                    multiplex("LeavesValvesOpenBeforeABadChannel", 257, {1}, Single, 1, 1, 50,
                              {valve("[0x02 0x02]", "valve_group open values=2"), "wait: 200ms"},
                              refused("pump channel out of range"))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MultiplexOn, SilentCleaningCommand,
    testing::Values(
        multiplex("RefusesAnEmptyGroup", kInt64Min, {}, Single, 1, 1, 30, {}, refused(kNoGroup)),
        multiplex("RefusesAGroupWithoutValves", kInt64Max, {8, -1}, Bitmask, -1, 1, 30, {},
                  refused(kNoGroup)),
        multiplex("SingleRefusesTwoBits", 1, {1, 5}, Single, 3, 1, 30, {}, refused(kNoValve)),
        multiplex("SingleRefusesZero", 1, {1, 5}, Single, 0, 1, 30, {}, refused(kNoValve)),
        multiplex("SingleRefusesBeyondTheList", 1, {1, 5}, Single, 4, 1, 30, {}, refused(kNoValve)),
        multiplex("SingleRefusesWhatIsNoValve", 1, {8, 5}, Single, 1, 1, 30, {}, refused(kNoValve)),
        multiplex("BitmaskRefusesBeyondTheList", 1, {0, 1}, Bitmask, 4, 1, 30, {},
                  refused(kNoValve)),
        multiplex("BitmaskRefusesZero", 1, {0, 1}, Bitmask, 0, 1, 30, {}, refused(kNoValve))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MultiplexOff, CleaningCommand,
    testing::Values(multiplex("StopsThePumpBeforeTheValvesClose", 4, {2, 3}, Single, 2, 0, 0,
                              {pump("[0x04 0x00 0x00]", "pump channel=4 target=0"), "wait: 200ms",
                               valve("[0x0c 0x00]", "valve_group close")}),
                    multiplex("WhateverCommandAndSelect", 4, {2, 3}, Single, 3, 1, 0,
                              {pump("[0x04 0x00 0x00]", "pump channel=4 target=0"), "wait: 200ms",
                               valve("[0x0c 0x00]", "valve_group close")}),
                    multiplex("BitmaskClosesTheWholeGroup", 5, {0, 7, 12}, Bitmask, 1, kInt32Min, 0,
                              {pump("[0x05 0x00 0x00]", "pump channel=5 target=0"), "wait: 200ms",
                               valve("[0x81 0x00]", "valve_group close")})),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MultiplexOff, SilentCleaningCommand,
    testing::Values(multiplex("LeavesValvesAloneAtABadChannel", 0, {2, 3}, Single, 1, 1, 0, {},
                              refused("pump channel out of range")),
                    multiplex("RefusesAnEmptyGroup", 1, {}, Single, 1, 0, 0, {}, refused(kNoGroup)),
                    multiplex("RefusesAGroupWithoutValves", 1, {8, -1}, Bitmask, 1, 0, 0, {},
                              refused(kNoGroup))),
    sequence_name);

/// Switching on and off with a delay of `delay_ms`, for which `waits` is expected.
std::vector<Sequence> with_delay(std::int64_t delay_ms, const Steps& waits) {
  const Configure delay = [delay_ms](auto& config) { config.valve_switch_delay_ms = delay_ms; };
  return {multiplex("On", 1, {1, 5}, Single, 2, 1, 30,
                    Steps{valve("[0x22 0x20]", "valve_group open values=32")} + waits +
                        Steps{pump("[0x01 0x1e 0x00]", "pump channel=1 target=30")},
                    message_passed_on, delay),
          multiplex("Off", 1, {1, 5}, Single, 2, 1, 0,
                    Steps{pump("[0x01 0x00 0x00]", "pump channel=1 target=0")} + waits +
                        Steps{valve("[0x22 0x00]", "valve_group close")},
                    message_passed_on, delay)};
}

INSTANTIATE_TEST_SUITE_P(DelayLowest, CleaningCommand, testing::ValuesIn(with_delay(kInt64Min, {})),
                         sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayMinusOne, CleaningCommand, testing::ValuesIn(with_delay(-1, {})),
                         sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayZero, CleaningCommand, testing::ValuesIn(with_delay(0, {})),
                         sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayOne, CleaningCommand, testing::ValuesIn(with_delay(1, {"wait: 1ms"})),
                         sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayBelowASecond, CleaningCommand,
                         testing::ValuesIn(with_delay(999, {"wait: 999ms"})), sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayOfASecond, CleaningCommand,
                         testing::ValuesIn(with_delay(1000, {"wait: 1000ms"})), sequence_name);
// Seconds and nanoseconds apart: a sleep of a second or more in nanoseconds is invalid.
INSTANTIATE_TEST_SUITE_P(DelayAboveASecond, CleaningCommand,
                         testing::ValuesIn(with_delay(1500, {"wait: 1500ms"})), sequence_name);
INSTANTIATE_TEST_SUITE_P(DelayHighest, CleaningCommand,
                         testing::ValuesIn(with_delay(kInt64Max, {"wait: 9223372036854775807ms"})),
                         sequence_name);

TEST_F(CleaningTools, WaitOutTheDelayThatASignalInterrupts) {
  const std::vector<Sequence> on_and_off = with_delay(1500, {"wait: 1500ms", "wait: 800ms"});
  config.valve_switch_delay_ms = 1500;
  for (const Sequence& sequence : on_and_off) {
    const auto before = time.elapsed();
    time.interrupt_next_sleep_after(700ms);

    EXPECT_EQ(sequence.act(orchestrator()), success());
    EXPECT_EQ(journal.take(), record(sequence.steps));
    EXPECT_EQ(time.elapsed() - before, 1500ms);
  }
}

// --- Cleaning motors ---

Step motor(const std::string& slot, const char* op, const char* payload, const std::string& label) {
  return on_clean("motor" + slot, op, payload, label);
}
Steps started(const std::string& slot, const char* target, const std::string& rpm) {
  return {motor(slot, "set_mode", "[0x03]", "motor velocity mode"),
          motor(slot, "enable", "[]", "motor enable"),
          motor(slot, "set_target", target, "motor rpm=" + rpm)};
}
Steps stopped(const std::string& slot) {
  return {motor(slot, "set_target", "[0x00 0x00]", "motor stop target"),
          motor(slot, "disable", "[]", "motor disable")};
}

Sequence motor_slot(const char* name, std::int64_t select, std::int32_t cmd, std::int32_t duty,
                    Steps steps, ExpectedReply reply, Configure configure = as_it_is) {
  return {name, [=](auto& robot) { return robot.operate_motor_slot(select, cmd, duty); },
          std::move(steps), std::move(reply), std::move(configure)};
}

Configure slots(Numbers numbers) {
  return [numbers = std::move(numbers)](BottomCompatConfig& config) {
    config.tools_clean_motor_slots = numbers;
  };
}

INSTANTIATE_TEST_SUITE_P(
    MotorStart, CleaningCommand,
    testing::Values(
        motor_slot("First", 1, 1, 1,
                   Steps{"debug: tools_clean motor select=1 mapped_slot=5 duty=1"} +
                       started("5", "[0x1e 0x00]", "30"),
                   message_passed_on),
        motor_slot("Second", 2, 2, 10,
                   Steps{"debug: tools_clean motor select=2 mapped_slot=6 duty=10"} +
                       started("6", "[0x2c 0x01]", "300"),
                   message_passed_on),
        motor_slot("Third", 4, 1, 50,
                   Steps{"debug: tools_clean motor select=4 mapped_slot=7 duty=50"} +
                       started("7", "[0xdc 0x05]", "1500"),
                   message_passed_on),
        motor_slot("ThirdInReverse", 4, 3, 50,
                   Steps{"debug: tools_clean motor select=4 mapped_slot=7 duty=50"} +
                       started("7", "[0x24 0xfa]", "-1500"),
                   message_passed_on),
        motor_slot("LowestSlot", 1, 1, 50,
                   Steps{"debug: tools_clean motor select=1 mapped_slot=-9223372036854775808 "
                         "duty=50"} +
                       started("-9223372036854775808", "[0xdc 0x05]", "1500"),
                   message_passed_on, slots({kInt64Min})),
        motor_slot("HighestSlot", 1, 1, 50,
                   Steps{"debug: tools_clean motor select=1 mapped_slot=9223372036854775807 "
                         "duty=50"} +
                       started("9223372036854775807", "[0xdc 0x05]", "1500"),
                   message_passed_on, slots({kInt64Max}))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MotorStart, SilentCleaningCommand,
    testing::Values(motor_slot("NothingForTheFourthTool", 8, 1, 10, {}, message_dropped),
                    motor_slot("NothingForTheFourthToolEvenIfItExists", 8, 1, 10, {},
                               message_dropped, slots({5, 6, 7, 8})),
                    motor_slot("RefusesASlotThatIsMissing", 4, 1, 50, {},
                               refused("tools_clean select out of range"), slots({5, 6})),
                    motor_slot("RefusesTheFirstOfNoSlots", 1, 1, 50, {},
                               refused("tools_clean select out of range"), slots({}))),
    sequence_name);

/// A start of the first motor whose target is what this is about.
Sequence speed(const char* name, std::int32_t cmd, std::int32_t duty, std::int64_t rpm_per_duty,
               const char* payload, const char* rpm) {
  return motor_slot(
      name, 1, cmd, duty,
      Steps{"debug: tools_clean motor select=1 mapped_slot=5 duty=" + std::to_string(duty)} +
          started("5", payload, rpm),
      message_passed_on, [=](auto& config) { config.tools_clean_rpm_per_duty = rpm_per_duty; });
}

INSTANTIATE_TEST_SUITE_P(
    MotorSpeed, CleaningCommand,
    testing::Values(
        speed("Clamped", 1, 2000, 30, "[0xff 0x7f]", "60000"),
        speed("ClampedInReverse", 3, 2000, 30, "[0x00 0x80]", "-60000"),
        speed("AtTheUpperEnd", 1, 32'767, 1, "[0xff 0x7f]", "32767"),
        speed("AboveTheUpperEnd", 1, 32'768, 1, "[0xff 0x7f]", "32768"),
        speed("BelowTheUpperEnd", 1, 32'766, 1, "[0xfe 0x7f]", "32766"),
        speed("AboveTheLowerEnd", 3, 32'767, 1, "[0x01 0x80]", "-32767"),
        speed("AtTheLowerEnd", 3, 32'768, 1, "[0x00 0x80]", "-32768"),
        speed("BelowTheLowerEnd", 3, 32'769, 1, "[0x00 0x80]", "-32769"),
        speed("FactorZero", 1, 50, 0, "[0x00 0x00]", "0"),
        speed("FactorMinusOne", 1, 1, -1, "[0xff 0xff]", "-1"),
        speed("FullTurnOf16Bits", 1, 65'536, 1, "[0xff 0x7f]", "65536"),
        speed("FullTurnOf32Bits", 1, 1, 4'294'967'296, "[0xff 0x7f]", "4294967296"),
        speed("HighestFactor", 1, 2, kInt64Max, "[0xff 0x7f]", "9223372036854775807"),
        speed("HighestFactorInReverse", 3, 2, kInt64Max, "[0x00 0x80]", "-9223372036854775807"),
        speed("LowestFactor", 1, 2, kInt64Min, "[0x00 0x80]", "-9223372036854775808"),
        speed("LowestFactorInReverse", 3, 2, kInt64Min, "[0xff 0x7f]", "9223372036854775807"),
        speed("HighestDuty", 1, kInt32Max, 30, "[0xff 0x7f]", "64424509410"),
        speed("NegativeCommand", -3, 50, 30, "[0xdc 0x05]", "1500")),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MotorStop, CleaningCommand,
    testing::Values(
        motor_slot("First", 1, 0, 50,
                   Steps{"debug: tools_clean motor stop selected: select=1 mapped_slot=5 cmd=0 "
                         "duty=50"} +
                       stopped("5"),
                   message_dropped),
        motor_slot("SecondByDutyZero", 2, 1, 0,
                   Steps{"debug: tools_clean motor stop selected: select=2 mapped_slot=6 cmd=1 "
                         "duty=0"} +
                       stopped("6"),
                   message_dropped),
        motor_slot("ThirdByNegativeDuty", 4, 3, kInt32Min,
                   Steps{"debug: tools_clean motor stop selected: select=4 mapped_slot=7 cmd=3 "
                         "duty=-2147483648"} +
                       stopped("7"),
                   message_dropped),
        motor_slot("NegativeSlot", 1, 0, 0,
                   Steps{"debug: tools_clean motor stop selected: select=1 mapped_slot=-2 cmd=0 "
                         "duty=0"} +
                       stopped("-2"),
                   message_dropped, slots({-2})),
        motor_slot("All", 0, 0, 0,
                   Steps{"debug: tools_clean motor stop all: select=0 cmd=0 duty=0"} +
                       stopped("5") + stopped("6") + stopped("7"),
                   message_dropped),
        motor_slot("AllOfTwo", -1, 0, 7,
                   Steps{"debug: tools_clean motor stop all: select=-1 cmd=0 duty=7"} +
                       stopped("6") + stopped("5"),
                   message_dropped, slots({6, 5})),
        motor_slot("AllForTheFourthTool", 8, 0, 10,
                   Steps{"debug: tools_clean motor stop all: select=8 cmd=0 duty=10"} +
                       stopped("1") + stopped("2") + stopped("3") + stopped("4"),
                   message_dropped, slots({1, 2, 3, 4})),
        motor_slot("AllForASelectThatIsOneIn32Bits", 4'294'967'297, 0, 0,
                   Steps{"debug: tools_clean motor stop all: select=4294967297 cmd=0 duty=0"} +
                       stopped("5") + stopped("6") + stopped("7"),
                   message_dropped),
        motor_slot("AllForTheLowestSelect", kInt64Min, kInt32Min, 0,
                   Steps{"debug: tools_clean motor stop all: select=-9223372036854775808 "
                         "cmd=-2147483648 duty=0"} +
                       stopped("5"),
                   message_dropped, slots({5}))),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    MotorStop, SilentCleaningCommand,
    testing::Values(motor_slot("AllOfNone", 3, 9, -1,
                               {"debug: tools_clean motor stop all: select=3 cmd=9 duty=-1"},
                               message_dropped, slots({})),
                    motor_slot("RefusesASlotThatIsMissing", 4, 0, 0, {},
                               refused("tools_clean select out of range"), slots({5, 6})),
                    motor_slot("RefusesTheSecondOfOne", 2, 1, -1, {},
                               refused("tools_clean select out of range"), slots({5}))),
    sequence_name);

TEST_F(CleaningTools, TakeEveryRunningMotorSelectAsOneHotFourthToolOrUnsupported) {
  Numbers selects = {kInt64Min, -4'294'967'295, 4'294'967'297, 4'294'967'304, kInt64Max};
  for (const std::int32_t select : selects_worth_testing()) {
    selects.push_back(select);
  }
  for (const std::int64_t select : selects) {
    const std::int64_t position = one_hot_position(select);
    const std::string number = std::to_string(select);

    const BottomCompatReply reply = orchestrator().operate_motor_slot(select, 1, 50);

    if (position >= 0 && position <= 2) {
      const std::string slot = std::to_string(5 + position);
      EXPECT_EQ(reply, success());
      EXPECT_EQ(journal.take(), record(Steps{"debug: tools_clean motor select=" + number +
                                             " mapped_slot=" + slot + " duty=50"} +
                                       started(slot, "[0xdc 0x05]", "1500")));
    } else {
      EXPECT_EQ(reply,
                position == 3 ? success() : failure("unsupported tools_clean select: " + number));
      EXPECT_EQ(journal.take(), Lines{}) << select;
    }
  }
}

TEST_F(CleaningTools, StopEveryMotorForEverySelectThatNamesNone) {
  for (const std::int32_t select : selects_worth_testing()) {
    if (select == 1 || select == 2 || select == 4) {
      continue;
    }
    EXPECT_EQ(orchestrator().operate_motor_slot(select, 1, 0), success()) << select;
    EXPECT_EQ(journal.take(), record(Steps{"debug: tools_clean motor stop all: select=" +
                                           std::to_string(select) + " cmd=1 duty=0"} +
                                     stopped("5") + stopped("6") + stopped("7")));
  }
}

// --- Procter ---

struct Triple {
  std::int32_t select = 0;
  std::int32_t cmd = 0;
  std::int32_t duty = 0;
};

/// A procter request; the fields of other commands are not 0, and must not matter.
Request procter_request(Triple tools, Triple clean, Triple dirty, Triple claw = {}) {
  Request request;
  request.tools_select = tools.select;
  request.tools_cmd = tools.cmd;
  request.tools_duty = tools.duty;
  request.clean_select = clean.select;
  request.clean_cmd = clean.cmd;
  request.clean_duty = clean.duty;
  request.dirty_select = dirty.select;
  request.dirty_cmd = dirty.cmd;
  request.dirty_duty = dirty.duty;
  request.tools_claw_select = claw.select;
  request.tools_claw_cmd = claw.cmd;
  request.tools_claw_duty = claw.duty;
  request.pump_cmd = 71;
  request.pump_duty = 72;
  request.wheel_cmd = 73;
  return request;
}

std::string procter_summary(const Request& request) {
  return "debug: CMD_PROCTER: tools_select=" + std::to_string(request.tools_select) +
         " tools_cmd=" + std::to_string(request.tools_cmd) +
         " tools_duty=" + std::to_string(request.tools_duty) +
         " clean_select=" + std::to_string(request.clean_select) +
         " clean_duty=" + std::to_string(request.clean_duty) +
         " dirty_select=" + std::to_string(request.dirty_select) +
         " dirty_duty=" + std::to_string(request.dirty_duty);
}

/// The summary line, then `steps`.
Sequence procter(const char* name, const Request& request, const Steps& steps,
                 ExpectedReply reply = message_dropped, Configure configure = as_it_is) {
  return {name, [request](auto& robot) { return robot.handle_procter(request); },
          Steps{procter_summary(request)} + steps, std::move(reply), std::move(configure)};
}

constexpr char kToolsSkipped[] = "debug: tools_clean skipped: empty command";
constexpr char kCleanSkipped[] = "debug: clean_pump skipped: empty command";
constexpr char kDirtySkipped[] = "debug: dirty_pump skipped: empty command";

const Steps kClawSkipped = {"debug: CMD_PROCTER tools_claw: cmd=0 duty=0 select=0",
                            "debug: tools_claw skipped: empty command"};

/// What `everything` does between its summary line and the claw.
const Steps kMotorAndPumps =
    Steps{"debug: tools_clean motor select=2 mapped_slot=6 duty=40"} +
    started("6", "[0x50 0xfb]", "-1200") +
    Steps{"debug: multiplex_pump: channel=1 select=1 cmd=7 duty=50 valve_select=single open=true",
          valve("[0x03 0x01]", "valve_group open values=1"),
          "wait: 200ms",
          pump("[0x01 0x32 0x00]", "pump channel=1 target=50"),
          "debug: multiplex_pump: channel=2 select=5 cmd=8 duty=60 valve_select=bitmask open=true",
          valve("[0x1c 0x14]", "valve_group open values=20"),
          "wait: 200ms",
          pump("[0x02 0x3c 0x00]", "pump channel=2 target=60")};

Request everything(Triple claw = {}) {
  return procter_request({2, 3, 40}, {1, 7, 50}, {5, 8, 60}, claw);
}

const Steps kCleanStopped = {pump("[0x01 0x00 0x00]", "pump channel=1 target=0"), "wait: 200ms",
                             valve("[0x03 0x00]", "valve_group close")};
const Steps kDirtyStopped = {pump("[0x02 0x00 0x00]", "pump channel=2 target=0"), "wait: 200ms",
                             valve("[0x1c 0x00]", "valve_group close")};

INSTANTIATE_TEST_SUITE_P(
    Procter, CleaningCommand,
    testing::Values(
        procter("DrivesEverything", everything(), kMotorAndPumps + kClawSkipped),
        procter("LogsExtremes",
                procter_request({kInt32Min, kInt32Max, 0}, {kInt32Max, kInt32Min, 0},
                                {kInt32Min, kInt32Max, kInt32Min}),
                Steps{"debug: tools_clean motor stop all: select=-2147483648 cmd=2147483647 "
                      "duty=0"} +
                    stopped("5") + stopped("6") + stopped("7") +
                    Steps{"debug: multiplex_pump: channel=1 select=2147483647 cmd=-2147483648 "
                          "duty=0 valve_select=single open=false"} +
                    kCleanStopped +
                    Steps{"debug: multiplex_pump: channel=2 select=-2147483648 cmd=2147483647 "
                          "duty=-2147483648 valve_select=bitmask open=true"},
                refused(kNoValve)),
        procter("EndsWithTheReplyOfTheClaw", everything({2, 1, 9}),
                kMotorAndPumps + Steps{"debug: CMD_PROCTER tools_claw: cmd=1 duty=9 select=2"},
                refused("tools_claw disabled"), [](auto& config) { config.claw_enabled = false; })),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    Procter, SilentCleaningCommand,
    testing::Values(
        procter("SkipsWhatIsEmpty", procter_request({}, {}, {}),
                Steps{kToolsSkipped, kCleanSkipped, kDirtySkipped} + kClawSkipped),
        procter("EndsAtAMotorThatIsMissing",
                procter_request({4, 1, 50}, {1, 1, 50}, {1, 1, 50}, {1, 1, 0}), {},
                refused("tools_clean select out of range"), slots({5, 6})),
        procter("EndsAtACleanPumpWithoutValves",
                procter_request({8, 1, 50}, {1, 1, 50}, {1, 1, 50}, {1, 1, 0}),
                {"debug: multiplex_pump: channel=1 select=1 cmd=1 duty=50 valve_select=single "
                 "open=true"},
                refused(kNoGroup), [](auto& config) { config.clean_pump_valves = {}; }),
        procter("EndsAtADirtyPumpWithoutValves", procter_request({}, {}, {1, 1, 50}, {1, 1, 0}),
                {kToolsSkipped, kCleanSkipped,
                 "debug: multiplex_pump: channel=2 select=1 cmd=1 duty=50 valve_select=bitmask "
                 "open=true"},
                refused(kNoGroup), [](auto& config) { config.dirty_pump_valves = {8}; }),
        procter("CleanPumpTakesOneHotSelectsOnly", procter_request({}, {3, 1, 50}, {}),
                {kToolsSkipped,
                 "debug: multiplex_pump: channel=1 select=3 cmd=1 duty=50 valve_select=single "
                 "open=true"},
                refused(kNoValve)),
        procter("LetsTheClawJudgeItsOwnFields", procter_request({}, {}, {}, {3, 2, 0}),
                {kToolsSkipped, kCleanSkipped, kDirtySkipped,
                 "debug: CMD_PROCTER tools_claw: cmd=2 duty=0 select=3"},
                refused("unsupported tools_claw cmd: 2"))),
    sequence_name);

// A part is skipped only when all three of its fields are 0.
INSTANTIATE_TEST_SUITE_P(
    ProcterWithOneField, CleaningCommand,
    testing::Values(
        procter("ToolsSelect", procter_request({2, 0, 0}, {}, {}),
                Steps{"debug: tools_clean motor stop selected: select=2 mapped_slot=6 cmd=0 "
                      "duty=0"} +
                    stopped("6") + Steps{kCleanSkipped, kDirtySkipped} + kClawSkipped),
        procter("ToolsCmd", procter_request({0, 1, 0}, {}, {}),
                Steps{"debug: tools_clean motor stop all: select=0 cmd=1 duty=0"} + stopped("5") +
                    stopped("6") + stopped("7") + Steps{kCleanSkipped, kDirtySkipped} +
                    kClawSkipped),
        procter("ToolsDuty", procter_request({0, 0, -1}, {}, {}),
                Steps{"debug: tools_clean motor stop all: select=0 cmd=0 duty=-1"} + stopped("5") +
                    stopped("6") + stopped("7") + Steps{kCleanSkipped, kDirtySkipped} +
                    kClawSkipped),
        procter("CleanSelect", procter_request({}, {-1, 0, 0}, {}),
                Steps{kToolsSkipped,
                      "debug: multiplex_pump: channel=1 select=-1 cmd=0 duty=0 "
                      "valve_select=single open=false"} +
                    kCleanStopped + Steps{kDirtySkipped} + kClawSkipped),
        procter("CleanCmd", procter_request({}, {0, 1, 0}, {}),
                Steps{kToolsSkipped,
                      "debug: multiplex_pump: channel=1 select=0 cmd=1 duty=0 "
                      "valve_select=single open=false"} +
                    kCleanStopped + Steps{kDirtySkipped} + kClawSkipped),
        procter("DirtySelect", procter_request({}, {}, {4, 0, 0}),
                Steps{kToolsSkipped, kCleanSkipped,
                      "debug: multiplex_pump: channel=2 select=4 cmd=0 duty=0 "
                      "valve_select=bitmask open=false"} +
                    kDirtyStopped + kClawSkipped),
        procter("DirtyCmd", procter_request({}, {}, {0, -1, 0}),
                Steps{kToolsSkipped, kCleanSkipped,
                      "debug: multiplex_pump: channel=2 select=0 cmd=-1 duty=0 "
                      "valve_select=bitmask open=false"} +
                    kDirtyStopped + kClawSkipped)),
    sequence_name);

INSTANTIATE_TEST_SUITE_P(
    ProcterWithOneField, SilentCleaningCommand,
    testing::Values(
        procter("CleanDuty", procter_request({}, {0, 0, 1}, {}),
                {kToolsSkipped,
                 "debug: multiplex_pump: channel=1 select=0 cmd=0 duty=1 valve_select=single "
                 "open=true"},
                refused(kNoValve)),
        procter("DirtyDuty", procter_request({}, {}, {0, 0, 1}),
                {kToolsSkipped, kCleanSkipped,
                 "debug: multiplex_pump: channel=2 select=0 cmd=0 duty=1 valve_select=bitmask "
                 "open=true"},
                refused(kNoValve))),
    sequence_name);

const Steps kClawMove = {"debug: CMD_PROCTER tools_claw: cmd=1 duty=9 select=2",
                         "info: 收到爪子控制请求 工具12 伸出 cmd=1 duty=9",
                         "debug: tools_claw execute: motor12 op=claw_extend",
                         on_clean("motor12", "claw_extend", "[]", "tools_claw claw_extend"),
                         "wait: 50ms",
                         on_clean("motor12", "claw_query_state", "[]", "tools_claw query_state"),
                         "debug: tools_claw ok: motor12 raised",
                         "info: 工具12伸出成功"};

TEST_F(CleaningTools, MoveTheClawLastAndDropEveryMessage) {
  const OperateResult raised{true, {3, 2}, "raised, as it says"};
  gateway->otherwise([&](const Operation&) { return raised; });
  const Request request = everything({2, 1, 9});
  const Steps steps = Steps{procter_summary(request)} + kMotorAndPumps + kClawMove;

  EXPECT_EQ(orchestrator().handle_procter(request), success());
  EXPECT_EQ(journal.take(), record(steps, {count_operations(steps), raised}));
}

TEST_F(CleaningTools, PassOnTheReplyOfAClawThatFails) {
  config.claw_retry_count = 0;
  const OperateResult hot{false, {}, "motor is hot"};
  gateway->then([&](const Operation&) { return hot; });
  const Request request = procter_request({}, {}, {}, {8, 3, -9});
  const Steps steps = {procter_summary(request),
                       kToolsSkipped,
                       kCleanSkipped,
                       kDirtySkipped,
                       "debug: CMD_PROCTER tools_claw: cmd=3 duty=-9 select=8",
                       "info: 收到爪子控制请求 工具14 收回 cmd=3 duty=-9",
                       "debug: tools_claw execute: motor14 op=claw_home",
                       on_clean("motor14", "claw_home", "[]", "tools_claw claw_home")};
  const std::string attempt = "tools_claw claw_home write failed: motor is hot";
  const std::string outcome = "tools_claw claw_home failed after 1 attempts: " + attempt;

  EXPECT_EQ(orchestrator().handle_procter(request), failure(outcome));
  EXPECT_EQ(journal.take(),
            record(steps, {hot}) + (Lines{"debug: tools_claw attempt 1/1 failed: " + attempt,
                                          "warn: 工具14收回第 1/1 次尝试失败：" + attempt,
                                          "warn: 工具14收回失败：" + outcome}));
}

}  // namespace
}  // namespace vantrel_can_bridge::test
