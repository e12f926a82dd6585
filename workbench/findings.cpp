#include "workbench/findings.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>
#include <utility>

#include "workbench/blocking_times.hpp"
#include "workbench/input_errors.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatConfig;

/// A field of the configuration that holds one integer, or several.
struct Number {
  const char* field;
  std::int64_t value;
};
struct List {
  const char* field;
  const std::vector<std::int64_t>& values;
};

bool is_valve(std::int64_t bit) { return bit >= 0 && bit <= 7; }
bool is_pump_channel(std::int64_t channel) { return channel >= 1 && channel <= 5; }

bool has_valve(const std::vector<std::int64_t>& group) {
  return std::any_of(group.begin(), group.end(), is_valve);
}

/// The first entry before `end` that has the value `value`; `end` where there is none.
std::size_t first_with(const std::vector<std::int64_t>& values, std::size_t end,
                       std::int64_t value) {
  const auto stop = values.begin() + static_cast<std::ptrdiff_t>(end);
  return static_cast<std::size_t>(std::find(values.begin(), stop, value) - values.begin());
}

class Inspection {
 public:
  explicit Inspection(const RobotFile& robot) : robot_(robot), config_(robot.config) {}

  std::vector<Finding> run() {
    inspect_boards();
    inspect_cleaning_motors();
    inspect_pump_channels();
    inspect_valve_group({"clean_pump_valves", config_.clean_pump_valves}, "clean");
    inspect_valve_group({"dirty_pump_valves", config_.dirty_pump_valves}, "dirty");
    inspect_shared_valves();
    inspect_power_bits();
    inspect_claw_motors();
    inspect_claw_switches();
    inspect_times();
    std::stable_sort(findings_.begin(), findings_.end(), [](const Finding& a, const Finding& b) {
      return is_before(a.place, b.place);
    });
    return std::move(findings_);
  }

 private:
  void add(const char* field, const std::string& text) {
    findings_.push_back({robot_.place_of(field), fmt::format("{} {}", field, text)});
  }
  void add(const List& list, std::size_t entry, const std::string& text) {
    findings_.push_back(
        {robot_.place_of(list.field, entry), fmt::format("{}[{}] {}", list.field, entry, text)});
  }

  void inspect_boards() {
    if (config_.bottom_board.empty()) {
      add("bottom_board",
          "is empty: no board has that name, so every light and power request fails");
    }
    if (config_.selfclean_board.empty()) {
      add("selfclean_board",
          "is empty: no board has that name, so every pump, valve, motor and claw request fails");
    } else if (config_.selfclean_board == config_.bottom_board) {
      add("selfclean_board",
          fmt::format("is \"{}\" like bottom_board: one board gets the operations of both and "
                      "refuses those of the devices that it does not have",
                      printable(config_.selfclean_board)));
    }
  }

  void inspect_cleaning_motors() {
    const List slots{"tools_clean_motor_slots", config_.tools_clean_motor_slots};
    inspect_rpm_per_duty();
    inspect_motor_numbers(slots, "two selects turn one motor");
    constexpr std::size_t kSelectable = 3;
    if (slots.values.size() > kSelectable) {
      add(slots, kSelectable,
          fmt::format("is entry {} of {}, but selects reach three: motor {} and those after it are "
                      "stopped with the others, but nothing starts them",
                      kSelectable + 1, slots.values.size(), slots.values[kSelectable]));
    }
  }

  void inspect_rpm_per_duty() {
    constexpr std::uint64_t kFullDuty = 100;
    const std::int64_t factor = config_.tools_clean_rpm_per_duty;
    if (factor == 0) {
      add("tools_clean_rpm_per_duty", "is 0: cleaning motors are enabled, but never turn");
      return;
    }
    const auto bits = static_cast<std::uint64_t>(factor);
    const std::uint64_t size = factor < 0 ? 0 - bits : bits;
    const std::int64_t limit = factor < 0 ? std::numeric_limits<std::int16_t>::min()
                                          : std::numeric_limits<std::int16_t>::max();
    const std::uint64_t clamped_from = (factor < 0 ? 32768U : 32767U) / size + 1;
    if (clamped_from <= kFullDuty) {
      add("tools_clean_rpm_per_duty",
          fmt::format("is {}: {} rpm is the limit of the drive's target, so duty {} and all above "
                      "it turn a motor equally fast",
                      factor, limit, clamped_from));
    }
  }

  /// Motors of one list: repeated ones, and numbers that no device has.
  void inspect_motor_numbers(const List& list, const char* consequence) {
    for (std::size_t i = 0; i < list.values.size(); ++i) {
      const std::int64_t motor = list.values[i];
      if (motor < 0) {
        add(list, i,
            fmt::format("is {0}, but motors have numbers from 0: no board has a device "
                        "\"motor{0}\", so every operation on it fails",
                        motor));
      }
      if (const std::size_t first = first_with(list.values, i, motor); first < i) {
        add(list, i, fmt::format("is {} like {}[{}]: {}", motor, list.field, first, consequence));
      }
    }
  }

  void inspect_pump_channels() {
    struct Pump {
      const char* field;
      std::int64_t channel;
      bool opens_valves;
    };
    const std::array pumps{Pump{"clean_pump_channel", config_.clean_pump_channel,
                                has_valve(config_.clean_pump_valves)},
                           Pump{"dirty_pump_channel", config_.dirty_pump_channel,
                                has_valve(config_.dirty_pump_valves)},
                           Pump{"end_tool_pump_channel", config_.end_tool_pump_channel, false}};
    for (std::size_t i = 0; i < pumps.size(); ++i) {
      if (!is_pump_channel(pumps[i].channel)) {
        add(pumps[i].field,
            fmt::format(
                "is {}, but pumps have channels 1 to 5: every request for this pump is refused "
                "(\"pump channel out of range\"){}",
                pumps[i].channel,
                pumps[i].opens_valves
                    ? ", and one that is to start it opens its valves and leaves them open"
                    : ""));
        continue;
      }
      const auto first = std::find_if(pumps.begin(), pumps.end(), [&](const Pump& each) {
        return each.channel == pumps[i].channel;
      });
      if (first->field != pumps[i].field) {
        add(pumps[i].field, fmt::format("is {} like {}: a request for one pump switches the "
                                        "other, whatever the other's valves",
                                        pumps[i].channel, first->field));
      }
    }
  }

  void inspect_valve_group(const List& group, const char* pump) {
    if (!has_valve(group.values)) {
      add(group.field,
          fmt::format("has no valve from 0 to 7: every request for the {} pump is refused (\"pump "
                      "valve group has no valid valve bits\"), one that is to stop it too",
                      pump));
    }
    for (std::size_t i = 0; i < group.values.size(); ++i) {
      const std::int64_t bit = group.values[i];
      if (!is_valve(bit)) {
        add(group, i,
            fmt::format("is {}, but valves have numbers 0 to 7: the select of this entry opens "
                        "nothing, and alone is refused",
                        bit));
      } else if (const std::size_t first = first_with(group.values, i, bit); first < i) {
        add(group, i,
            fmt::format("is {} like {}[{}]: two selects open one valve", bit, group.field, first));
      }
    }
    // The clean pump's select names one entry of the first four, the dirty pump's is a bit
    // mask over all entries.
    constexpr std::size_t kSelectable = 4;
    if (&group.values == &config_.clean_pump_valves && group.values.size() > kSelectable) {
      add(group, kSelectable,
          fmt::format("is entry {} of {}, but selects reach four: valve {} and those after it are "
                      "closed with the others, but nothing opens them",
                      kSelectable + 1, group.values.size(), group.values[kSelectable]));
    }
  }

  void inspect_shared_valves() {
    const List dirty{"dirty_pump_valves", config_.dirty_pump_valves};
    const std::vector<std::int64_t>& clean = config_.clean_pump_valves;
    for (std::size_t i = 0; i < dirty.values.size(); ++i) {
      const std::size_t other = first_with(clean, clean.size(), dirty.values[i]);
      if (is_valve(dirty.values[i]) && other < clean.size()) {
        add(dirty, i,
            fmt::format("is {} like clean_pump_valves[{}]: a request for one pump can close this "
                        "valve while the other pump runs against it",
                        dirty.values[i], other));
      }
    }
  }

  void inspect_power_bits() {
    if (config_.wheel_lock_value == config_.wheel_unlock_value) {
      add("wheel_unlock_value",
          fmt::format("is {} like wheel_lock_value: both commands do the same, so the wheels can "
                      "be locked or unlocked, but not both",
                      config_.wheel_unlock_value));
    }
    struct Output {
      const char* field;
      std::uint8_t sub;
      std::uint8_t bit;
    };
    const std::array outputs{
        Output{"wheel_power_bit", config_.wheel_power_sub, config_.wheel_power_bit},
        Output{"bump_unlock_bit", config_.bump_unlock_sub, config_.bump_unlock_bit},
        Output{"front_projection_bit", config_.front_projection_sub, config_.front_projection_bit},
        Output{"rear_projection_bit", config_.rear_projection_sub, config_.rear_projection_bit}};
    for (const Output& output : outputs) {
      const auto first = std::find_if(outputs.begin(), outputs.end(), [&](const Output& each) {
        return each.sub == output.sub && each.bit == output.bit;
      });
      if (first->field != output.field) {
        add(output.field, fmt::format("is {} at sub-address {} like {}: both commands switch one "
                                      "output",
                                      output.bit, output.sub, first->field));
      }
    }
  }

  void inspect_claw_motors() {
    const List claws{"claw_motor_ids", config_.claw_motor_ids};
    const std::vector<std::int64_t>& slots = config_.tools_clean_motor_slots;
    inspect_motor_numbers(claws,
                          "a move of one claw moves the other, whose recorded state then is wrong");
    for (std::size_t i = 0; i < claws.values.size(); ++i) {
      const std::size_t slot = first_with(slots, slots.size(), claws.values[i]);
      if (slot < slots.size()) {
        add(claws, i,
            fmt::format("is {} like tools_clean_motor_slots[{}]: a request for the cleaning motor "
                        "turns the claw's motor, whatever stands in the way",
                        claws.values[i], slot));
      }
    }
    constexpr std::size_t kSelectable = 4;
    if (claws.values.size() > kSelectable) {
      add(claws, kSelectable,
          fmt::format("is entry {} of {}, but selects reach four: no request moves motor {} and "
                      "those after it, only a recovery does",
                      kSelectable + 1, claws.values.size(), claws.values[kSelectable]));
    }
  }

  [[nodiscard]] bool recovers_claws() const {
    return config_.claw_emergency_recovery && !config_.claw_motor_ids.empty();
  }

  void inspect_claw_switches() {
    if (config_.claw_enabled && config_.claw_motor_ids.empty()) {
      add("claw_enabled",
          "is true, but there are no claws: every claw request is refused (\"tools_claw select "
          "out of range\")");
    }
    if (!config_.claw_enabled && recovers_claws()) {
      add("claw_emergency_recovery",
          "is true, but claw_enabled is false: requests are refused, and yet the claws move when "
          "an emergency stop clears");
    }
  }

  void inspect_times() {
    const std::int64_t poll_ms = std::max<std::int64_t>(config_.claw_poll_interval_ms, 10);
    if (config_.claw_poll_interval_ms < 10) {
      add("claw_poll_interval_ms",
          fmt::format("is {}, but the shortest interval is 10: claws are asked every 10 ms",
                      config_.claw_poll_interval_ms));
    }
    if (config_.claw_timeout_ms < poll_ms) {
      add("claw_timeout_ms",
          fmt::format("is {}, less than one poll interval: {} ms are used, so a claw is asked "
                      "once and must have arrived by then",
                      config_.claw_timeout_ms, poll_ms));
    }
    inspect_negative({"valve_switch_delay_ms", config_.valve_switch_delay_ms},
                     "a pump is switched at once, while its valve still moves");
    inspect_negative({"claw_retry_count", config_.claw_retry_count},
                     "a move that fails is not tried again");
    inspect_negative({"claw_retry_backoff_ms", config_.claw_retry_backoff_ms},
                     "a move that fails is tried again without a pause");
    inspect_recovery_budget();
    inspect_request_time();
  }

  void inspect_request_time() {
    constexpr std::int64_t kHourMs = 3'600'000;
    const BlockingTimes times = blocking_times(robot_);
    if (times.request_ms > kHourMs) {
      const bool by_claw = config_.claw_enabled && times.claw_move_ms > times.request_ms / 2;
      add(by_claw ? "claw_timeout_ms" : "valve_switch_delay_ms",
          fmt::format("is {}, and so one request can keep its caller waiting for {}: every other "
                      "request for pumps, motors and claws waits as long",
                      by_claw ? config_.claw_timeout_ms : config_.valve_switch_delay_ms,
                      rounded_duration_text(times.request_ms)));
    }
  }

  void inspect_negative(const Number& number, const char* consequence) {
    if (number.value < 0) {
      add(number.field, fmt::format("is {} and counts as 0: {}", number.value, consequence));
    }
  }

  void inspect_recovery_budget() {
    const std::int64_t budget_ms = config_.claw_recovery_budget_ms;
    const std::int64_t move_ms = blocking_times(robot_).attempt_ms;
    if (recovers_claws() && move_ms > std::max<std::int64_t>(budget_ms, 1)) {
      add("claw_recovery_budget_ms",
          fmt::format("is {}, but one move can take {} ms: a recovery can end over its budget "
                      "after the first move, with the claws left where they are until the next "
                      "emergency stop clears",
                      budget_ms, move_ms));
    } else if (budget_ms < 0) {
      add("claw_recovery_budget_ms",
          fmt::format("is {} and counts as 1: a recovery ends over its budget after one move",
                      budget_ms));
    }
  }

  const RobotFile& robot_;
  const BottomCompatConfig& config_;
  std::vector<Finding> findings_;
};

}  // namespace

std::vector<Finding> find_findings(const RobotFile& robot) { return Inspection(robot).run(); }

}  // namespace vantrel_can_bridge::workbench
