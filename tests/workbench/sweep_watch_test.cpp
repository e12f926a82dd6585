#include "workbench/sweep_watch.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;

SweepRun watch(const std::vector<Event>& events) {
  business_layer::bottom_compat::BottomCompatConfig config{};
  config.clean_pump_channel = 1;
  config.clean_pump_valves = {0, 9};
  config.dirty_pump_channel = 1;  // both groups lead to one pump
  config.dirty_pump_valves = {4};
  SweepWatch watch(config);
  for (const Event& event : events) {
    watch.on_event(event);
  }
  SweepRun run;
  watch.report(run);
  return run;
}

Event at(std::chrono::nanoseconds time, EventBody body) { return {time, "main", std::move(body)}; }

RequestBegun request(ActivityId id) { return {id, "", 0, "procter", {}}; }
OperationBegun operation(const std::string& op) { return {1, 1, "b", "motor1", op, {}, ""}; }
OperationEnded ended(const std::string& thrown) { return {operation("set_duty"), {}, thrown}; }
DeviceStateChanged change(const std::string& device, std::int64_t value, const std::string& text) {
  return {"b", device, "duty", value, text};
}

TEST(SweepWatch, SeesAClawThatIsToldToMoveDuringTheStop) {
  for (const char* const op : {"claw_extend", "claw_home"}) {
    EXPECT_THAT(watch({at(1s, EmergencyRaised{}), at(2s, operation(op))}).broken,
                ElementsAre(std::string("motor1 ") + op + " during the stop"));
    EXPECT_THAT(watch({at(1s, operation(op)), at(1s, EmergencyRaised{})}).broken, IsEmpty());
    EXPECT_THAT(
        watch({at(1s, EmergencyRaised{}), at(2s, EmergencyCleared{}), at(2s, operation(op))})
            .broken,
        IsEmpty());
  }
  EXPECT_THAT(watch({at(1s, EmergencyRaised{}), at(2s, operation("claw_query_state"))}).broken,
              IsEmpty());
}

TEST(SweepWatch, SeesWhatIsNotAnswered) {
  EXPECT_THAT(watch({at(0s, request(1)), at(0s, RecoveryBegun{2})}).broken,
              ElementsAre("request 1 was not answered", "recovery 2 was not answered"));
  EXPECT_THAT(watch({at(0s, request(1)), at(1s, RequestEnded{1, {}, {}})}).broken, IsEmpty());
}

TEST(SweepWatch, SeesWhatIsThrownUnlessTheGatewayThrewIt) {
  EXPECT_THAT(watch({at(0s, request(1)), at(1s, RequestEnded{1, {}, "bus off"})}).broken,
              ElementsAre("request 1 threw: bus off"));
  EXPECT_THAT(
      watch({at(0s, request(1)), at(1s, ended("bus off")), at(1s, RequestEnded{1, {}, "bus off"})})
          .broken,
      IsEmpty());
}

TEST(SweepWatch, SeesAPumpThatRunsWithItsValvesShut) {
  const Event runs = at(1s, change("pump 1", 60, "60 %"));
  const Event opens = at(1s, change("valve 0", 1, "open"));
  const Event shuts = at(2s, change("valve 0", 0, "shut"));
  EXPECT_THAT(watch({runs, at(1s, ended(""))}).broken,
              ElementsAre("pump 1 runs with its valves shut"));
  EXPECT_THAT(watch({opens, runs, at(1s, ended(""))}).broken, IsEmpty());
  EXPECT_THAT(watch({at(1s, change("valve 4", 1, "open")), runs, at(1s, ended(""))}).broken,
              IsEmpty());
  EXPECT_THAT(watch({opens, runs, at(1s, ended("")), shuts, at(2s, ended(""))}).broken,
              ElementsAre("pump 1 runs with its valves shut"));
}

TEST(SweepWatch, TellsWhatIsNotAtRest) {
  EXPECT_THAT(watch({at(1s, change("pump 2", 60, "60 %")), at(1s, change("fill_light", 9, "9 %")),
                     at(2s, change("fill_light", 0, "0 %"))})
                  .left,
              ElementsAre("pump 2 60 %"));
}

TEST(SweepWatch, TakesTheLongestOfWhatStopsInterrupted) {
  EXPECT_EQ(watch({at(0s, request(1)), at(1s, RequestEnded{1, {}, {}}), at(2s, EmergencyRaised{})})
                .ended_after,
            std::nullopt);
  // Raised again before it has ended, a stop does not begin anew.
  EXPECT_EQ(watch({at(0s, request(1)), at(1s, EmergencyRaised{}), at(3s, EmergencyRaised{}),
                   at(6s, RequestEnded{1, {}, {}})})
                .ended_after,
            5s);
  EXPECT_EQ(watch({at(0s, request(1)), at(1s, EmergencyRaised{}), at(6s, RequestEnded{1, {}, {}}),
                   at(7s, EmergencyCleared{}), at(7s, request(2)), at(8s, EmergencyRaised{}),
                   at(9s, RequestEnded{2, {}, {}})})
                .ended_after,
            5s);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
