#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "vantrel_protocol/srv/bottom_interact_srv.hpp"

namespace vantrel_can_bridge::test::simulation {

using Bytes = std::vector<std::uint8_t>;
using Config = business_layer::bottom_compat::BottomCompatConfig;
using List = std::vector<std::int64_t>;
using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// What the gateway answers to one call. Without an answer of its own, a call gets this
/// default: it succeeds, and a status query confirms the move that was sent last.
struct Answer {
  bool success = true;
  bool confirms = true;  ///< a status query: as above, and `data` is not looked at
  Bytes data;
  std::string message;
  std::int64_t latency_ms = 0;
};

/// Something that happens in the middle of a step.
enum class Happening {
  Stop,       ///< the emergency stop is raised
  Clear,      ///< the emergency stop is cleared
  Exception,  ///< the gateway or the log callback throws (not in a wait)
  Interrupt,  ///< the next wait is cut short by a signal (once more)
  Failure,    ///< the next wait fails at once with another error
};

enum class Place { Call, Wait, Line };

struct Incident {
  Happening what = Happening::Stop;
  Place where = Place::Call;
  std::int64_t number = 1;  ///< in the `number`th call, wait or log line of the step
};

/// Arguments of a direct call of an operation; each operation takes the ones that it
/// needs, see `operations.hpp`.
struct Arguments {
  std::int64_t select = 0;
  std::int64_t cmd = 0;
  std::int64_t duty = 0;
  std::int64_t channel = 0;
  std::int64_t index = 0;
  std::int64_t target = 0;
  std::int64_t value = 0;
  bool flag = false;
  List pumps;
  List valves;
  Bytes bytes;
  std::string text;
  std::string device;
};

/// One request, direct call or event, and what the robot does meanwhile.
struct Step {
  std::string operation;  ///< a name of the table in `operations.hpp`
  Request request;
  Arguments arguments;
  std::vector<Answer> answers;
  bool repeats = false;  ///< the last answer is given to all further calls, too
  std::vector<Incident> incidents;
};

/// Which of the log callbacks are set.
struct Channels {
  bool debug = true;
  bool info = true;
  bool warn = true;
};

/// The life of one orchestrator.
struct Case {
  Channels channels;
  Config config;
  std::vector<Step> steps;
};

// Each `visit` calls `visitor(name, field)` for every field of a record, constant or not.

template <class Record, class Visitor>
void visit_channels(Record& record, Visitor visitor) {
  visitor("debug", record.debug);
  visitor("info", record.info);
  visitor("warn", record.warn);
}

template <class Record, class Visitor>
void visit_config(Record& record, Visitor visitor) {
  visitor("bottom_board", record.bottom_board);
  visitor("selfclean_board", record.selfclean_board);
  visitor("aux_board", record.aux_board);
  visitor("tools_clean_rpm_per_duty", record.tools_clean_rpm_per_duty);
  visitor("tools_clean_motor_slots", record.tools_clean_motor_slots);
  visitor("aux_ids_a", record.aux_ids_a);
  visitor("aux_ids_b", record.aux_ids_b);
  visitor("clean_pump_channel", record.clean_pump_channel);
  visitor("dirty_pump_channel", record.dirty_pump_channel);
  visitor("end_tool_pump_channel", record.end_tool_pump_channel);
  visitor("clean_pump_valves", record.clean_pump_valves);
  visitor("dirty_pump_valves", record.dirty_pump_valves);
  visitor("valve_switch_delay_ms", record.valve_switch_delay_ms);
  visitor("wheel_lock_value", record.wheel_lock_value);
  visitor("wheel_unlock_value", record.wheel_unlock_value);
  visitor("wheel_power_sub", record.wheel_power_sub);
  visitor("wheel_power_bit", record.wheel_power_bit);
  visitor("bump_unlock_sub", record.bump_unlock_sub);
  visitor("bump_unlock_bit", record.bump_unlock_bit);
  visitor("front_projection_sub", record.front_projection_sub);
  visitor("front_projection_bit", record.front_projection_bit);
  visitor("rear_projection_sub", record.rear_projection_sub);
  visitor("rear_projection_bit", record.rear_projection_bit);
  visitor("claw_enabled", record.claw_enabled);
  visitor("claw_motor_ids", record.claw_motor_ids);
  visitor("claw_poll_interval_ms", record.claw_poll_interval_ms);
  visitor("claw_timeout_ms", record.claw_timeout_ms);
  visitor("claw_retry_count", record.claw_retry_count);
  visitor("claw_retry_backoff_ms", record.claw_retry_backoff_ms);
  visitor("claw_emergency_recovery", record.claw_emergency_recovery);
  visitor("claw_recovery_budget_ms", record.claw_recovery_budget_ms);
  visitor("aux_value", record.aux_value);
}

template <class Record, class Visitor>
void visit_request(Record& record, Visitor visitor) {
  visitor("cmd", record.cmd);
  visitor("tools_cmd", record.tools_cmd);
  visitor("tools_duty", record.tools_duty);
  visitor("tools_select", record.tools_select);
  visitor("tools_claw_cmd", record.tools_claw_cmd);
  visitor("tools_claw_duty", record.tools_claw_duty);
  visitor("tools_claw_select", record.tools_claw_select);
  visitor("pump_cmd", record.pump_cmd);
  visitor("pump_duty", record.pump_duty);
  visitor("clean_cmd", record.clean_cmd);
  visitor("clean_duty", record.clean_duty);
  visitor("clean_select", record.clean_select);
  visitor("dirty_cmd", record.dirty_cmd);
  visitor("dirty_duty", record.dirty_duty);
  visitor("dirty_select", record.dirty_select);
  visitor("bottom_rgb", record.bottom_rgb);
  visitor("bottom_level", record.bottom_level);
  visitor("bottom_mode", record.bottom_mode);
  visitor("left_rgb", record.left_rgb);
  visitor("left_level", record.left_level);
  visitor("left_mode", record.left_mode);
  visitor("right_rgb", record.right_rgb);
  visitor("right_level", record.right_level);
  visitor("right_mode", record.right_mode);
  visitor("rgb", record.rgb);
  visitor("front_rgb", record.front_rgb);
  visitor("rear_rgb", record.rear_rgb);
  visitor("wheel_cmd", record.wheel_cmd);
}

template <class Record, class Visitor>
void visit_arguments(Record& record, Visitor visitor) {
  visitor("select", record.select);
  visitor("cmd", record.cmd);
  visitor("duty", record.duty);
  visitor("channel", record.channel);
  visitor("index", record.index);
  visitor("target", record.target);
  visitor("value", record.value);
  visitor("flag", record.flag);
  visitor("pumps", record.pumps);
  visitor("valves", record.valves);
  visitor("bytes", record.bytes);
  visitor("text", record.text);
  visitor("device", record.device);
}

template <class Record, class Visitor>
void visit_answer(Record& record, Visitor visitor) {
  visitor("success", record.success);
  visitor("confirms", record.confirms);
  visitor("data", record.data);
  visitor("message", record.message);
  visitor("latency_ms", record.latency_ms);
}

}  // namespace vantrel_can_bridge::test::simulation
