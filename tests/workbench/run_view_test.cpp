#include "workbench/run_view.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <thread>

#include "tests/workbench/manual_clock.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;

OperationEvent event(const std::string& op, const Bytes& payload, OperateResult result) {
  return {{"selfclean_board", "motor1", op, payload}, std::move(result), {}, {}};
}

OperationEvent query(const Bytes& answer) {
  return event("claw_query_state", {}, {true, answer, {}});
}

class RunViewTest : public testing::Test {
 protected:
  std::string take() {
    std::string text = out.str();
    out.str("");
    return text;
  }

  std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
  std::ostringstream out;
  RunView view{out, {}, clock};
};

TEST_F(RunViewTest, ShowsTheSecondsSinceItBegan) {
  clock->advance(12'345'678us);
  view.info("text");
  EXPECT_EQ(take(), " 12.346   info   text\n");
}

TEST_F(RunViewTest, ShowsEachKindOfLine) {
  vantrel_protocol::srv::BottomInteractSrv_Request request;
  request.cmd = 8;
  request.wheel_cmd = 1;
  view.request(request);
  view.warn("工具1");
  view.debug("dirty_pump skipped: empty command");
  view.reply({true, 0, ""});
  view.reply({true, 0, "acknowledged"});
  view.reply({false, 1, "no answer"});
  view.reply({false, 1, ""});
  view.emergency(true);
  view.emergency(false);
  view.check(true, "held");
  view.check(false, "not held");
  view.block("text\n");
  EXPECT_EQ(take(),
            "  0.000 ▶ cmd 8  wheel control  wheel_cmd=1\n"
            "  0.000   warn   工具1\n"
            "  0.000   debug  dirty_pump skipped: empty command\n"
            "  0.000 ◀ success\n"
            "  0.000 ◀ success: acknowledged\n"
            "  0.000 ◀ failure, code 1: no answer\n"
            "  0.000 ◀ failure, code 1\n"
            "  0.000 ■ EMERGENCY STOP of the self-cleaning board raised\n"
            "  0.000 □ EMERGENCY STOP of the self-cleaning board cleared\n"
            "  0.000   ✔ held\n"
            "  0.000   ✘ not held\n"
            "text\n");
}

TEST_F(RunViewTest, DrawsHeadingsOverTheWholeWidth) {
  view.heading("Title");
  std::string rule;
  for (int column = 0; column < 91; ++column) {
    rule += "─";
  }
  EXPECT_EQ(take(), "\n── Title " + rule + "\n");
}

TEST_F(RunViewTest, BreaksLongRequestsBetweenFields) {
  vantrel_protocol::srv::BottomInteractSrv_Request request;
  request.cmd = 0;
  request.tools_cmd = request.tools_duty = request.tools_select = 1;
  request.clean_cmd = request.clean_duty = request.clean_select = 1;
  request.dirty_cmd = request.dirty_duty = request.dirty_select = 1;
  view.request(request);
  EXPECT_EQ(take(),
            "  0.000 ▶ cmd 0  procter  tools_cmd=1 tools_duty=1 tools_select=1 clean_cmd=1 "
            "clean_duty=1\n"
            "            clean_select=1 dirty_cmd=1 dirty_duty=1 dirty_select=1\n");
}

TEST_F(RunViewTest, ShowsAnOperationWithItsLabelOnce) {
  view.debug("operate begin: motor rpm=600 board=b device=d op=set_target payload=[0x58 0x02]");
  view.operation(event("set_target", {0x58, 0x02}, {true, {}, "ignored"}));
  view.debug("operate end: motor rpm=600 success=true message=");
  view.operation(event("disable", {}, {true, {}, {}}));
  EXPECT_EQ(take(),
            "  0.000   selfclean_board/motor1      set_target 58 02            ✔ motor rpm=600\n"
            "  0.000   selfclean_board/motor1      disable                     ✔ \n");
}

TEST_F(RunViewTest, KeepsTheLabelsOfThreadsApart) {
  view.debug("operate begin: mine board=b device=d op=enable payload=[]");
  std::thread([this] {
    view.debug("operate begin: other board=b device=d op=enable payload=[]");
  }).join();
  view.operation(event("enable", {}, {true, {}, {}}));
  EXPECT_EQ(take(), "  0.000   selfclean_board/motor1      enable                      ✔ mine\n");
}

TEST_F(RunViewTest, ShowsWhyAnOperationFailed) {
  view.operation(event("enable", {}, {false, {}, "no answer"}));
  EXPECT_EQ(take(),
            "  0.000   selfclean_board/motor1      enable                      ✘ no answer\n");
}

TEST_F(RunViewTest, ReadsTheStatusOfAClaw) {
  const std::pair<Bytes, std::string> rows[] = {
      {{0, 1}, "00 01  idle, at home"},
      {{1, 0}, "01 00  extending, in between"},
      {{2, 0}, "02 00  homing, in between"},
      {{3, 2}, "03 02  extended, at its far end"},
      {{4, 1}, "04 01  homed, at home"},
      {{5, 0}, "05 00  extend failed, in between"},
      {{6, 0}, "06 00  home failed, in between"},
      {{7, 0}, "07 00  stopped, in between"},
      {{8, 3}, "08 03  unknown action, unknown position"},
      {{1}, "01"},
  };
  for (const auto& [answer, text] : rows) {
    view.operation(query(answer));
    EXPECT_EQ(take(),
              "  0.000   selfclean_board/motor1      claw_query_state            ✔ " + text + "\n");
  }
}

constexpr const char* kExtending =
    "  0.000   selfclean_board/motor1      claw_query_state            ✔ 01 00  extending, in "
    "between\n";

TEST_F(RunViewTest, CountsRepeatedPollsAcrossLogLines) {
  view.operation(query({1, 0}));
  view.info("moving");
  view.operation(query({1, 0}));
  view.operation(query({1, 0}));
  view.operation(query({3, 2}));
  EXPECT_EQ(take(),
            std::string(kExtending) +
                "  0.000   info   moving\n"
                "          … claw_query_state 2 more times, same answer\n"
                "  0.000   selfclean_board/motor1      claw_query_state            ✔ 03 02  "
                "extended, at its far end\n");
}

TEST_F(RunViewTest, CountsOneRepeatInTheSingular) {
  view.operation(query({1, 0}));
  view.operation(query({1, 0}));
  view.warn("late");
  EXPECT_EQ(take(), std::string(kExtending) +
                        "          … claw_query_state 1 more time, same answer\n"
                        "  0.000   warn   late\n");
}

TEST_F(RunViewTest, ShowsAnOperationAgainInTheNextRequest) {
  view.operation(query({1, 0}));
  view.reply({true, 0, ""});
  view.operation(query({1, 0}));
  EXPECT_EQ(take(), std::string(kExtending) + "  0.000 ◀ success\n" + kExtending);
}

TEST_F(RunViewTest, LeavesOutDebugLinesThatRepeatOthers) {
  view.debug("dispatch cmd=8");
  view.debug("CMD_WHEEL_CONTROL: wheel_cmd=1 mapped_value=lock bottom_motor_stop_bit=5");
  view.debug("operate end: x success=true message=");
  EXPECT_EQ(take(), "");
  view.debug("unsupported cmd=5 reason=unsupported after bottom migration");
  EXPECT_EQ(take(),
            "  0.000   debug  unsupported cmd=5 reason=unsupported after bottom migration\n");
}

TEST(RunView, ShowsEveryDebugLineWhenVerbose) {
  std::ostringstream out;
  RunView view(out, {false, true}, std::make_shared<ManualClock>());
  view.debug("dispatch cmd=8");
  view.debug("operate begin: label board=b device=d op=o payload=[]");
  EXPECT_EQ(out.str(),
            "  0.000   debug  dispatch cmd=8\n"
            "  0.000   debug  operate begin: label board=b device=d op=o payload=[]\n");
}

TEST(RunView, ColoursByKind) {
  std::ostringstream out;
  RunView view(out, {true, false}, std::make_shared<ManualClock>());
  view.debug("d");
  view.info("i");
  view.warn("w");
  view.reply({false, 1, ""});
  EXPECT_EQ(out.str(),
            "\x1b[2m  0.000\x1b[0m   \x1b[2mdebug  d\x1b[0m\n"
            "\x1b[2m  0.000\x1b[0m   \x1b[36minfo   i\x1b[0m\n"
            "\x1b[2m  0.000\x1b[0m   \x1b[33mwarn   w\x1b[0m\n"
            "\x1b[2m  0.000\x1b[0m \x1b[31m◀\x1b[0m \x1b[31mfailure, code 1\x1b[0m\n");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
