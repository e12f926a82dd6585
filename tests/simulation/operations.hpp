#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "compat/bottom_compat_reply.hpp"
#include "compat/claw_state.hpp"
#include "tests/simulation/case.hpp"
#include "tests/simulation/stage.hpp"

namespace vantrel_can_bridge::test::simulation {

// What an operation returned, into the record.
inline void returned(Stage& stage, const business_layer::bottom_compat::BottomCompatReply& reply) {
  stage.add({Kind::Reply, reply.message, {}, {}, {}, reply.success, reply.code});
}
inline void returned(Stage& stage, const OperateResult& result) {
  stage.add({Kind::Result, result.message, {}, {}, result.data, result.success});
}
inline void returned(Stage& stage, const std::string& text) { stage.add({Kind::Result, text}); }
inline void returned(Stage& stage, const Bytes& bytes) {
  stage.add({Kind::Result, {}, {}, {}, bytes});
}
inline void returned(Stage& stage, std::int64_t number) {
  stage.add({Kind::Result, {}, {}, {}, {}, false, number});
}

/// A direct call sees its arguments narrowed to the widths that it takes, and the index of
/// a claw taken round to one that exists; where there is none, nothing is called.
template <class Orchestrator>
struct Call {
  Orchestrator& target;
  const Config& config;
  const Request& request;
  const Arguments& a;
  Stage& stage;

  [[nodiscard]] std::int32_t select() const { return static_cast<std::int32_t>(a.select); }
  [[nodiscard]] std::int32_t cmd() const { return static_cast<std::int32_t>(a.cmd); }
  [[nodiscard]] std::int32_t duty() const { return static_cast<std::int32_t>(a.duty); }
  [[nodiscard]] std::uint32_t value() const { return static_cast<std::uint32_t>(a.value); }
  [[nodiscard]] bool has_claw() const { return !config.claw_motor_ids.empty(); }
  [[nodiscard]] std::size_t claw() const {
    return static_cast<std::uint64_t>(a.index) % config.claw_motor_ids.size();
  }
  [[nodiscard]] auto claw_target() const {
    return static_cast<business_layer::bottom_compat::ClawState>(a.target);
  }
  template <class Result>
  void operator<<(const Result& result) const {
    returned(stage, result);
  }
};

template <class Orchestrator>
using Operation = void (*)(const Call<Orchestrator>&);

template <class O>
std::unordered_map<std::string, Operation<O>> service_operations() {
  using C = const Call<O>&;
  return {
      {"handle", [](C c) { c << c.target.handle(c.request); }},
      {"on_emergency_active", [](C c) { c.target.on_emergency_active(); }},
      {"on_emergency_recovered", [](C c) { c.target.on_emergency_recovered(); }},
      {"claw_state",
       [](C c) {
         const auto index = static_cast<std::size_t>(c.a.index);
         c << static_cast<std::int64_t>(c.target.claw_state(index));
       }},
      {"claw_motor_index",
       [](C c) { c << static_cast<std::int64_t>(c.target.claw_motor_index(c.select())); }},
      {"handle_operate_light", [](C c) { c << c.target.handle_operate_light(c.request); }},
      {"handle_fill_light", [](C c) { c << c.target.handle_fill_light(c.request); }},
      {"handle_projection_light", [](C c) { c << c.target.handle_projection_light(c.request); }},
      {"handle_wheel_control", [](C c) { c << c.target.handle_wheel_control(c.request); }},
      {"handle_bump_unlock", [](C c) { c << c.target.handle_bump_unlock(); }},
      {"handle_end_tool_pump", [](C c) { c << c.target.handle_end_tool_pump(c.request); }},
      {"handle_procter", [](C c) { c << c.target.handle_procter(c.request); }},
      {"handle_tools_claw", [](C c) { c << c.target.handle_tools_claw(c.request); }},
  };
}

template <class O>
std::unordered_map<std::string, Operation<O>> device_operations() {
  using C = const Call<O>&;
  return {
      {"operate_gateway",
       [](C c) {
         c << c.target.operate_gateway("board " + c.a.text, c.a.device, "op " + c.a.device,
                                       c.a.bytes, c.a.text);
       }},
      {"operate_led",
       [](C c) {
         const auto mode = static_cast<std::uint32_t>(c.a.select);
         c << c.target.operate_led(c.a.device, c.value(), c.duty(), mode);
       }},
      {"operate_fill_light", [](C c) { c << c.target.operate_fill_light(c.value()); }},
      {"operate_power_bit",
       [](C c) {
         const auto sub = static_cast<std::uint8_t>(c.a.channel);
         const auto bit = static_cast<std::uint8_t>(c.a.select);
         c << c.target.operate_power_bit(sub, bit, c.a.flag);
       }},
      {"operate_pump_channel",
       [](C c) { c << c.target.operate_pump_channel(c.a.channel, c.cmd(), c.duty()); }},
      {"operate_valve_mask",
       [](C c) {
         c << c.target.operate_valve_mask(static_cast<std::uint8_t>(c.a.value), c.a.flag);
       }},
      {"operate_valves",
       [](C c) { c << c.target.operate_valves(c.a.valves, c.select(), c.a.flag); }},
      {"operate_pump_select",
       [](C c) {
         c << c.target.operate_pump_select(c.a.pumps, c.a.valves, c.select(), c.cmd(), c.duty());
       }},
      {"operate_multiplex_pump",
       [](C c) {
         c << c.target.operate_multiplex_pump(c.a.channel, c.a.valves, c.select(), c.cmd(),
                                              c.duty(), c.a.flag);
       }},
      {"operate_motor_slot",
       [](C c) { c << c.target.operate_motor_slot(c.a.select, c.cmd(), c.duty()); }},
      {"claw_execute",
       [](C c) {
         if (c.has_claw()) c << c.target.claw_execute(c.claw(), c.claw_target());
       }},
      {"claw_try_once",
       [](C c) {
         if (c.has_claw()) c << c.target.claw_try_once(c.claw(), c.claw_target());
       }},
      {"claw_query",
       [](C c) {
         if (c.has_claw()) {
           auto action = static_cast<std::uint8_t>(c.a.value);
           auto position = static_cast<std::uint8_t>(c.a.select);
           c << c.target.claw_query(c.claw(), action, position);
           c << Bytes{action, position};
         }
       }},
      {"claw_device_name",
       [](C c) {
         if (c.has_claw()) c << c.target.claw_device_name(c.claw());
       }},
  };
}

template <class O>
std::unordered_map<std::string, Operation<O>> pure_operations() {
  using C = const Call<O>&;
  return {
      {"debug_log", [](C c) { c.target.debug_log(c.a.text); }},
      {"log_info", [](C c) { c.target.log_info(c.a.text); }},
      {"log_warn", [](C c) { c.target.log_warn(c.a.text); }},
      {"unsupported", [](C c) { c << c.target.unsupported(c.cmd(), c.a.text); }},
      {"from_operate",
       [](C c) {
         c << c.target.from_operate(OperateResult{c.a.flag, c.a.bytes, c.a.text});
       }},
      {"payload_to_hex", [](C c) { c << O::payload_to_hex(c.a.bytes); }},
      {"encode_i16_le", [](C c) { c << O::encode_i16_le(static_cast<std::int16_t>(c.a.value)); }},
      {"encode_u16_le", [](C c) { c << O::encode_u16_le(static_cast<std::uint16_t>(c.a.value)); }},
      {"encode_led",
       [](C c) {
         const auto mode = static_cast<std::uint32_t>(c.a.select);
         c << O::encode_led(c.value(), c.duty(), mode);
       }},
      {"command_is_on", [](C c) { c << std::int64_t{O::command_is_on(c.cmd(), c.duty())}; }},
      {"multiplex_command_is_empty",
       [](C c) {
         c << std::int64_t{O::multiplex_command_is_empty(c.select(), c.cmd(), c.duty())};
       }},
      {"multiplex_select_to_index", [](C c) { c << O::multiplex_select_to_index(c.select()); }},
      {"motor_target_rpm", [](C c) { c << O::motor_target_rpm(c.cmd(), c.duty(), c.a.value); }},
      {"valve_group_mask", [](C c) { c << std::int64_t{O::valve_group_mask(c.a.valves)}; }},
      {"single_select_to_valve_mask",
       [](C c) { c << std::int64_t{O::single_select_to_valve_mask(c.a.valves, c.select())}; }},
      {"bitmask_select_to_valve_mask",
       [](C c) { c << std::int64_t{O::bitmask_select_to_valve_mask(c.a.valves, c.select())}; }},
  };
}

/// Every public operation by its name, of the orchestrator or of the model.
template <class O>
const std::unordered_map<std::string, Operation<O>>& operations() {
  static const auto table = [] {
    auto all = service_operations<O>();
    all.merge(device_operations<O>());
    all.merge(pure_operations<O>());
    return all;
  }();
  return table;
}

/// Plays `step` on `target` and puts its outcome into the record.
template <class O>
void perform(const Step& step, const Config& config, O& target, Stage& stage) {
  const Operation<O> operation = operations<O>().at(step.operation);
  try {
    operation(Call<O>{target, config, step.request, step.arguments, stage});
  } catch (const std::runtime_error& error) {
    stage.add({Kind::Exception, std::string("passed on: ") + error.what()});
  }
}

/// Puts the recorded state of every claw, and of one more, into the record.
template <class O>
void look_at_claws(const Config& config, O& target, Stage& stage) {
  std::string states;
  for (std::size_t claw = 0; claw <= config.claw_motor_ids.size(); ++claw) {
    states += std::to_string(static_cast<std::int32_t>(target.claw_state(claw))) + " ";
  }
  stage.add({Kind::Claws, states});
}

}  // namespace vantrel_can_bridge::test::simulation
