#include "workbench/trace_jsonl.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/workbench/every_event.hpp"
#include "tests/workbench/played.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::HasSubstr;
using Json = nlohmann::ordered_json;

std::string trace(const std::vector<Event>& events) {
  std::ostringstream out;
  TraceJsonl sink(out);
  write_events(events, sink);
  return out.str();
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) {
    all.push_back(line);
  }
  return all;
}

TEST(TraceJsonl, WritesEveryKindWithItsKeysInOrder) {
  EXPECT_EQ(trace(every_event("t")),
            R"({"time_ns":0,"thread":"main","kind":"step_begun","file":"t","line":7,"text":"t"}
{"time_ns":0,"thread":"main","kind":"note","text":"t","is_problem":false}
{"time_ns":1,"thread":"main","kind":"request_begun","request":1,"name":"t","cmd":13,"command":"handle_pump","fields":{"pump_cmd":1}}
{"time_ns":1,"thread":"main","kind":"log","activity":1,"channel":"debug","text":"t"}
{"time_ns":1,"thread":"main","kind":"log","activity":1,"channel":"info","text":"t"}
{"time_ns":1,"thread":"main","kind":"log","activity":1,"channel":"warn","text":"t"}
{"time_ns":1,"thread":"main","kind":"operation_begun","operation":1,"activity":1,"board":"t","device":"t","op":"t","payload":"01 3c 00","label":"t"}
{"time_ns":1001,"thread":"main","kind":"fault_applied","operation":1,"activity":1,"device":"t","op":"t","effect":"t"}
{"time_ns":1001,"thread":"main","kind":"device_state_changed","board":"selfclean_board","device":"pump 1","quantity":"duty","value":60,"text":"t"}
{"time_ns":1001,"thread":"main","kind":"operation_ended","operation":1,"activity":1,"board":"t","device":"t","op":"t","payload":"01 3c 00","label":"t","success":true,"data":"ff 01","message":"t","thrown":null}
{"time_ns":1001,"thread":"main","kind":"wait_begun","activity":1,"duration_ns":2000000}
{"time_ns":2001001,"thread":"main","kind":"wait_ended","activity":1}
{"time_ns":2001001,"thread":"main","kind":"operation_begun","operation":2,"activity":1,"board":"selfclean_board","device":"motor1","op":"claw_query_state","payload":"","label":""}
{"time_ns":2001001,"thread":"main","kind":"operation_ended","operation":2,"activity":1,"board":"selfclean_board","device":"motor1","op":"claw_query_state","payload":"","label":"","success":null,"data":null,"message":null,"thrown":"t"}
{"time_ns":2001001,"thread":"main","kind":"request_ended","request":1,"success":null,"code":null,"message":null,"thrown":"t"}
{"time_ns":3000000,"thread":"main","kind":"expectation_checked","held":false,"file":"t","line":7,"subject":"t","expected":["t"],"actual":["t"]}
{"time_ns":4000000,"thread":"emergency","kind":"emergency_raised"}
{"time_ns":5000000,"thread":"emergency","kind":"emergency_cleared"}
{"time_ns":5000000,"thread":"emergency","kind":"recovery_begun","recovery":2}
{"time_ns":6000000,"thread":"emergency","kind":"recovery_ended","recovery":2,"thrown":"t"}
{"time_ns":7000000,"thread":"background t","kind":"request_begun","request":3,"name":"","cmd":99,"command":"","fields":{}}
{"time_ns":7000000,"thread":"background t","kind":"operation_begun","operation":3,"activity":3,"board":"selfclean_board","device":"motor1","op":"claw_home","payload":"","label":"claw"}
{"time_ns":8000000,"thread":"main","kind":"note","text":"t","is_problem":true}
{"time_ns":9000000,"thread":"main","kind":"run_ended"}
)");
}

TEST(TraceJsonl, WritesAReplyAndARecoveryThatThrewNothing) {
  const auto all = lines(trace(
      {{{}, "main", RequestEnded{1, {false, 1, "no"}, {}}}, {{}, "main", RecoveryEnded{2, {}}}}));
  EXPECT_THAT(all[0], HasSubstr(R"("success":false,"code":1,"message":"no","thrown":null)"));
  EXPECT_THAT(all[1], HasSubstr(R"("recovery":2,"thrown":null)"));
}

TEST(TraceJsonl, KeepsEveryTextButBytesThatAreNoUtf8) {
  std::string expected = kNasty;
  expected.replace(expected.find('\xff'), 1, "\xef\xbf\xbd");
  const auto all = lines(trace(every_event(kNasty)));
  ASSERT_EQ(all.size(), every_event("").size() + 1) << "a line end in a text stays in its string";
  EXPECT_EQ(Json::parse(all[3])["text"], expected);
  EXPECT_EQ(Json::parse(all[6])["board"], expected);
}

TEST(TraceJsonl, IsTheSameForTheSameRun) {
  const std::string once = trace(played(kRound).events);
  EXPECT_EQ(once, trace(played(kRound).events));
  for (const std::string& line : lines(once)) {
    EXPECT_TRUE(Json::accept(line)) << line;
  }
}

TEST(TraceJsonl, HasEveryKindAndKeyDocumented) {
  std::ifstream file(SOURCE_DIR "/docs/traces.md");
  const std::string documentation(std::istreambuf_iterator<char>(file), {});
  for (const std::string& line : lines(trace(every_event("t")))) {
    const Json object = Json::parse(line);
    const std::string kind = object["kind"];
    const std::string row_begin = "\n| `" + kind + "` |";
    const std::size_t begin = documentation.find(row_begin);
    ASSERT_NE(begin, std::string::npos) << kind << " has no row";
    const std::string row =
        documentation.substr(begin, documentation.find('\n', begin + 1) - begin);
    for (const auto& [key, value] : object.items()) {
      const bool is_common = key == "time_ns" || key == "thread" || key == "kind";
      EXPECT_THAT(is_common ? documentation : row, HasSubstr("`" + key + "`")) << kind;
    }
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
