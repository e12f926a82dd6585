#include "tests/simulation/model.hpp"

#include <algorithm>
#include <array>
#include <limits>

namespace vantrel_can_bridge::test::simulation {

__extension__ using Wide = __int128;

/// A point of time; one that the clock cannot show is never reached.
struct Deadline {
  Wide at;

  static Deadline after_ms(std::int64_t now, std::int64_t length) {
    return {Wide{now} + Wide{length} * 1'000'000};
  }
  [[nodiscard]] bool reached(std::int64_t now) const { return Wide{now} >= at; }
};

namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

std::int64_t limited(Wide value) {
  if (value > kMost) {
    return kMost;
  }
  if (value < kLeast) {
    return kLeast;
  }
  return static_cast<std::int64_t>(value);
}

template <class Number>
std::string text(Number number) {
  return std::to_string(number);
}

std::string true_false(bool value) { return value ? "true" : "false"; }

std::uint8_t byte(std::int64_t value) { return static_cast<std::uint8_t>(value & 0xff); }

BottomCompatReply good() { return {true, 0, ""}; }
BottomCompatReply bad(const std::string& message) { return {false, 1, message}; }

bool is_valve(std::int64_t entry) { return entry >= 0 && entry <= 7; }
std::uint8_t valve_bit(std::int64_t entry) { return byte(std::int64_t{1} << entry); }

/// Sets a flag as long as it lives.
class Busy {
 public:
  explicit Busy(bool& flag) : flag_(flag) { flag_ = true; }
  Busy(const Busy&) = delete;
  Busy& operator=(const Busy&) = delete;
  ~Busy() { flag_ = false; }

 private:
  bool& flag_;
};

bool raises(ClawState target) { return target == ClawState::Raised; }
std::string claw_op(ClawState target) { return raises(target) ? "claw_extend" : "claw_home"; }
std::string verb(ClawState target) { return raises(target) ? "伸出" : "收回"; }
std::int64_t incomplete(ClawState target) { return raises(target) ? 3 : 4; }

}  // namespace

// --- Stage ---

void ModelStage::raise_stop() { model->on_emergency_active(); }
void ModelStage::clear_stop() { model->on_emergency_recovered(); }

void ModelStage::advance_ms(std::int64_t duration) {
  now_ = limited(Wide{now_} + Wide{duration} * 1'000'000);
}

void ModelStage::wait_ms(std::int64_t length) {
  add({Kind::Wait, text(length) + "ms"});
  if (fail_) {
    fail_ = false;
    return;
  }
  std::int64_t rest = limited(Wide{length} * 1'000'000);
  for (; interrupts_ > 0; --interrupts_) {
    now_ = limited(Wide{now_} + kInterruptAfterNs);
    rest -= kInterruptAfterNs;
    add({Kind::Wait, text(rest / 1'000'000'000) + "s+" + text(rest % 1'000'000'000) + "ns"});
  }
  now_ = limited(Wide{now_} + rest);
  waited();
}

// --- Frame ---

BottomCompatReply Model::handle(const Request& request) {
  debug_log("dispatch cmd=" + text(request.cmd));
  if (request.cmd == 0) return handle_procter(request);
  if (request.cmd == 2) return handle_operate_light(request);
  if (request.cmd == 7) return handle_bump_unlock();
  if (request.cmd == 8) return handle_wheel_control(request);
  if (request.cmd == 9) return handle_fill_light(request);
  if (request.cmd == 11) return handle_fill_light(request);
  if (request.cmd == 13) return handle_end_tool_pump(request);
  if (request.cmd == 14) return handle_projection_light(request);
  for (const int retired : {3, 4, 5, 6, 10, 12}) {
    if (request.cmd == retired) {
      return unsupported(request.cmd, "unsupported after bottom migration");
    }
  }
  return unsupported(request.cmd, "unknown bottom command");
}

BottomCompatReply Model::unsupported(std::int32_t cmd, const std::string& reason) const {
  debug_log("unsupported cmd=" + text(cmd) + " reason=" + reason);
  return bad("cmd " + text(cmd) + " " + reason);
}

void Model::debug_log(const std::string& line) const {
  if (channels_.debug) {
    stage_.line(Kind::Debug, line);
  }
}

void Model::log_info(const std::string& line) const {
  if (channels_.info) {
    stage_.line(Kind::Info, line);
  }
}

void Model::log_warn(const std::string& line) const {
  if (channels_.warn) {
    stage_.line(Kind::Warn, line);
  }
}

OperateResult Model::operate_gateway(const std::string& board, const std::string& device,
                                     const std::string& op, const Bytes& payload,
                                     const std::string& label) {
  debug_log("operate begin: " + label + " board=" + board + " device=" + device + " op=" + op +
            " payload=" + payload_to_hex(payload));
  const OperateResult result = stage_.call(board, device, op, payload);
  debug_log("operate end: " + label + " success=" + true_false(result.success) +
            " message=" + result.message);
  return result;
}

BottomCompatReply Model::from_operate(const OperateResult& result) const {
  return {result.success, result.success ? 0 : 1, result.message};
}

std::string Model::payload_to_hex(const Bytes& bytes) {
  const std::string digits = "0123456789abcdef";
  std::string out = "[";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i > 0) {
      out += " ";
    }
    out += "0x";
    out += digits[bytes[i] / 16];
    out += digits[bytes[i] % 16];
  }
  return out + "]";
}

Bytes Model::encode_i16_le(std::int16_t value) {
  const int bits = value < 0 ? value + 65'536 : value;
  return {byte(bits % 256), byte(bits / 256)};
}

Bytes Model::encode_u16_le(std::uint16_t value) { return {byte(value % 256), byte(value / 256)}; }

// --- Lights and power ---

Bytes Model::encode_led(std::uint32_t rgb, std::int32_t level, std::uint32_t mode) {
  const std::uint32_t red = rgb / 65'536 % 256;
  const std::uint32_t green = rgb / 256 % 256;
  const std::uint32_t blue = rgb % 256;
  const std::int32_t limited_level = level < 0 ? 0 : level > 255 ? 255 : level;
  return {byte(red),           byte(green),      byte(blue),
          byte(limited_level), byte(mode % 256), byte(mode / 256 % 256)};
}

BottomCompatReply Model::operate_led(const std::string& device, std::uint32_t rgb,
                                     std::int32_t level, std::uint32_t mode) {
  return from_operate(operate_gateway(config_.bottom_board, device, "set_led",
                                      encode_led(rgb, level, mode), "led rgb=" + text(rgb)));
}

BottomCompatReply Model::handle_operate_light(const Request& request) {
  debug_log("CMD_OPERATE_LIGHT: bottom_rgb=" + text(request.bottom_rgb) +
            " left_rgb=" + text(request.left_rgb) + " right_rgb=" + text(request.right_rgb));
  if (request.bottom_rgb != 0) {
    for (const std::string device : {"left_light", "right_light"}) {
      const BottomCompatReply reply =
          operate_led(device, request.bottom_rgb, request.bottom_level, request.bottom_mode);
      if (!reply.success) {
        return reply;
      }
    }
  }
  if (request.left_rgb != 0) {
    const BottomCompatReply reply =
        operate_led("left_light", request.left_rgb, request.left_level, request.left_mode);
    if (!reply.success) {
      return reply;
    }
  }
  if (request.right_rgb != 0) {
    const BottomCompatReply reply =
        operate_led("right_light", request.right_rgb, request.right_level, request.right_mode);
    if (!reply.success) {
      return reply;
    }
  }
  return good();
}

BottomCompatReply Model::operate_fill_light(std::uint32_t value) {
  std::uint32_t brightness = value;
  if (value > 100) {
    const std::uint32_t brightest =
        std::max({value / 65'536 % 256, value / 256 % 256, value % 256});
    brightness = brightest * 100 / 255;
  }
  return from_operate(operate_gateway(config_.bottom_board, "fill_light", "set_brightness",
                                      {byte(brightness), 0},
                                      "fill_light brightness=" + text(brightness)));
}

BottomCompatReply Model::handle_fill_light(const Request& request) {
  debug_log("CMD_FILL_LIGHT: rgb=" + text(request.rgb));
  return operate_fill_light(request.rgb);
}

BottomCompatReply Model::operate_power_bit(std::uint8_t sub, std::uint8_t bit, bool value) {
  return from_operate(operate_gateway(
      config_.bottom_board, "power_control", "set_bit", {sub, bit, byte(value ? 1 : 0)},
      "power_bit sub=" + text(sub) + " bit=" + text(bit) + " value=" + (value ? "1" : "0")));
}

BottomCompatReply Model::handle_projection_light(const Request& request) {
  debug_log("CMD_PROJECTION_LIGHT: front_rgb=" + text(request.front_rgb) +
            " rear_rgb=" + text(request.rear_rgb));
  const BottomCompatReply front = operate_power_bit(
      config_.front_projection_sub, config_.front_projection_bit, request.front_rgb != 0);
  if (!front.success) {
    return front;
  }
  const BottomCompatReply rear = operate_power_bit(
      config_.rear_projection_sub, config_.rear_projection_bit, request.rear_rgb != 0);
  return rear.success ? good() : rear;
}

BottomCompatReply Model::handle_wheel_control(const Request& request) {
  const bool lock = request.wheel_cmd != 0;
  debug_log("CMD_WHEEL_CONTROL: wheel_cmd=" + text(request.wheel_cmd) +
            " mapped_value=" + (lock ? "lock" : "unlock") + " bottom_motor_stop_bit=5");
  return operate_power_bit(config_.wheel_power_sub, config_.wheel_power_bit,
                           lock ? config_.wheel_lock_value : config_.wheel_unlock_value);
}

BottomCompatReply Model::handle_bump_unlock() {
  debug_log("CMD_UNLOCK_BUMP: dispatching power_control bit7");
  return operate_power_bit(config_.bump_unlock_sub, config_.bump_unlock_bit, true);
}

// --- Selects and masks ---

bool Model::command_is_on(std::int32_t cmd, std::int32_t duty) { return cmd != 0 && duty > 0; }

bool Model::multiplex_command_is_empty(std::int32_t select, std::int32_t cmd, std::int32_t duty) {
  return select == 0 && cmd == 0 && duty == 0;
}

std::int64_t Model::multiplex_select_to_index(std::int32_t select) {
  if (select == 1) return 0;
  if (select == 2) return 1;
  if (select == 4) return 2;
  if (select == 8) return 3;
  return -1;
}

std::int64_t Model::motor_target_rpm(std::int32_t cmd, std::int32_t duty,
                                     std::int64_t rpm_per_duty) {
  const std::int64_t rpm = limited(Wide{duty} * Wide{rpm_per_duty});
  return cmd == 3 ? limited(-Wide{rpm}) : rpm;
}

std::uint8_t Model::valve_group_mask(const List& valves) {
  std::uint8_t mask = 0;
  for (const std::int64_t entry : valves) {
    if (is_valve(entry)) {
      mask = byte(mask | valve_bit(entry));
    }
  }
  return mask;
}

std::uint8_t Model::single_select_to_valve_mask(const List& valves, std::int32_t select) {
  const std::int64_t position = multiplex_select_to_index(select);
  if (position == -1 || position >= static_cast<std::int64_t>(valves.size())) {
    return 0;
  }
  const std::int64_t entry = valves[static_cast<std::size_t>(position)];
  return is_valve(entry) ? valve_bit(entry) : std::uint8_t{0};
}

std::uint8_t Model::bitmask_select_to_valve_mask(const List& valves, std::int32_t select) {
  std::uint8_t mask = 0;
  for (std::size_t i = 0; i < valves.size() && i < 32; ++i) {
    const bool selected = (static_cast<std::uint32_t>(select) >> i) % 2 == 1;
    if (selected && is_valve(valves[i])) {
      mask = byte(mask | valve_bit(valves[i]));
    }
  }
  return mask;
}

// --- Pumps and valves ---

BottomCompatReply Model::operate_pump_channel(std::int64_t channel, std::int32_t cmd,
                                              std::int32_t duty) {
  if (channel < 1 || channel > 5) {
    return bad("pump channel out of range");
  }
  std::int32_t target = 0;
  if (command_is_on(cmd, duty)) {
    target = std::min(duty, 100);
  }
  return from_operate(operate_gateway(config_.selfclean_board, "pump", "set_duty",
                                      {byte(channel), byte(target), 0},
                                      "pump channel=" + text(channel) + " target=" + text(target)));
}

BottomCompatReply Model::handle_end_tool_pump(const Request& request) {
  debug_log("CMD_HANDLE_PUMP: channel=" + text(config_.end_tool_pump_channel) +
            " cmd=" + text(request.pump_cmd) + " duty=" + text(request.pump_duty));
  return operate_pump_channel(config_.end_tool_pump_channel, request.pump_cmd, request.pump_duty);
}

BottomCompatReply Model::operate_valve_mask(std::uint8_t mask, bool open) {
  return from_operate(operate_gateway(config_.selfclean_board, "valve", "set_valves",
                                      {mask, open ? mask : std::uint8_t{0}},
                                      "valve_mask open=" + true_false(open)));
}

BottomCompatReply Model::operate_valves(const List& valves, std::int32_t select, bool open) {
  std::uint8_t mask = 0;
  if (select <= 0) {
    mask = valve_group_mask(valves);
  } else {
    const std::int64_t position = multiplex_select_to_index(select);
    if (position == -1 || position >= static_cast<std::int64_t>(valves.size())) {
      return bad("unsupported valve select: " + text(select));
    }
    const std::int64_t entry = valves[static_cast<std::size_t>(position)];
    if (!is_valve(entry)) {
      return bad("valve bit out of range");
    }
    mask = valve_bit(entry);
  }
  return from_operate(operate_gateway(
      config_.selfclean_board, "valve", "set_valves", {mask, open ? mask : std::uint8_t{0}},
      "valves select=" + text(select) + " open=" + true_false(open)));
}

BottomCompatReply Model::operate_pump_select(const List& pumps, const List& valves,
                                             std::int32_t select, std::int32_t cmd,
                                             std::int32_t duty) {
  const bool open = duty > 0 && cmd != 0;
  debug_log("pump_select: select=" + text(select) + " cmd=" + text(cmd) + " duty=" + text(duty) +
            " open=" + true_false(open));
  const BottomCompatReply valve_reply = operate_valves(valves, select, open);
  if (!valve_reply.success) {
    return valve_reply;
  }
  if (select > 0) {
    const std::int64_t position = multiplex_select_to_index(select);
    if (position == -1 || position >= static_cast<std::int64_t>(pumps.size())) {
      return bad("unsupported pump select: " + text(select));
    }
    return operate_pump_channel(pumps[static_cast<std::size_t>(position)], cmd, duty);
  }
  for (const std::int64_t channel : pumps) {
    const BottomCompatReply reply = operate_pump_channel(channel, cmd, duty);
    if (!reply.success) {
      return reply;
    }
  }
  return good();
}

BottomCompatReply Model::operate_multiplex_pump(std::int64_t channel, const List& valves,
                                                std::int32_t select, std::int32_t cmd,
                                                std::int32_t duty, bool bitmask) {
  debug_log("multiplex_pump: channel=" + text(channel) + " select=" + text(select) +
            " cmd=" + text(cmd) + " duty=" + text(duty) +
            " valve_select=" + (bitmask ? "bitmask" : "single") + " open=" + true_false(duty != 0));
  const std::uint8_t group = valve_group_mask(valves);
  if (group == 0) {
    return bad("pump valve group has no valid valve bits");
  }
  if (duty == 0) {
    return switch_pump_off(channel, group);
  }
  const std::uint8_t open = bitmask ? bitmask_select_to_valve_mask(valves, select)
                                    : single_select_to_valve_mask(valves, select);
  if (open == 0) {
    return bad("pump select has no valid valve bit");
  }
  return switch_pump_on(channel, group, open, cmd, duty);
}

BottomCompatReply Model::switch_pump_off(std::int64_t channel, std::uint8_t group) {
  const BottomCompatReply pump = operate_pump_channel(channel, 0, 0);
  if (!pump.success) {
    return pump;
  }
  valve_delay();
  return from_operate(operate_gateway(config_.selfclean_board, "valve", "set_valves", {group, 0},
                                      "valve_group close"));
}

BottomCompatReply Model::switch_pump_on(std::int64_t channel, std::uint8_t group, std::uint8_t open,
                                        std::int32_t cmd, std::int32_t duty) {
  const OperateResult valves =
      operate_gateway(config_.selfclean_board, "valve", "set_valves", {group, open},
                      "valve_group open values=" + text(open));
  if (!valves.success) {
    return bad(valves.message);
  }
  valve_delay();
  return operate_pump_channel(channel, cmd, duty);
}

void Model::valve_delay() {
  if (config_.valve_switch_delay_ms > 0) {
    stage_.wait_ms(config_.valve_switch_delay_ms);
  }
}

// --- Cleaning motors ---

OperateResult Model::motor(std::int64_t slot, const std::string& op, const Bytes& payload,
                           const std::string& label) {
  return operate_gateway(config_.selfclean_board, "motor" + text(slot), op, payload, label);
}

BottomCompatReply Model::stop_slot(std::int64_t slot) {
  const OperateResult target = motor(slot, "set_target", {0, 0}, "motor stop target");
  if (!target.success) {
    return bad(target.message);
  }
  const OperateResult disable = motor(slot, "disable", {}, "motor disable");
  return disable.success ? good() : bad(disable.message);
}

BottomCompatReply Model::start_slot(std::int64_t slot, std::int32_t cmd, std::int32_t duty) {
  const OperateResult mode = motor(slot, "set_mode", {3}, "motor velocity mode");
  if (!mode.success) {
    return bad(mode.message);
  }
  const OperateResult enable = motor(slot, "enable", {}, "motor enable");
  if (!enable.success) {
    return bad(enable.message);
  }
  const std::int64_t rpm = motor_target_rpm(cmd, duty, config_.tools_clean_rpm_per_duty);
  std::int16_t sent = 0;
  if (rpm > 32'767) {
    sent = 32'767;
  } else if (rpm < -32'768) {
    sent = -32'768;
  } else {
    sent = static_cast<std::int16_t>(rpm);
  }
  return from_operate(motor(slot, "set_target", encode_i16_le(sent), "motor rpm=" + text(rpm)));
}

BottomCompatReply Model::operate_motor_slot(std::int64_t select, std::int32_t cmd,
                                            std::int32_t duty) {
  const bool running = cmd != 0 && duty > 0;
  const bool valid = select == 1 || select == 2 || select == 4;
  if (running && !valid) {
    return select == 8 ? good() : bad("unsupported tools_clean select: " + text(select));
  }
  if (!running && !valid) {
    debug_log("tools_clean motor stop all: select=" + text(select) + " cmd=" + text(cmd) +
              " duty=" + text(duty));
    for (const std::int64_t slot : config_.tools_clean_motor_slots) {
      const BottomCompatReply reply = stop_slot(slot);
      if (!reply.success) {
        return reply;
      }
    }
    return good();
  }
  const std::size_t position = select == 1 ? 0 : select == 2 ? 1 : 2;
  if (position >= config_.tools_clean_motor_slots.size()) {
    return bad("tools_clean select out of range");
  }
  const std::int64_t slot = config_.tools_clean_motor_slots[position];
  if (!running) {
    debug_log("tools_clean motor stop selected: select=" + text(select) +
              " mapped_slot=" + text(slot) + " cmd=" + text(cmd) + " duty=" + text(duty));
    return stop_slot(slot);
  }
  debug_log("tools_clean motor select=" + text(select) + " mapped_slot=" + text(slot) +
            " duty=" + text(duty));
  return start_slot(slot, cmd, duty);
}

// --- Procter ---

BottomCompatReply Model::handle_procter(const Request& r) {
  debug_log("CMD_PROCTER: tools_select=" + text(r.tools_select) +
            " tools_cmd=" + text(r.tools_cmd) + " tools_duty=" + text(r.tools_duty) +
            " clean_select=" + text(r.clean_select) + " clean_duty=" + text(r.clean_duty) +
            " dirty_select=" + text(r.dirty_select) + " dirty_duty=" + text(r.dirty_duty));
  if (r.tools_select == 0 && r.tools_cmd == 0 && r.tools_duty == 0) {
    debug_log("tools_clean skipped: empty command");
  } else {
    const BottomCompatReply reply = operate_motor_slot(r.tools_select, r.tools_cmd, r.tools_duty);
    if (!reply.success) {
      return reply;
    }
  }
  if (r.clean_select == 0 && r.clean_cmd == 0 && r.clean_duty == 0) {
    debug_log("clean_pump skipped: empty command");
  } else {
    const BottomCompatReply reply =
        operate_multiplex_pump(config_.clean_pump_channel, config_.clean_pump_valves,
                               r.clean_select, r.clean_cmd, r.clean_duty, false);
    if (!reply.success) {
      return reply;
    }
  }
  if (r.dirty_select == 0 && r.dirty_cmd == 0 && r.dirty_duty == 0) {
    debug_log("dirty_pump skipped: empty command");
  } else {
    const BottomCompatReply reply =
        operate_multiplex_pump(config_.dirty_pump_channel, config_.dirty_pump_valves,
                               r.dirty_select, r.dirty_cmd, r.dirty_duty, true);
    if (!reply.success) {
      return reply;
    }
  }
  const BottomCompatReply claw = handle_tools_claw(r);
  return claw.success ? good() : claw;
}

// --- Claws ---

ClawState Model::claw_state(std::size_t index) const {
  return static_cast<ClawState>(index < claws_.size() ? claws_[index] : 0);
}

std::size_t Model::claw_motor_index(std::int32_t select) const {
  const std::int64_t position = multiplex_select_to_index(select);
  return position == -1 ? config_.claw_motor_ids.size() : static_cast<std::size_t>(position);
}

std::string Model::claw_device_name(std::size_t index) const {
  return "motor" + text(config_.claw_motor_ids[index]);
}

std::string Model::tool(std::size_t index) const {
  return "工具" + text(config_.claw_motor_ids[index]);
}

BottomCompatReply Model::claw_query(std::size_t index, std::uint8_t& action,
                                    std::uint8_t& position) {
  const OperateResult result = operate_gateway(config_.selfclean_board, claw_device_name(index),
                                               "claw_query_state", {}, "tools_claw query_state");
  if (!result.success) {
    return bad("tools_claw query failed: " + result.message);
  }
  if (result.data.size() < 2) {
    return bad("tools_claw query result too short: bytes=" + text(result.data.size()));
  }
  action = result.data[0];
  position = result.data[1];
  return good();
}

BottomCompatReply Model::claw_try_once(std::size_t index, ClawState target) {
  const std::string op = claw_op(target);
  const OperateResult write =
      operate_gateway(config_.selfclean_board, claw_device_name(index), op, {}, "tools_claw " + op);
  if (!write.success) {
    return bad("tools_claw " + op + " write failed: " + write.message);
  }
  const std::int64_t interval =
      config_.claw_poll_interval_ms > 10 ? config_.claw_poll_interval_ms : 10;
  const std::int64_t timeout = std::max(config_.claw_timeout_ms, interval);
  const Deadline deadline = Deadline::after_ms(stage_.now(), timeout);
  const int expected_action = raises(target) ? 3 : 4;
  const int expected_position = raises(target) ? 2 : 1;
  std::string last_sample;
  while (!deadline.reached(stage_.now())) {
    stage_.wait_ms(interval);
    if (emergency_) {
      return bad("tools_claw aborted: selfclean_board in emergency");
    }
    std::uint8_t action = 0;
    std::uint8_t position = 0;
    const BottomCompatReply query = claw_query(index, action, position);
    if (!query.success) {
      debug_log("tools_claw query failed (retrying): " + query.message);
      log_warn(tool(index) + verb(target) + "查询失败，重试中：" + query.message);
      continue;
    }
    if (action == expected_action && position == expected_position) {
      return good();
    }
    if (action != expected_action && (action == 5 || action == 6)) {
      return bad("tools_claw " + op + " failed (action_state=" + text(action) +
                 ", position_state=" + text(position) + ")");
    }
    const std::string sample =
        " action_state=" + text(action) + " position_state=" + text(position);
    if (sample != last_sample) {
      log_info(tool(index) + verb(target) + "动作中" + sample);
      last_sample = sample;
    }
  }
  return bad("tools_claw " + op + " timeout after " + text(timeout) + "ms");
}

BottomCompatReply Model::claw_execute(std::size_t index, ClawState target) {
  const Busy busy(busy_);
  if (emergency_) {
    return bad("tools_claw rejected: selfclean_board in emergency");
  }
  const std::string raised = raises(target) ? "raised" : "lowered";
  if (claws_[index] == static_cast<std::int64_t>(target)) {
    debug_log("tools_claw idempotent: " + claw_device_name(index) + " already " + raised);
    return good();
  }
  debug_log("tools_claw execute: " + claw_device_name(index) + " op=" + claw_op(target));
  const BottomCompatReply reply = attempts(index, target);
  if (reply.success) {
    claws_[index] = static_cast<std::int64_t>(target);
    debug_log("tools_claw ok: " + claw_device_name(index) + " " + raised);
    log_info(tool(index) + verb(target) + "成功");
  }
  return reply;
}

BottomCompatReply Model::attempts(std::size_t index, ClawState target) {
  const std::int64_t retries = std::max<std::int64_t>(0, config_.claw_retry_count);
  const std::uint64_t total = static_cast<std::uint64_t>(retries) + 1;
  std::string last_message;
  for (std::uint64_t n = 1; n <= total; ++n) {
    if (emergency_) {
      claws_[index] = incomplete(target);
      return bad("tools_claw aborted: selfclean_board in emergency");
    }
    const BottomCompatReply reply = claw_try_once(index, target);
    if (reply.success) {
      return reply;
    }
    last_message = reply.message;
    const std::string count = text(n) + "/" + text(total);
    debug_log("tools_claw attempt " + count + " failed: " + last_message);
    log_warn(tool(index) + verb(target) + "第 " + count + " 次尝试失败：" + last_message);
    if (n != total && config_.claw_retry_backoff_ms > 0) {
      stage_.wait_ms(config_.claw_retry_backoff_ms);
    }
  }
  claws_[index] = incomplete(target);
  const std::string message = "tools_claw " + claw_op(target) + " failed after " + text(total) +
                              " attempts: " + last_message;
  log_warn(tool(index) + verb(target) + "失败：" + message);
  return bad(message);
}

BottomCompatReply Model::handle_tools_claw(const Request& request) {
  const std::string cmd = text(request.tools_claw_cmd);
  const std::string duty = text(request.tools_claw_duty);
  const std::string select = text(request.tools_claw_select);
  debug_log("CMD_PROCTER tools_claw: cmd=" + cmd + " duty=" + duty + " select=" + select);
  if (request.tools_claw_cmd == 0 && request.tools_claw_duty == 0) {
    debug_log("tools_claw skipped: empty command");
    return good();
  }
  if (!config_.claw_enabled) {
    return bad("tools_claw disabled");
  }
  if (request.tools_claw_cmd != 1 && request.tools_claw_cmd != 3) {
    return bad("unsupported tools_claw cmd: " + cmd);
  }
  const std::size_t index = claw_motor_index(request.tools_claw_select);
  if (index >= config_.claw_motor_ids.size()) {
    return bad("tools_claw select out of range: " + select);
  }
  const ClawState target = request.tools_claw_cmd == 1 ? ClawState::Raised : ClawState::Lowered;
  log_info("收到爪子控制请求 " + tool(index) + " " + verb(target) + " cmd=" + cmd +
           " duty=" + duty);
  return claw_execute(index, target);
}

// --- Emergency ---

void Model::on_emergency_active() {
  emergency_ = true;
  if (busy_) {
    need_lower_ = true;
  } else {
    need_lower_ = false;
    for (const std::int64_t state : claws_) {
      if (state != 2) {
        need_lower_ = true;
      }
    }
  }
  debug_log("tools_claw emergency active (selfclean_board): need_lower=" + true_false(need_lower_));
}

void Model::on_emergency_recovered() {
  emergency_ = false;
  const bool needed = need_lower_;
  need_lower_ = false;
  if (!needed || !config_.claw_emergency_recovery) {
    debug_log("tools_claw emergency recovered: no lower needed");
    return;
  }
  debug_log("tools_claw emergency recovered: recovering non-lowered motors");
  recover_claws();
}

void Model::recover_claws() {
  const std::int64_t budget = std::max<std::int64_t>(1, config_.claw_recovery_budget_ms);
  const Deadline deadline = Deadline::after_ms(stage_.now(), budget);
  const Busy busy(busy_);
  for (std::size_t index = 0; index < claws_.size(); ++index) {
    if (claws_[index] != 2 && !recover_claw(index, budget, deadline)) {
      return;
    }
  }
}

/// Whether the recovery goes on with the next claw.
bool Model::recover_claw(std::size_t index, std::int64_t budget, const Deadline& deadline) {
  if (emergency_) {
    return recovery_stopped();
  }
  if (deadline.reached(stage_.now())) {
    return recovery_over_budget(budget);
  }
  if (claws_[index] != 1) {
    const BottomCompatReply raise = claw_try_once(index, ClawState::Raised);
    if (emergency_) {
      return recovery_stopped();
    }
    if (!raise.success) {
      debug_log("tools_claw recovery raise failed for " + claw_device_name(index) + ": " +
                raise.message);
      return deadline.reached(stage_.now()) ? recovery_over_budget(budget) : true;
    }
    claws_[index] = 1;
  }
  if (deadline.reached(stage_.now())) {
    return recovery_over_budget(budget);
  }
  const BottomCompatReply lower = claw_try_once(index, ClawState::Lowered);
  if (emergency_) {
    return recovery_stopped();
  }
  if (lower.success) {
    claws_[index] = 2;
  } else {
    debug_log("tools_claw recovery lower failed for " + claw_device_name(index) + ": " +
              lower.message);
  }
  return deadline.reached(stage_.now()) ? recovery_over_budget(budget) : true;
}

bool Model::recovery_stopped() {
  need_lower_ = true;
  log_warn("工具爪恢复期间再次收到急停，中止恢复。");
  return false;
}

bool Model::recovery_over_budget(std::int64_t budget) {
  need_lower_ = true;
  log_warn("工具爪恢复超过总预算 " + text(budget) + "ms，剩余电机保持待恢复。");
  return false;
}

}  // namespace vantrel_can_bridge::test::simulation
