#include "workbench/sweep.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/workbench/scenario_fixture.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<SweepRun> sweep_all(const Scenario& scenario) {
  std::vector<SweepRun> runs;
  SweepHooks hooks;
  hooks.show = [&](const SweepRun& run) { runs.push_back(run); };
  sweep(scenario, hooks);
  return runs;
}

TEST(Sweep, DisturbsEveryOperationAndEveryWait) {
  const auto runs = sweep_all(
      scenario("  - request: {cmd: procter, clean_cmd: 1, clean_duty: 60, clean_select: 1}\n"));
  std::vector<std::string> names;
  for (const SweepRun& run : runs) {
    names.push_back(run.disturbance + ": " + run.place);
    EXPECT_THAT(run.broken, IsEmpty()) << names.back();
  }
  EXPECT_THAT(
      names,
      ElementsAre("undisturbed: -", "stop before operation 1: valve set_valves",
                  "stop after operation 1: valve set_valves", "operation 1 fails: valve set_valves",
                  "stop before operation 2: pump set_duty", "stop after operation 2: pump set_duty",
                  "operation 2 fails: pump set_duty", "stop in wait 1: wait 200 ms"));
  EXPECT_THAT(runs[0].left, ElementsAre("pump 1 60 %", "valve 0 open"));
  EXPECT_EQ(runs[1].ended_after, 210ms) << "5 ms for each of two writes, and the valve's delay";
  EXPECT_THAT(runs[1].left, ElementsAre("emergency active", "pump 1 60 %", "valve 0 open"));
  EXPECT_EQ(runs[3].ended_after, std::nullopt);
  EXPECT_THAT(runs[3].left, IsEmpty());
  EXPECT_THAT(runs[6].left, ElementsAre("valve 0 open"));
  EXPECT_EQ(runs[7].ended_after, 105ms);
}

TEST(Sweep, FailsAnOperationAlsoBehindFaultsThatAreCleared) {
  const auto runs = sweep_all(
      scenario("  - clear_faults: all\n  - request: {cmd: 13, pump_cmd: 1, pump_duty: 80}\n"));
  EXPECT_EQ(runs.back().disturbance, "operation 1 fails");
  EXPECT_THAT(runs.back().left, IsEmpty());
}

TEST(Sweep, FindsAClawMoveThatEndsWithinAPollOfTheStop) {
  for (const SweepRun& run :
       sweep_all(scenario("  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n",
                          "with: {claw_retry_count: 0}\n"))) {
    EXPECT_THAT(run.broken, IsEmpty()) << run.disturbance;
    if (run.disturbance.rfind("stop", 0) == 0) {
      EXPECT_LE(run.ended_after.value_or(0ms), 105ms) << run.disturbance;
    }
  }
}

TEST(Sweep, ReportsAPumpThatRunsWithItsValvesShut) {
  // The valve write is answered but not done, so that the pump starts behind shut valves.
  const auto runs = sweep_all(
      scenario("  - fault: {device: valve, answered_but_not_done: true}\n"
               "  - request: {cmd: procter, clean_cmd: 1, clean_duty: 60, clean_select: 1}\n"));
  EXPECT_THAT(runs.front().broken, ElementsAre("pump 1 runs with its valves shut"));
}

TEST(Sweep, TakesWhatTheGatewayThrowsForAnAnswer) {
  const auto runs =
      sweep_all(scenario("  - fault: {device: pump, throw: bus off}\n"
                         "  - fault: {device: motor1, throw: bus off}\n"
                         "  - request: {cmd: handle_pump}\n"
                         "  - emergency: raise\n"
                         "  - emergency: clear\n",
                         "with: {claw_motor_ids: [1]}\n"));
  EXPECT_EQ(runs.size(), 7U) << "a request and a recovery that both end with their first operation";
  for (const SweepRun& run : runs) {
    EXPECT_THAT(run.broken, IsEmpty()) << run.disturbance;
  }
}

TEST(Sweep, ReportsARequestThatIsNotAnswered) {
  const auto runs =
      sweep_all(scenario("  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n",
                         "time_limit: 500 ms\n"));
  EXPECT_THAT(runs.front().broken,
              ElementsAre("request 1 threw: the run has reached its time limit of 500 ms",
                          "time limit of 500 ms reached"));
}

TEST(Sweep, EndsBeforeTheNextRunOnceItIsOver) {
  int runs = 0;
  SweepHooks hooks;
  hooks.show = [&](const SweepRun&) { ++runs; };
  hooks.is_over = [&] { return runs == 2; };
  sweep(scenario("  - request: {cmd: operate_light, bottom_rgb: 1}\n"), hooks);
  EXPECT_EQ(runs, 2);
}

TEST(Sweep, DoesNotShowARunThatIsInterrupted) {
  int begun = 0;
  int shown = 0;
  SweepHooks hooks;
  hooks.show = [&](const SweepRun&) { ++shown; };
  hooks.running = [&](IScheduler* time) {
    if (time != nullptr && ++begun == 2) {
      time->interrupt();
    }
  };
  hooks.is_over = [&] { return begun == 2; };
  sweep(scenario("  - request: {cmd: operate_light, bottom_rgb: 1}\n"), hooks);
  EXPECT_EQ(shown, 1);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
