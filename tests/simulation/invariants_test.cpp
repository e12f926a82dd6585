#include "tests/simulation/invariants.hpp"

#include <gtest/gtest.h>

#include <utility>

namespace vantrel_can_bridge::test::simulation {
namespace {

// Records of a robot with two claws and a valve delay of 200 ms, made by hand.

constexpr std::int64_t kMs = 1'000'000;

Entry debug(std::string text) { return {Kind::Debug, std::move(text)}; }
Entry call(std::string device, std::string op, Bytes payload = {}, std::int64_t at_ms = 0) {
  Entry entry{Kind::Call, "clean", std::move(device), std::move(op), std::move(payload)};
  entry.at = at_ms * kMs;
  return entry;
}
Entry answer(std::string device, std::string op, Bytes data = {}, bool success = true) {
  return {Kind::Answer, "", std::move(device), std::move(op), std::move(data), success};
}
Entry claws(std::string states) { return {Kind::Claws, std::move(states)}; }
Entry deeper(Entry entry) {
  entry.depth = 1;
  return entry;
}

Record operator+(Record a, const Record& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const Entry kStop{Kind::Stop};
const Entry kClear{Kind::Clear};
const Entry kBack{Kind::Back};
const Entry kThrown{Kind::Exception, "gateway gone"};
const Record kExtend = {call("motor11", "claw_extend"), answer("motor11", "claw_extend")};
const Record kHome = {call("motor11", "claw_home"), answer("motor11", "claw_home")};
const Record kExtended = {call("motor11", "claw_query_state"),
                          answer("motor11", "claw_query_state", {3, 2})};
const Record kAtHome = {call("motor11", "claw_query_state"),
                        answer("motor11", "claw_query_state", {4, 1})};
const Record kOpen = {call("valve", "set_valves", {0x0c, 0x08}), answer("valve", "set_valves")};
const Record kOpenFails = {call("valve", "set_valves", {0x0c, 0x08}),
                           answer("valve", "set_valves", {}, false)};
const Record kStopped = {call("pump", "set_duty", {2, 0, 0}), answer("pump", "set_duty")};

Record start_after(std::int64_t ms) {
  return {call("pump", "set_duty", {2, 50, 0}, ms), answer("pump", "set_duty")};
}
Record close_after(std::int64_t ms) {
  return {call("valve", "set_valves", {0x0c, 0}, ms), answer("valve", "set_valves")};
}

/// What the last of the steps breaks; the ones before it must break nothing.
std::string broken(std::vector<std::pair<std::string, Record>> steps) {
  Case script;
  script.config.claw_motor_ids = {11, 12};
  script.config.valve_switch_delay_ms = 200;
  Invariants invariants(script);
  std::string last;
  for (auto& [operation, record] : steps) {
    EXPECT_EQ(last, "");
    Step step;
    step.operation = operation;
    step.arguments.target = 1;
    if (record.empty() || record.back().kind != Kind::Claws) {
      record.push_back(claws("0 0 0 "));
    }
    last = invariants.broken_by(step, record).value_or("");
  }
  return last;
}

TEST(Invariants, ReplyCodeSaysSuccess) {
  const auto reply = [](bool success, std::int64_t code) {
    return broken({{"handle", {{Kind::Reply, "", {}, {}, {}, success, code}}}});
  };
  EXPECT_EQ(reply(true, 0), "");
  EXPECT_EQ(reply(false, 1), "");
  EXPECT_NE(reply(true, 1), "");
  EXPECT_NE(reply(false, 0), "");
  EXPECT_NE(reply(false, -1), "");
}

TEST(Invariants, OperationsEndUnderTheirLabel) {
  const Entry begin = debug("operate begin: led rgb=1 board=body device=left_light");
  const Entry end = debug("operate end: led rgb=1 success=true message=");
  const auto record = [](Record entries) { return broken({{"operate_led", std::move(entries)}}); };

  EXPECT_EQ(record({begin, end}), "");
  EXPECT_NE(record({begin}), "");
  EXPECT_NE(record({end}), "");
  EXPECT_NE(record({begin, begin, end}), "");
  EXPECT_NE(record({begin, debug("operate end: led rgb=2 success=true message=")}), "");
  EXPECT_EQ(record({begin, kThrown}), "") << "the gateway threw";
  EXPECT_EQ(
      record({begin, kStop, deeper(begin), deeper(kThrown), {Kind::Back, "gateway gone"}, end}),
      "");
  EXPECT_NE(record({begin, kStop, deeper(end), kBack}), "");
}

TEST(Invariants, NoClawMovesAfterAStop) {
  const Entry begin = debug("operate begin: tools_claw claw_extend board=clean");
  const Entry end = debug("operate end: tools_claw claw_extend success=true message=");
  const auto record = [](Record entries) { return broken({{"claw_execute", std::move(entries)}}); };
  const Record stop = {kStop, kBack};

  EXPECT_EQ(record(kExtend + stop), "");
  EXPECT_NE(record(stop + kExtend), "");
  EXPECT_NE(record(kExtend + stop + kHome), "");
  EXPECT_EQ(record(Record{begin} + stop + kExtend + Record{end}), "") << "on its way already";
  EXPECT_NE(record(Record{begin} + stop + kExtend + Record{end} + kExtend), "");
  EXPECT_NE(broken({{"on_emergency_active", {}}, {"claw_execute", kExtend}}), "");
  EXPECT_EQ(broken({{"on_emergency_active", {}}, {"claw_try_once", kExtend}}), "") << "unguarded";
  EXPECT_EQ(
      broken(
          {{"on_emergency_active", {}}, {"on_emergency_recovered", {}}, {"claw_execute", kExtend}}),
      "");
  EXPECT_EQ(broken({{"on_emergency_active", {}},
                    {"handle_fill_light", {kClear, kBack}},
                    {"claw_execute", kExtend}}),
            "");
}

TEST(Invariants, PumpStartsBehindOpenAndSettledValves) {
  const auto record = [](Record entries) {
    return broken({{"operate_multiplex_pump", std::move(entries)}});
  };
  EXPECT_EQ(record(kOpen + start_after(200)), "");
  EXPECT_NE(record(kOpen + start_after(199)), "");
  EXPECT_NE(record(start_after(200)), "");
  EXPECT_NE(record(kOpenFails + start_after(200)), "");
  EXPECT_NE(record(kStopped + close_after(200) + start_after(400)), "");
  EXPECT_EQ(record(Record{{Kind::Armed, "fails"}} + kOpen + start_after(0)), "");
  EXPECT_EQ(broken({{"operate_pump_select", start_after(0)}}), "") << "asks for no delay";
}

TEST(Invariants, ValvesCloseBehindAStoppedPump) {
  const auto record = [](Record entries) {
    return broken({{"handle_procter", std::move(entries)}});
  };
  EXPECT_EQ(record(kStopped + close_after(200)), "");
  EXPECT_NE(record(kStopped + close_after(199)), "");
  EXPECT_NE(record(close_after(200)), "");
  EXPECT_NE(record(kOpen + start_after(200) + close_after(400)), "");
}

TEST(Invariants, OneClawMovesAtATime) {
  const auto record = [](Record entries) { return broken({{"claw_execute", std::move(entries)}}); };
  const Entry other = call("motor12", "claw_query_state");

  EXPECT_EQ(record(kExtend), "");
  EXPECT_NE(record({call("motor11", "claw_extend"), other}), "");
  EXPECT_NE(record(kExtend + Record{other}), "");
  EXPECT_EQ(broken({{"claw_query", {other}}}), "");
}

TEST(Invariants, RecordedStateIsTheConfirmedOne) {
  const Record raised = {claws("1 0 0 ")};
  const Record lowered = {claws("2 0 0 ")};
  const auto record = [](Record entries) { return broken({{"claw_execute", std::move(entries)}}); };

  EXPECT_EQ(record(kExtend + kExtended + raised), "");
  EXPECT_NE(record(kExtend + kExtended + lowered), "");
  EXPECT_NE(record(kExtend + kExtended), "") << "confirmed, not recorded";
  EXPECT_NE(record(kExtend + kAtHome + raised), "");
  EXPECT_NE(record(kHome + kExtended + raised), "");
  EXPECT_NE(record(raised), "") << "never moved";
  EXPECT_NE(broken({{"claw_execute", kExtend + kExtended + raised}, {"handle", lowered}}), "");
  EXPECT_EQ(record(kExtend + kExtended + Record{kThrown}), "") << "thrown before it is recorded";
  EXPECT_EQ(broken({{"claw_try_once", kExtend + kExtended}}), "") << "records nothing";
}

TEST(Invariants, RecoveryLeavesTheStateOfAStoppedMove) {
  const auto record = [](Record entries) {
    return broken({{"on_emergency_recovered", std::move(entries)}});
  };
  const Record stop = {kStop, kBack};
  const Record query = {call("motor11", "claw_query_state")};
  const Record extended = {answer("motor11", "claw_query_state", {3, 2})};

  EXPECT_EQ(record(kExtend + query + stop + extended), "") << "stopped while it was asked";
  EXPECT_EQ(record(kExtend + query + extended + stop), "") << "stopped before it was recorded";
  EXPECT_NE(record(kExtend + query + extended), "");
}

}  // namespace
}  // namespace vantrel_can_bridge::test::simulation
