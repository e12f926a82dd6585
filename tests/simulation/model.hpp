#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "compat/bottom_compat_reply.hpp"
#include "compat/claw_state.hpp"
#include "gateway/operate_result.hpp"
#include "tests/simulation/case.hpp"
#include "tests/simulation/stage.hpp"

namespace vantrel_can_bridge::test::simulation {

using business_layer::bottom_compat::BottomCompatReply;
using business_layer::bottom_compat::ClawState;

class Model;
struct Deadline;

/// The world of a model: its own clock, on which waits pass.
class ModelStage : public Stage {
 public:
  /// `now`: what the monotonic clock shows at the start, in nanoseconds.
  ModelStage(const Case& script, std::int64_t now) : Stage(script), now_(now) {}

  void wait_ms(std::int64_t length);
  [[nodiscard]] std::int64_t now() const override { return now_; }

  /// Set once, before the first step.
  Model* model = nullptr;

 private:
  void raise_stop() override;
  void clear_stop() override;
  void advance_ms(std::int64_t duration) override;
  void interrupt_next_wait() override { ++interrupts_; }
  void fail_next_wait() override { fail_ = true; }

  std::int64_t now_;
  int interrupts_ = 0;
  bool fail_ = false;
};

/// What the orchestrator should do, written down a second time as plainly as possible: the
/// oracle of the simulation. It has the orchestrator's public operations by their names,
/// and shares none of its code, only the records that both are given and give back.
///
/// One thread; "busy" stands for the claw's mutex.
class Model {
 public:
  Model(const Case& script, ModelStage& stage)
      : config_(script.config),
        channels_(script.channels),
        stage_(stage),
        claws_(script.config.claw_motor_ids.size(), 0) {}

  BottomCompatReply handle(const Request& request);
  void on_emergency_active();
  void on_emergency_recovered();
  ClawState claw_state(std::size_t index) const;
  std::size_t claw_motor_index(std::int32_t select) const;

  BottomCompatReply handle_operate_light(const Request& request);
  BottomCompatReply handle_fill_light(const Request& request);
  BottomCompatReply handle_projection_light(const Request& request);
  BottomCompatReply handle_wheel_control(const Request& request);
  BottomCompatReply handle_bump_unlock();
  BottomCompatReply handle_end_tool_pump(const Request& request);
  BottomCompatReply handle_procter(const Request& request);
  BottomCompatReply handle_tools_claw(const Request& request);

  OperateResult operate_gateway(const std::string& board, const std::string& device,
                                const std::string& op, const Bytes& payload,
                                const std::string& label);
  BottomCompatReply operate_led(const std::string& device, std::uint32_t rgb, std::int32_t level,
                                std::uint32_t mode);
  BottomCompatReply operate_fill_light(std::uint32_t value);
  BottomCompatReply operate_power_bit(std::uint8_t sub, std::uint8_t bit, bool value);
  BottomCompatReply operate_pump_channel(std::int64_t channel, std::int32_t cmd, std::int32_t duty);
  BottomCompatReply operate_valve_mask(std::uint8_t mask, bool open);
  BottomCompatReply operate_valves(const List& valves, std::int32_t select, bool open);
  BottomCompatReply operate_pump_select(const List& pumps, const List& valves, std::int32_t select,
                                        std::int32_t cmd, std::int32_t duty);
  BottomCompatReply operate_multiplex_pump(std::int64_t channel, const List& valves,
                                           std::int32_t select, std::int32_t cmd, std::int32_t duty,
                                           bool bitmask);
  BottomCompatReply operate_motor_slot(std::int64_t select, std::int32_t cmd, std::int32_t duty);

  BottomCompatReply claw_execute(std::size_t index, ClawState target);
  BottomCompatReply claw_try_once(std::size_t index, ClawState target);
  BottomCompatReply claw_query(std::size_t index, std::uint8_t& action, std::uint8_t& position);
  std::string claw_device_name(std::size_t index) const;

  void debug_log(const std::string& line) const;
  void log_info(const std::string& line) const;
  void log_warn(const std::string& line) const;
  BottomCompatReply unsupported(std::int32_t cmd, const std::string& reason) const;
  BottomCompatReply from_operate(const OperateResult& result) const;

  static std::string payload_to_hex(const Bytes& bytes);
  static Bytes encode_i16_le(std::int16_t value);
  static Bytes encode_u16_le(std::uint16_t value);
  static Bytes encode_led(std::uint32_t rgb, std::int32_t level, std::uint32_t mode);
  static bool command_is_on(std::int32_t cmd, std::int32_t duty);
  static bool multiplex_command_is_empty(std::int32_t select, std::int32_t cmd, std::int32_t duty);
  static std::int64_t multiplex_select_to_index(std::int32_t select);
  static std::int64_t motor_target_rpm(std::int32_t cmd, std::int32_t duty,
                                       std::int64_t rpm_per_duty);
  static std::uint8_t valve_group_mask(const List& valves);
  static std::uint8_t single_select_to_valve_mask(const List& valves, std::int32_t select);
  static std::uint8_t bitmask_select_to_valve_mask(const List& valves, std::int32_t select);

 private:
  BottomCompatReply switch_pump_off(std::int64_t channel, std::uint8_t group);
  BottomCompatReply switch_pump_on(std::int64_t channel, std::uint8_t group, std::uint8_t open,
                                   std::int32_t cmd, std::int32_t duty);
  void valve_delay();

  BottomCompatReply stop_slot(std::int64_t slot);
  BottomCompatReply start_slot(std::int64_t slot, std::int32_t cmd, std::int32_t duty);
  OperateResult motor(std::int64_t slot, const std::string& op, const Bytes& payload,
                      const std::string& label);

  BottomCompatReply attempts(std::size_t index, ClawState target);
  void recover_claws();
  bool recover_claw(std::size_t index, std::int64_t budget, const Deadline& deadline);
  bool recovery_stopped();
  bool recovery_over_budget(std::int64_t budget);
  std::string tool(std::size_t index) const;

  const Config& config_;
  const Channels channels_;
  ModelStage& stage_;
  std::vector<std::int64_t> claws_;
  bool emergency_ = false;
  bool need_lower_ = false;
  bool busy_ = false;
};

}  // namespace vantrel_can_bridge::test::simulation
