#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {

/// A call into the orchestrator that takes one of its mutexes for its whole duration.
struct LockedCall {
  std::string name;
  std::function<void(BottomCompatOrchestrator&)> run;
};
inline void PrintTo(const LockedCall& call, std::ostream* out) { *out << call.name; }

/// Every handler of the lights.
inline std::vector<LockedCall> light_calls() {
  Request request;
  request.bottom_rgb = 0x010203;
  request.left_rgb = 0x040506;
  request.right_rgb = 0x070809;
  request.rgb = 50;
  request.front_rgb = 1;
  return {{"OperateLight", [=](auto& robot) { (void)robot.handle_operate_light(request); }},
          {"FillLight", [=](auto& robot) { (void)robot.handle_fill_light(request); }},
          {"ProjectionLight", [=](auto& robot) { (void)robot.handle_projection_light(request); }}};
}

/// Every handler of the actuators. The procter request drives motors, pumps and claw 0,
/// which it homes.
inline std::vector<LockedCall> actuator_calls() {
  Request request;
  request.wheel_cmd = 1;
  request.pump_cmd = 1;
  request.pump_duty = 40;
  request.tools_select = 2;
  request.tools_cmd = 1;
  request.tools_duty = 10;
  request.clean_select = 1;
  request.clean_cmd = 1;
  request.clean_duty = 20;
  request.dirty_select = 3;
  request.dirty_cmd = 1;
  request.dirty_duty = 30;
  request.tools_claw_select = 1;
  request.tools_claw_cmd = 3;
  return {{"WheelControl", [=](auto& robot) { (void)robot.handle_wheel_control(request); }},
          {"BumpUnlock", [](auto& robot) { (void)robot.handle_bump_unlock(); }},
          {"EndToolPump", [=](auto& robot) { (void)robot.handle_end_tool_pump(request); }},
          {"Procter", [=](auto& robot) { (void)robot.handle_procter(request); }}};
}

}  // namespace vantrel_can_bridge::test
