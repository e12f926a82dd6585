// Self-cleaning board: select codes, pumps, valves, cleaning motors, and the procter
// request that drives them together with the claws.

#include <algorithm>
#include <cstddef>
#include <limits>

#include "compat/bottom_compat_orchestrator.hpp"
#include "compat/reply.hpp"
#include "compat/text.hpp"
#include "compat/wait.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

namespace {

/// The mask of one valve bit number; 0 for a number that no valve has.
std::uint8_t valve_bit_mask(std::int64_t valve) {
  return valve >= 0 && valve < 8 ? static_cast<std::uint8_t>(1U << static_cast<unsigned>(valve))
                                 : std::uint8_t{0};
}

/// Whether a position from `multiplex_select_to_index` is one of `list`.
bool has_entry(const std::vector<std::int64_t>& list, std::int64_t position) {
  return position >= 0 && static_cast<std::size_t>(position) < list.size();
}

/// The entry at a position for which `has_entry` holds.
std::int64_t entry(const std::vector<std::int64_t>& list, std::int64_t position) {
  return list[static_cast<std::size_t>(position)];
}

}  // namespace

// --- Selects, masks, speeds ---

bool BottomCompatOrchestrator::command_is_on(std::int32_t cmd, std::int32_t duty) {
  return cmd != 0 && duty > 0;
}

bool BottomCompatOrchestrator::multiplex_command_is_empty(std::int32_t select, std::int32_t cmd,
                                                          std::int32_t duty) {
  return select == 0 && cmd == 0 && duty == 0;
}

std::int64_t BottomCompatOrchestrator::multiplex_select_to_index(std::int32_t select) {
  switch (select) {
    case 1:
      return 0;
    case 2:
      return 1;
    case 4:
      return 2;
    case 8:
      return 3;
    default:  // also 3, 5, 6, 7: two bits name no position, rather than the lower one's
      return -1;
  }
}

std::int64_t BottomCompatOrchestrator::motor_target_rpm(std::int32_t cmd, std::int32_t duty,
                                                        std::int64_t rpm_per_duty) {
  using Rpm = std::numeric_limits<std::int64_t>;
  std::int64_t rpm = 0;
  if (__builtin_mul_overflow(std::int64_t{duty}, rpm_per_duty, &rpm)) {
    rpm = (duty < 0) == (rpm_per_duty < 0) ? Rpm::max() : Rpm::min();
  }
  if (cmd != 3) {
    return rpm;
  }
  return rpm == Rpm::min() ? Rpm::max() : -rpm;  // the lowest value has no counterpart
}

std::uint8_t BottomCompatOrchestrator::valve_group_mask(const std::vector<std::int64_t>& valves) {
  std::uint8_t mask = 0;
  for (const std::int64_t valve : valves) {
    mask |= valve_bit_mask(valve);
  }
  return mask;
}

std::uint8_t BottomCompatOrchestrator::single_select_to_valve_mask(
    const std::vector<std::int64_t>& valves, std::int32_t select) {
  const std::int64_t position = multiplex_select_to_index(select);
  return has_entry(valves, position) ? valve_bit_mask(entry(valves, position)) : std::uint8_t{0};
}

std::uint8_t BottomCompatOrchestrator::bitmask_select_to_valve_mask(
    const std::vector<std::int64_t>& valves, std::int32_t select) {
  const std::size_t selectable = std::min<std::size_t>(valves.size(), 32);
  std::uint8_t mask = 0;
  for (std::size_t i = 0; i < selectable; ++i) {
    if (((static_cast<std::uint32_t>(select) >> i) & 1U) != 0) {
      mask |= valve_bit_mask(valves[i]);
    }
  }
  return mask;
}

// --- Pump channels ---

BottomCompatReply BottomCompatOrchestrator::operate_pump_channel(std::int64_t channel,
                                                                 std::int32_t cmd,
                                                                 std::int32_t duty) {
  if (channel < 1 || channel > 5) {
    return failed("pump channel out of range");
  }
  const std::int32_t target = command_is_on(cmd, duty) ? std::min(duty, 100) : 0;
  return from_operate(
      operate_gateway(config_.selfclean_board, "pump", "set_duty",
                      {static_cast<std::uint8_t>(channel), static_cast<std::uint8_t>(target), 0},
                      text("pump channel=", channel, " target=", target)));
}

BottomCompatReply BottomCompatOrchestrator::handle_end_tool_pump(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(actuator_mutex_);
  debug_log(text("CMD_HANDLE_PUMP: channel=", config_.end_tool_pump_channel,
                 " cmd=", request.pump_cmd, " duty=", request.pump_duty));
  return operate_pump_channel(config_.end_tool_pump_channel, request.pump_cmd, request.pump_duty);
}

// --- Valves ---

OperateResult BottomCompatOrchestrator::write_valves(std::uint8_t mask, std::uint8_t values,
                                                     const std::string& label) {
  return operate_gateway(config_.selfclean_board, "valve", "set_valves", {mask, values}, label);
}

BottomCompatReply BottomCompatOrchestrator::operate_valve_mask(std::uint8_t mask, bool open) {
  return from_operate(
      write_valves(mask, open ? mask : std::uint8_t{0}, text("valve_mask open=", open)));
}

BottomCompatReply BottomCompatOrchestrator::operate_valves(const std::vector<std::int64_t>& valves,
                                                           std::int32_t select, bool open) {
  std::uint8_t mask = 0;
  if (select <= 0) {
    mask = valve_group_mask(valves);
  } else {
    const std::int64_t position = multiplex_select_to_index(select);
    if (!has_entry(valves, position)) {
      return failed(text("unsupported valve select: ", select));
    }
    mask = valve_bit_mask(entry(valves, position));
    if (mask == 0) {
      return failed("valve bit out of range");
    }
  }
  return from_operate(write_valves(mask, open ? mask : std::uint8_t{0},
                                   text("valves select=", select, " open=", open)));
}

BottomCompatReply BottomCompatOrchestrator::operate_pump_select(
    const std::vector<std::int64_t>& pumps, const std::vector<std::int64_t>& valves,
    std::int32_t select, std::int32_t cmd, std::int32_t duty) {
  const bool open = command_is_on(cmd, duty);
  debug_log(text("pump_select: select=", select, " cmd=", cmd, " duty=", duty, " open=", open));
  BottomCompatReply switched = operate_valves(valves, select, open);
  if (!switched.success) {
    return switched;
  }

  if (select > 0) {
    const std::int64_t position = multiplex_select_to_index(select);
    if (!has_entry(pumps, position)) {
      return failed(text("unsupported pump select: ", select));
    }
    return operate_pump_channel(entry(pumps, position), cmd, duty);
  }
  for (const std::int64_t channel : pumps) {
    BottomCompatReply driven = operate_pump_channel(channel, cmd, duty);
    if (!driven.success) {
      return driven;
    }
  }
  return succeeded();
}

// --- Clean and dirty pump behind their valves ---

BottomCompatReply BottomCompatOrchestrator::operate_multiplex_pump(
    std::int64_t channel, const std::vector<std::int64_t>& valves, std::int32_t select,
    std::int32_t cmd, std::int32_t duty, bool bitmask) {
  const bool open = duty != 0;
  debug_log(text("multiplex_pump: channel=", channel, " select=", select, " cmd=", cmd,
                 " duty=", duty, " valve_select=", bitmask ? "bitmask" : "single", " open=", open));
  const std::uint8_t group_mask = valve_group_mask(valves);
  if (group_mask == 0) {
    return failed("pump valve group has no valid valve bits");
  }

  // A pump never runs against closed valves: they open before it starts, and it stops
  // before they close.
  if (!open) {
    BottomCompatReply stopped = operate_pump_channel(channel, 0, 0);
    if (!stopped.success) {
      return stopped;
    }
    wait_for_ms(config_.valve_switch_delay_ms);
    return from_operate(write_valves(group_mask, 0, "valve_group close"));
  }

  const std::uint8_t open_mask = bitmask ? bitmask_select_to_valve_mask(valves, select)
                                         : single_select_to_valve_mask(valves, select);
  if (open_mask == 0) {
    return failed("pump select has no valid valve bit");
  }
  const OperateResult opened =
      write_valves(group_mask, open_mask, text("valve_group open values=", open_mask));
  if (!opened.success) {
    return from_operate(opened);
  }
  wait_for_ms(config_.valve_switch_delay_ms);
  return operate_pump_channel(channel, cmd, duty);
}

// --- Cleaning motors ---

OperateResult BottomCompatOrchestrator::operate_motor(std::int64_t slot, const std::string& op,
                                                      const std::vector<std::uint8_t>& payload,
                                                      const std::string& label) {
  return operate_gateway(config_.selfclean_board, text("motor", slot), op, payload, label);
}

BottomCompatReply BottomCompatOrchestrator::start_motor(std::int64_t slot, std::int64_t rpm) {
  const OperateResult mode = operate_motor(slot, "set_mode", {3}, "motor velocity mode");
  if (!mode.success) {
    return from_operate(mode);
  }
  const OperateResult enabled = operate_motor(slot, "enable", {}, "motor enable");
  if (!enabled.success) {
    return from_operate(enabled);
  }
  const auto target = static_cast<std::int16_t>(std::clamp<std::int64_t>(rpm, -32768, 32767));
  return from_operate(
      operate_motor(slot, "set_target", encode_i16_le(target), text("motor rpm=", rpm)));
}

BottomCompatReply BottomCompatOrchestrator::stop_motor(std::int64_t slot) {
  const OperateResult stopped = operate_motor(slot, "set_target", {0, 0}, "motor stop target");
  if (!stopped.success) {
    return from_operate(stopped);
  }
  const OperateResult disabled = operate_motor(slot, "disable", {}, "motor disable");
  return disabled.success ? succeeded() : from_operate(disabled);
}

BottomCompatReply BottomCompatOrchestrator::operate_motor_slot(std::int64_t select,
                                                               std::int32_t cmd,
                                                               std::int32_t duty) {
  const bool running = command_is_on(cmd, duty);
  const bool names_a_motor = select == 1 || select == 2 || select == 4;
  if (!names_a_motor) {
    if (!running) {
      return stop_all_motors(select, cmd, duty);
    }
    if (select == 8) {
      return succeeded();  // accepted on purpose, and no motor answers to it
    }
    return failed(text("unsupported tools_clean select: ", select));
  }

  const std::int64_t position = multiplex_select_to_index(static_cast<std::int32_t>(select));
  if (!has_entry(config_.tools_clean_motor_slots, position)) {
    return failed("tools_clean select out of range");
  }
  const std::int64_t slot = entry(config_.tools_clean_motor_slots, position);
  if (!running) {
    debug_log(text("tools_clean motor stop selected: select=", select, " mapped_slot=", slot,
                   " cmd=", cmd, " duty=", duty));
    return stop_motor(slot);
  }
  debug_log(text("tools_clean motor select=", select, " mapped_slot=", slot, " duty=", duty));
  return start_motor(slot, motor_target_rpm(cmd, duty, config_.tools_clean_rpm_per_duty));
}

BottomCompatReply BottomCompatOrchestrator::stop_all_motors(std::int64_t select, std::int32_t cmd,
                                                            std::int32_t duty) {
  debug_log(text("tools_clean motor stop all: select=", select, " cmd=", cmd, " duty=", duty));
  for (const std::int64_t slot : config_.tools_clean_motor_slots) {
    BottomCompatReply stopped = stop_motor(slot);
    if (!stopped.success) {
      return stopped;
    }
  }
  return succeeded();
}

// --- Procter ---

BottomCompatReply BottomCompatOrchestrator::handle_procter(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(actuator_mutex_);
  debug_log(text("CMD_PROCTER: tools_select=", request.tools_select,
                 " tools_cmd=", request.tools_cmd, " tools_duty=", request.tools_duty,
                 " clean_select=", request.clean_select, " clean_duty=", request.clean_duty,
                 " dirty_select=", request.dirty_select, " dirty_duty=", request.dirty_duty));

  if (multiplex_command_is_empty(request.tools_select, request.tools_cmd, request.tools_duty)) {
    debug_log("tools_clean skipped: empty command");
  } else {
    BottomCompatReply motors =
        operate_motor_slot(request.tools_select, request.tools_cmd, request.tools_duty);
    if (!motors.success) {
      return motors;
    }
  }

  if (multiplex_command_is_empty(request.clean_select, request.clean_cmd, request.clean_duty)) {
    debug_log("clean_pump skipped: empty command");
  } else {
    BottomCompatReply clean =
        operate_multiplex_pump(config_.clean_pump_channel, config_.clean_pump_valves,
                               request.clean_select, request.clean_cmd, request.clean_duty, false);
    if (!clean.success) {
      return clean;
    }
  }

  if (multiplex_command_is_empty(request.dirty_select, request.dirty_cmd, request.dirty_duty)) {
    debug_log("dirty_pump skipped: empty command");
  } else {
    BottomCompatReply dirty =
        operate_multiplex_pump(config_.dirty_pump_channel, config_.dirty_pump_valves,
                               request.dirty_select, request.dirty_cmd, request.dirty_duty, true);
    if (!dirty.success) {
      return dirty;
    }
  }

  return handle_tools_claw(request);  // nothing to say either when it succeeds
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
