#include "workbench/trace_perfetto.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tests/workbench/every_event.hpp"
#include "tests/workbench/played.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using Json = nlohmann::ordered_json;
using Track = std::pair<int, int>;

std::string trace(const std::vector<Event>& events) {
  std::ostringstream out;
  TracePerfetto sink(out);
  write_events(events, sink);
  return out.str();
}

/// A trace as a viewer reads it.
struct View {
  explicit View(const std::string& text) {
    const Json file = Json::parse(text);
    for (const Json& event : file.at("traceEvents")) {
      if (event.at("name") == "process_name") {
        processes[event.at("pid")] = event.at("args").at("name");
      } else if (event.at("name") == "thread_name") {
        threads[track(event)] = event.at("args").at("name");
      } else if (event.at("ph") != "M") {
        events.push_back(event);
      }
    }
  }

  static Track track(const Json& event) { return {event.at("pid"), event.at("tid")}; }
  /// Nanoseconds, which a double of these sizes holds exactly once rounded.
  static std::int64_t nanoseconds(const Json& number) {
    return std::llround(number.get<double>() * 1000);
  }

  [[nodiscard]] std::string where(const Json& event) const {
    return processes.at(event.at("pid")) + "/" + threads.at(track(event));
  }
  [[nodiscard]] std::vector<Json> of_phase(const std::string& phase) const {
    std::vector<Json> found;
    for (const Json& event : events) {
      if (event.at("ph") == phase) {
        found.push_back(event);
      }
    }
    return found;
  }
  [[nodiscard]] std::vector<std::string> places(const std::string& phase) const {
    std::vector<std::string> found;
    for (const Json& event : of_phase(phase)) {
      found.push_back(where(event) + ": " + event.at("name").get<std::string>());
    }
    return found;
  }

  std::map<int, std::string> processes;
  std::map<Track, std::string> threads;
  std::vector<Json> events;
};

TEST(TracePerfetto, PutsSlicesOntoTheirTracks) {
  const View view(trace(every_event("t")));
  EXPECT_THAT(view.places("X"),
              ElementsAre("requests/steps: t", "requests/main: cmd 13 handle_pump", "t/t: t",
                          "requests/main: wait", "selfclean_board/motor1: claw_query_state",
                          "requests/emergency stop: emergency stop", "requests/emergency: recovery",
                          "requests/background t: cmd 99", "selfclean_board/motor1: claw_home"));
  EXPECT_THAT(view.places("i"),
              ElementsAre("requests/steps: t", "requests/main: t", "requests/main: t",
                          "requests/main: t", "t/t: t", "requests/steps: expectation failed: t",
                          "requests/emergency stop: emergency stop raised",
                          "requests/emergency stop: emergency stop cleared", "requests/steps: t"));
}

TEST(TracePerfetto, WritesTimesExactToTheNanosecond) {
  const std::string text = trace(every_event("t"));
  EXPECT_THAT(text, HasSubstr(R"("ts":0.001,"cat":"request")"));
  EXPECT_THAT(text, HasSubstr(R"("ts":1.001,"cat":"wait","name":"wait","dur":2000.000)"));
}

TEST(TracePerfetto, KeepsRequestReplyAndResultAsArguments) {
  const View view(trace(every_event("t")));
  const auto slices = view.of_phase("X");
  EXPECT_EQ(slices[1].at("args").dump(),
            R"({"request":1,"name":"t","fields":{"pump_cmd":1},"thrown":"t"})");
  EXPECT_EQ(
      slices[2].at("args").dump(),
      R"({"operation":1,"label":"t","payload":"01 3c 00","success":true,"data":"ff 01","message":"t"})");
  EXPECT_EQ(slices[8].at("args").dump(),
            R"({"operation":3,"label":"claw","payload":"","unfinished":true})");
}

TEST(TracePerfetto, CountsWhatDevicesDo) {
  const auto counters = View(trace(every_event("t"))).of_phase("C");
  ASSERT_EQ(counters.size(), 1U);
  EXPECT_EQ(counters[0].at("name"), "pump 1 duty");
  EXPECT_EQ(counters[0].at("args").dump(), R"({"duty":60})");
}

TEST(TracePerfetto, HoldsTextsThatAreHardToQuote) {
  const auto instants = View(trace(every_event(kNasty))).of_phase("i");
  std::string expected = kNasty;
  expected.replace(expected.find('\xff'), 1, "\xef\xbf\xbd");
  EXPECT_EQ(instants[1].at("name"), expected);
}

TEST(TracePerfetto, LeadsAnArrowFromEachRequestToEachOfItsOperations) {
  const View view(trace(played(kRound).events));
  std::map<int, Json> begins;
  for (const Json& begin : view.of_phase("s")) {
    EXPECT_TRUE(begins.emplace(begin.at("id"), begin).second);
    EXPECT_THAT(view.where(begin), testing::StartsWith("requests/"));
  }
  std::map<std::pair<Track, double>, Json> operations;
  for (const Json& slice : view.of_phase("X")) {
    if (slice.at("cat") == "operation") {
      operations.emplace(std::make_pair(View::track(slice), slice.at("ts").get<double>()), slice);
    }
  }
  const auto ends = view.of_phase("f");
  EXPECT_EQ(ends.size(), begins.size());
  EXPECT_EQ(ends.size(), operations.size());
  for (const Json& end : ends) {
    EXPECT_EQ(end.at("bp"), "e");
    EXPECT_EQ(begins.at(end.at("id")).at("ts"), end.at("ts"));
    const Json& operation = operations.at({View::track(end), end.at("ts").get<double>()});
    EXPECT_EQ(operation.at("args").at("operation"), end.at("id"));
  }
}

TEST(TracePerfetto, OrdersEventsByTimeAndNestsTheSlicesOfATrack) {
  const View view(trace(played(kRound).events));
  std::map<Track, std::vector<std::int64_t>> open;  // ends
  std::int64_t last = 0;
  for (const Json& event : view.events) {
    const std::int64_t begin = View::nanoseconds(event.at("ts"));
    EXPECT_GE(begin, last);
    last = begin;
    if (event.at("ph") != "X") {
      continue;
    }
    const std::int64_t end = begin + View::nanoseconds(event.at("dur"));
    auto& ends = open[View::track(event)];
    while (!ends.empty() && ends.back() <= begin) {
      ends.pop_back();
    }
    EXPECT_TRUE(ends.empty() || end <= ends.back()) << event;
    ends.push_back(end);
  }
}

TEST(TracePerfetto, GivesRequestsOfOneThreadNameALaneEach) {
  const View view(trace({
      {std::chrono::milliseconds(1), "emergency", RecoveryBegun{1}},
      {std::chrono::milliseconds(2), "emergency", RecoveryBegun{2}},
      {std::chrono::milliseconds(3), "emergency", RecoveryEnded{1, {}}},
      {std::chrono::milliseconds(4), "emergency", RecoveryEnded{2, {}}},
      {std::chrono::milliseconds(5), "emergency", RecoveryBegun{3}},
      {std::chrono::milliseconds(6), "emergency", RecoveryEnded{3, {}}},
  }));
  EXPECT_THAT(view.places("X"),
              ElementsAre("requests/emergency: recovery", "requests/emergency (2): recovery",
                          "requests/emergency: recovery"));
}

TEST(TracePerfetto, IsValidWithoutAnyEvent) {
  std::ostringstream out;
  TracePerfetto(out).on_end({});
  EXPECT_EQ(Json::parse(out.str()).at("traceEvents").size(), 0U);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
