#include "workbench/run.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/workbench/scenario_fixture.hpp"
#include "workbench/duration_text.hpp"
#include "workbench/player.hpp"
#include "workbench/real_time.hpp"
#include "workbench/simulated_time.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

/// An event in a line, with the fields that these tests are about.
struct Line {
  std::string operator()(const StepBegun& e) const { return "step " + e.text; }
  std::string operator()(const RequestBegun& e) const {
    return "request " + std::to_string(e.request) + " " + e.name + " " + e.command;
  }
  std::string operator()(const RequestEnded& e) const {
    return "reply " + std::to_string(e.request) + " " + (e.reply.success ? "ok" : "failed") +
           e.thrown;
  }
  std::string operator()(const OperationBegun& e) const {
    return "begin " + std::to_string(e.operation) + " of " + std::to_string(e.activity) + " " +
           e.device + " " + e.op + " (" + e.label + ")";
  }
  std::string operator()(const OperationEnded& e) const {
    return "end " + std::to_string(e.begun.operation) + (e.result.success ? " ok" : " failed") +
           e.thrown;
  }
  std::string operator()(const LogLine& e) const { return "log " + e.text; }
  std::string operator()(const WaitBegun& e) const { return "wait " + duration_text(e.duration); }
  std::string operator()(const WaitEnded&) const { return "waited"; }
  std::string operator()(const FaultApplied& e) const { return "fault " + e.effect; }
  std::string operator()(const EmergencyRaised&) const { return "raised"; }
  std::string operator()(const EmergencyCleared&) const { return "cleared"; }
  std::string operator()(const RecoveryBegun& e) const {
    return "recovery " + std::to_string(e.recovery);
  }
  std::string operator()(const RecoveryEnded&) const { return "recovered"; }
  std::string operator()(const DeviceStateChanged& e) const { return e.device + " " + e.text; }
  std::string operator()(const ExpectationChecked& e) const {
    return e.subject + (e.held ? " held" : " failed");
  }
  std::string operator()(const Note& e) const { return "note " + e.text; }
};

std::vector<std::string> lines(const Record& record, bool with_log) {
  std::vector<std::string> all;
  for (const Event& event : record.events) {
    if (with_log || !std::holds_alternative<LogLine>(event.body)) {
      all.push_back(duration_text(event.time) + " " + event.thread + ": " +
                    std::visit(Line{}, event.body));
    }
  }
  return all;
}

PlayResult play_simulated(const Scenario& scenario, Record& record) {
  SimulatedTime time;
  return play(scenario, time, record);
}

TEST(Run, RecordsEverythingInItsOrder) {
  Record record;
  const PlayResult result = play_simulated(
      scenario("  - fault: {device: valve, times: 1, slow: 1 s}\n"
               "  - request: {cmd: procter, clean_cmd: 1, clean_duty: 60, clean_select: 1}\n"
               "    expect: {reply: success}\n"
               "  - emergency: raise\n"
               "  - emergency: clear\n"
               "  - request: {cmd: 99}\n"
               "    expect: {reply: success}\n",
               "with: {claw_emergency_recovery: false}\n"),
      record);
  EXPECT_EQ(result.held, 1U);
  EXPECT_EQ(result.failed, 1U);
  EXPECT_THAT(
      lines(record, false),
      ElementsAre("0 ms main: step fault * valve *: slower by 1 s",
                  "0 ms main: step request cmd=0 clean_cmd=1 clean_duty=60 clean_select=1",
                  "0 ms main: request 1  procter",
                  "0 ms main: begin 1 of 1 valve set_valves (valve_group open values=1)",
                  "1005 ms main: fault slower by 1 s", "1005 ms main: valve 0 open",
                  "1005 ms main: end 1 ok", "1005 ms main: wait 200 ms", "1205 ms main: waited",
                  "1205 ms main: begin 2 of 1 pump set_duty (pump channel=1 target=60)",
                  "1210 ms main: pump 1 60 %", "1210 ms main: end 2 ok", "1210 ms main: reply 1 ok",
                  "1210 ms main: reply held", "1210 ms main: step emergency raise",
                  "1210 ms main: raised", "1210 ms main: emergency active",
                  "1210 ms main: step emergency clear", "1210 ms main: cleared",
                  "1210 ms main: emergency clear", "1210 ms main: recovery 2",
                  "1210 ms main: recovered", "1210 ms main: step request cmd=99",
                  "1210 ms main: request 3  ", "1210 ms main: reply 3 failed",
                  "1210 ms main: reply failed"));
  EXPECT_THAT(record.ends, ElementsAre(1210ms));
}

/// Everything at once: background requests, stops in the middle, chance.
Scenario busy_scenario() {
  return scenario(
      "  - fault: {device: motor1, op: claw_query_state, probability: 0.3, refuse: lost}\n"
      "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
      "    background: one\n"
      "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 2}\n"
      "    background: two\n"
      "    during: [{after: 700 ms, emergency: raise}, {after: 900 ms, emergency: clear}]\n"
      "  - request: {cmd: operate_light, bottom_rgb: 255}\n"
      "  - wait: 1 s\n"
      "  - emergency: raise\n"
      "  - emergency: clear\n"
      "    background: recovery\n"
      "  - wait_for: recovery\n"
      "    at_most: 2 min\n"
      "  - wait_for: two\n"
      "    at_most: 2 min\n",
      "seed: 5\n");
}

TEST(Run, IsTheSameEveryTimeOnSimulatedTime) {
  const Scenario busy = busy_scenario();
  Record first;
  ASSERT_TRUE(play_simulated(busy, first).is_good());
  EXPECT_GT(first.events.size(), 300U);
  for (int again = 0; again < 5; ++again) {
    Record record;
    ASSERT_TRUE(play_simulated(busy, record).is_good());
    ASSERT_EQ(lines(record, true), lines(first, true));
  }
}

TEST(Run, DependsOnTheSeed) {
  Scenario busy = busy_scenario();
  Record first;
  ASSERT_TRUE(play_simulated(busy, first).is_good());
  busy.seed = 6;
  Record other;
  ASSERT_TRUE(play_simulated(busy, other).is_good());
  EXPECT_NE(lines(first, true), lines(other, true));
}

/// What sinks may rely on.
void expect_well_formed(const Record& record) {
  std::chrono::nanoseconds last{0};
  std::set<ActivityId> activities;
  std::map<std::string, OperationId> operations;
  for (const Event& event : record.events) {
    EXPECT_GE(event.time, last);
    last = event.time;
    if (const auto* const begun = std::get_if<RequestBegun>(&event.body)) {
      activities.insert(begun->request);
    } else if (const auto* const ended = std::get_if<RequestEnded>(&event.body)) {
      EXPECT_EQ(activities.erase(ended->request), 1U);
    } else if (const auto* const recovery = std::get_if<RecoveryBegun>(&event.body)) {
      activities.insert(recovery->recovery);
    } else if (const auto* const recovered = std::get_if<RecoveryEnded>(&event.body)) {
      EXPECT_EQ(activities.erase(recovered->recovery), 1U);
    } else if (const auto* const operation = std::get_if<OperationBegun>(&event.body)) {
      EXPECT_EQ(activities.count(operation->activity), 1U);
      EXPECT_EQ(operations.count(event.thread), 0U);
      operations[event.thread] = operation->operation;
    } else if (const auto* const done = std::get_if<OperationEnded>(&event.body)) {
      EXPECT_EQ(operations[event.thread], done->begun.operation);
      operations.erase(event.thread);
    }
  }
  EXPECT_THAT(activities, IsEmpty());
  EXPECT_THAT(operations, IsEmpty());
  EXPECT_EQ(record.ends.size(), 1U);
}

TEST(Run, WhatBeginsEndsOnSimulatedTime) {
  Record record;
  ASSERT_TRUE(play_simulated(busy_scenario(), record).is_good());
  expect_well_formed(record);
}

TEST(Run, WhatBeginsEndsInRealTime) {
  const Scenario quick = scenario(
      "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
      "    background: claw\n"
      "    during: [{in_wait: 2, emergency: raise}]\n"
      "  - request: {cmd: operate_light, bottom_rgb: 255}\n"
      "  - wait_for: claw\n"
      "    expect: {reply: {success: false, message: 'tools_claw aborted: selfclean_board in "
      "emergency'}}\n"
      "  - wait_until: {emergency: active}\n",
      "with: {claw_poll_interval_ms: 10, claw_retry_backoff_ms: 0}\n");
  Record record;
  RealTime time;
  const PlayResult result = play(quick, time, record);
  EXPECT_EQ(result.error, "");
  EXPECT_EQ(result.failed, 0U);
  expect_well_formed(record);
}

TEST(Run, EndsAtItsTimeLimit) {
  Record record;
  const PlayResult result = play_simulated(
      scenario("  - fault: {device: motor1, claw_sticks_at: 10 %}\n"
               "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
               "  - note: never reached\n",
               "with: {claw_timeout_ms: 9223372036854775807}\ntime_limit: 10 s\n"),
      record);
  EXPECT_EQ(result.error, "time limit of 10 s reached");
  EXPECT_FALSE(result.is_good());
  expect_well_formed(record);
  EXPECT_THAT(lines(record, false).back(), testing::HasSubstr("note time limit of 10 s reached"));
}

TEST(Run, NothingThatIsPlannedOutlastsItsTimeLimit) {
  Record record;
  const PlayResult result = play_simulated(scenario("  - request: {cmd: 13}\n"
                                                    "    during: [{after: 3 s, emergency: raise}]\n"
                                                    "  - wait: 1000 h\n",
                                                    "time_limit: 2 s\n"),
                                           record);
  EXPECT_EQ(result.error, "time limit of 2 s reached");
  EXPECT_THAT(record.ends, ElementsAre(2s));
  EXPECT_THAT(lines(record, false), testing::Not(testing::Contains(testing::HasSubstr("raise"))))
      << "the stop comes after the end";
}

TEST(Run, EndsWhenItIsInterrupted) {
  Record record;
  SimulatedTime time;
  const PlayResult result =
      play(busy_scenario(), time, record, {{}, [&](const StepRecord&) { time.interrupt(); }, {}});
  EXPECT_EQ(result.error, "interrupted");
  expect_well_formed(record);
}

TEST(Run, DoesNotCheckAStepThatIsInterrupted) {
  Record record;
  SimulatedTime time;
  std::vector<StepRecord> steps;
  PlayHooks hooks;
  hooks.wait_begun = [&](auto, auto total) {
    if (total) {
      time.interrupt();  // in the step that knows how long it waits at most
    }
  };
  hooks.after_step = [&](const StepRecord& step) { steps.push_back(step); };
  const PlayResult result = play(scenario("  - request: {cmd: handle_pump}\n"
                                          "    expect: {reply: success}\n"
                                          "  - wait_until: {pump 1: 80 %}\n"
                                          "    expect: {boards: {pump 1: 80 %}}\n"),
                                 time, record, hooks);
  EXPECT_EQ(result.error, "interrupted");
  EXPECT_EQ(result.held, 1U);
  EXPECT_EQ(result.failed, 0U);
  EXPECT_EQ(steps.size(), 1U);
  expect_well_formed(record);
}

TEST(Run, TellsOfEachStepThatWaits) {
  SimulatedTime time;
  Record record;
  std::vector<std::string> waits;
  PlayHooks hooks;
  hooks.wait_begun = [&](auto, auto total) {
    waits.push_back(total ? duration_text(*total) : "unknown");
  };
  hooks.wait_ended = [&] { waits.push_back("ended"); };
  (void)play(scenario("  - request: {cmd: handle_pump}\n"
                      "  - request: {cmd: handle_pump}\n"
                      "    background: pump\n"
                      "  - wait_for: pump\n    at_most: 3 s\n"
                      "  - emergency: raise\n"
                      "  - emergency: clear\n"
                      "  - wait: 2 s\n"),
             time, record, hooks);
  EXPECT_THAT(waits, ElementsAre("unknown", "ended",    // the request
                                 "3 s", "ended",        // for the background
                                 "unknown", "ended",    // the recovery
                                 "2 s", "ended",        // the wait
                                 "unknown", "ended"));  // for what is still under way
}

TEST(Run, AWaitThatTheTimeLimitCutsShortHasNotFailed) {
  Record record;
  const PlayResult result = play_simulated(
      scenario("  - wait_until: {pump 1: 80 %}\n    at_most: 3 s\n", "time_limit: 2 s\n"), record);
  EXPECT_EQ(result.failed, 0U);
  EXPECT_EQ(result.error, "time limit of 2 s reached");
}

TEST(Run, AConditionThatNeverHoldsFailsAfterItsTime) {
  Record record;
  const PlayResult result = play_simulated(scenario("  - wait_until: {pump 1: 80 %}\n"
                                                    "    at_most: 3 s\n"),
                                           record);
  EXPECT_EQ(result.failed, 1U);
  const auto& checked = std::get<ExpectationChecked>(record.events.back().body);
  EXPECT_THAT(checked.expected, ElementsAre("at most 3 s"));
  EXPECT_THAT(checked.actual, ElementsAre("pump 1 0 %"));
  EXPECT_EQ(record.ends.front(), 3s);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
