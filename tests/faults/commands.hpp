#pragma once

#include <chrono>
#include <functional>
#include <ostream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/faults/robot.hpp"

namespace vantrel_can_bridge::test {

/// One way into the orchestrator, to be met by every fault.
struct Command {
  std::string name;
  std::function<void(Robot&)> prepare;           // undisturbed
  std::function<BottomCompatReply(Robot&)> run;  // an event replies success
  std::function<void(Robot&)> disturb = nullptr;

  /// Makes `robot` one on which it can be run.
  void set_up(Robot& robot) const {
    if (prepare) {
      prepare(robot);
    }
    robot.start_watching();
    if (disturb) {
      disturb(robot);
    }
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

/// Every command, in each of its courses that send different operations, the one sequence
/// that no command uses, and both events.
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
  commands.push_back({"PumpsAndTheirValves", nullptr, [](Robot& robot) {
                        return robot->operate_pump_select({1, 3}, {0, 1}, 0, 1, 50);
                      }});
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

/// A stop in the middle of a command. It meets no fault itself: those are the command's.
inline void stop_from_another_thread(Robot& robot) {
  const TestsOwn own;
  const auto on_line = std::exchange(robot.on_line, nullptr);
  std::thread([&robot] { robot->on_emergency_active(); }).join();
  robot.on_line = on_line;
}

/// Courses that only trouble leads to, with lines and texts that no healthy run has. Their
/// boards answer from a script, or not at all.
inline std::vector<Command> every_troubled_command() {
  const auto raise = [](Robot& robot) { return robot->claw_execute(0, ClawState::Raised); };
  const auto lower = [](Robot& robot) { return robot->claw_execute(0, ClawState::Lowered); };
  const auto request_raise = [](Robot& robot) {
    Request request;
    request.tools_claw_cmd = request.tools_claw_select = 1;
    return robot->handle(request);
  };
  const auto be_stopped = [](Robot& robot) { stop(robot); };
  const auto refuse_all = [](Robot& robot) {
    robot.fault = [](const Operation&, const Robot::Boards&) {
      return OperateResult{false, {}, "bus off"};
    };
  };
  const auto fail_often = [](Robot& robot) {
    robot.gateway->then_fail("bus off");
    robot.gateway->then_succeed();
    robot.gateway->then_fail("no answer");
    robot.gateway->then_data({5, 0});
  };
  const auto never_arrive = [](Robot& robot) {
    robot.fault = [](const Operation&, const Robot::Boards&) {
      return OperateResult{true, kMoving, {}};
    };
  };
  const auto cannot_lower = [](Robot& robot) {
    robot.fault = [](const Operation& operation, const Robot::Boards& boards) {
      return operation.op == "claw_home" ? OperateResult{false, {}, "stuck"} : boards();
    };
  };
  const auto take_an_hour = [](Robot& robot) {
    robot.fault = [&robot](const Operation&, const Robot::Boards& boards) {
      robot.time.advance(std::chrono::hours(1));
      return boards();
    };
  };
  const auto stop_in_first_wait = [](Robot& robot) {
    robot.time.on_sleep([&robot, waits = 0]() mutable {
      if (++waits == 1) {
        stop_from_another_thread(robot);
      }
    });
  };
  return {{"RaiseThroughRetries", nullptr, raise, fail_often},
          {"LowerGivesUp", nullptr, lower, refuse_all},
          {"RaiseTimesOut", nullptr, raise, never_arrive},
          {"RaiseIsStopped", nullptr, raise, stop_in_first_wait},
          {"RaiseIsRefused", be_stopped, request_raise},
          {"ClearWithoutAnswers", be_stopped, clear, refuse_all},
          {"ClearCannotLower", be_stopped, clear, cannot_lower},
          {"ClearExceedsItsBudget", be_stopped, clear, take_an_hour},
          {"ClearIsStopped", be_stopped, clear, stop_in_first_wait}};
}

inline std::vector<Command> every_course() {
  std::vector<Command> courses = every_command();
  const std::vector<Command> troubled = every_troubled_command();
  courses.insert(courses.end(), troubled.begin(), troubled.end());
  return courses;
}

}  // namespace vantrel_can_bridge::test
