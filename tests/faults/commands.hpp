#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/faults/robot.hpp"

namespace vantrel_can_bridge::test {

/// One way into the orchestrator, to be met by every fault.
struct Command {
  std::string name;
  std::function<void(Robot&)> prepare;           // undisturbed, before the faults
  std::function<BottomCompatReply(Robot&)> run;  // an event replies success

  /// A robot on which it can be run.
  void set_up(Robot& robot) const {
    if (prepare) {
      prepare(robot);
    }
    robot.start_watching();
  }
};
inline void PrintTo(const Command& command, std::ostream* out) { *out << command.name; }

inline Command request_command(std::string name, const Request& request) {
  return {std::move(name), nullptr, [request](Robot& robot) { return robot->handle(request); }};
}

inline BottomCompatReply stop(Robot& robot) {
  robot->on_emergency_active();
  return success();
}
inline BottomCompatReply clear(Robot& robot) {
  robot->on_emergency_recovered();
  return success();
}

/// Every command, in each of its courses that send different operations, and both events.
inline std::vector<Command> every_command() {
  std::vector<Command> commands;
  const auto add = [&commands](const char* name, auto fill) {
    Request request;
    fill(request);
    commands.push_back(request_command(name, request));
  };
  add("Lights", [](Request& r) {
    r.cmd = 2;
    r.bottom_rgb = r.left_rgb = r.right_rgb = 0x102030;
  });
  add("FillLight", [](Request& r) { r.cmd = 9; });
  add("ProjectionLight", [](Request& r) { r.cmd = 14; });
  add("BumpUnlock", [](Request& r) { r.cmd = 7; });
  add("WheelControl", [](Request& r) { r.cmd = 8; });
  add("EndToolPump", [](Request& r) { r.cmd = 13; });
  add("RetiredCommand", [](Request& r) { r.cmd = 3; });
  add("UnknownCommand", [](Request& r) { r.cmd = 99; });
  add("StartMotor", [](Request& r) { r.tools_select = r.tools_cmd = r.tools_duty = 1; });
  add("StopMotor", [](Request& r) { r.tools_select = 2; });
  add("StopAllMotors", [](Request& r) { r.tools_select = 8; });
  add("CleanPumpOn", [](Request& r) { r.clean_select = r.clean_cmd = r.clean_duty = 1; });
  add("CleanPumpOff", [](Request& r) { r.clean_select = 1; });
  add("DirtyPumpOn", [](Request& r) { r.dirty_select = r.dirty_cmd = r.dirty_duty = 3; });
  add("DirtyPumpOff", [](Request& r) { r.dirty_select = 1; });
  add("RaiseClaw", [](Request& r) { r.tools_claw_cmd = r.tools_claw_select = 1; });
  add("LowerClaw", [](Request& r) {
    r.tools_claw_cmd = 3;
    r.tools_claw_select = 2;
  });
  add("WholeProcterRequest", [](Request& r) {
    r.tools_select = r.tools_cmd = r.tools_duty = 1;
    r.clean_select = r.clean_cmd = r.clean_duty = 1;
    r.dirty_select = 1;
    r.tools_claw_cmd = r.tools_claw_select = 1;
  });
  commands.push_back(
      {"LowerRaisedClaw",
       [](Robot& robot) { ASSERT_TRUE(robot->claw_execute(3, ClawState::Raised).success); },
       [](Robot& robot) { return robot->claw_execute(3, ClawState::Lowered); }});
  commands.push_back(
      {"ClawAlreadyThere",
       [](Robot& robot) { ASSERT_TRUE(robot->claw_execute(3, ClawState::Raised).success); },
       [](Robot& robot) { return robot->claw_execute(3, ClawState::Raised); }});
  commands.push_back({"Stop", nullptr, stop});
  commands.push_back({"Clear",
                      [](Robot& robot) {
                        ASSERT_TRUE(robot->claw_execute(2, ClawState::Raised).success);
                        stop(robot);
                      },
                      clear});
  commands.push_back({"ClearWithNothingToDo", nullptr, clear});
  return commands;
}

/// Courses that only trouble leads to, with lines and texts that no healthy run has. Their
/// boards answer from a script, or not at all.
inline std::vector<Command> every_troubled_command() {
  const auto refuse_all = [](Robot& robot) {
    robot.fault = [](const Operation&, const Robot::Boards&) {
      return OperateResult{false, {}, "bus off"};
    };
  };
  std::vector<Command> commands;
  commands.push_back({"RaiseThroughRetries", nullptr, [](Robot& robot) {
                        robot.gateway->then_fail("bus off");
                        robot.gateway->then_succeed();
                        robot.gateway->then_fail("no answer");
                        robot.gateway->then_data({5, 0});
                        return robot->claw_execute(0, ClawState::Raised);
                      }});
  commands.push_back({"LowerGivesUp", nullptr, [refuse_all](Robot& robot) {
                        refuse_all(robot);
                        return robot->claw_execute(0, ClawState::Lowered);
                      }});
  commands.push_back({"RaiseTimesOut", nullptr, [](Robot& robot) {
                        robot.fault = [](const Operation&, const Robot::Boards&) {
                          return OperateResult{true, {1, 0}, {}};
                        };
                        return robot->claw_execute(0, ClawState::Raised);
                      }});
  commands.push_back({"RefusedDuringStop", [](Robot& robot) { stop(robot); },
                      [](Robot& robot) { return robot->claw_execute(0, ClawState::Raised); }});
  commands.push_back({"ClearWithoutAnswers", [](Robot& robot) { stop(robot); },
                      [refuse_all](Robot& robot) {
                        refuse_all(robot);
                        return clear(robot);
                      }});
  commands.push_back(
      {"ClearThatCannotLower", [](Robot& robot) { stop(robot); },
       [](Robot& robot) {
         robot.fault = [](const Operation& operation, const Robot::Boards& boards) {
           return operation.op == "claw_home" ? OperateResult{false, {}, "stuck"} : boards();
         };
         return clear(robot);
       }});
  commands.push_back({"ClearPastItsBudget", [](Robot& robot) { stop(robot); },
                      [](Robot& robot) {
                        robot.fault = [&robot](const Operation&, const Robot::Boards& boards) {
                          robot.time.advance(std::chrono::hours(1));
                          return boards();
                        };
                        return clear(robot);
                      }});
  return commands;
}

inline std::vector<Command> every_course() {
  std::vector<Command> courses = every_command();
  const std::vector<Command> troubled = every_troubled_command();
  courses.insert(courses.end(), troubled.begin(), troubled.end());
  return courses;
}

}  // namespace vantrel_can_bridge::test
