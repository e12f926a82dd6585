#include "workbench/blocking_times.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <vector>

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatConfig;

/// A number of milliseconds, not negative, that stops at its largest value.
class Saturated {
 public:
  Saturated(std::int64_t value) : value_(std::max<std::int64_t>(value, 0)) {}  // NOLINT: a number

  [[nodiscard]] std::int64_t value() const { return value_; }

  friend Saturated operator+(Saturated a, Saturated b) {
    return a.value_ > kMost - b.value_ ? kMost : a.value_ + b.value_;
  }
  friend Saturated operator*(Saturated a, Saturated b) {
    return b.value_ != 0 && a.value_ > kMost / b.value_ ? kMost : a.value_ * b.value_;
  }
  friend bool operator<(Saturated a, Saturated b) { return a.value_ < b.value_; }

 private:
  static constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

  std::int64_t value_;
};

Saturated latency(const RobotFile& robot, const char* op) {
  return robot.simulation.latency(op).count();
}

std::int64_t count(const std::vector<std::int64_t>& list) {
  return static_cast<std::int64_t>(list.size());
}

Saturated attempt(const RobotFile& robot) {
  const Saturated poll = std::max<std::int64_t>(robot.config.claw_poll_interval_ms, 10);
  const Saturated limit = std::max(Saturated(robot.config.claw_timeout_ms), poll);
  const Saturated move = std::max(latency(robot, "claw_extend"), latency(robot, "claw_home"));
  return move + limit + poll + latency(robot, "claw_query_state");
}

Saturated motors(const RobotFile& robot) {
  if (robot.config.tools_clean_motor_slots.empty()) {
    return 0;
  }
  const Saturated target = latency(robot, "set_target");
  const Saturated start = latency(robot, "set_mode") + latency(robot, "enable") + target;
  const Saturated stop_all =
      (target + latency(robot, "disable")) * count(robot.config.tools_clean_motor_slots);
  return std::max(start, stop_all);
}

Saturated pump(const RobotFile& robot, const std::vector<std::int64_t>& valves) {
  const bool has_valve = std::any_of(valves.begin(), valves.end(),
                                     [](std::int64_t bit) { return bit >= 0 && bit < 8; });
  return has_valve ? latency(robot, "set_valves") + robot.config.valve_switch_delay_ms +
                         latency(robot, "set_duty")
                   : 0;
}

/// The longest of all requests but the procter's.
Saturated other_request(const RobotFile& robot) {
  // LEDs: both sides in the common colour, then each in its own. Projection: front and rear.
  return std::max({latency(robot, "set_led") * 4, latency(robot, "set_bit") * 2,
                   latency(robot, "set_brightness"), latency(robot, "set_duty")});
}

Saturated recovery(const BottomCompatConfig& config, Saturated attempt_time) {
  if (!config.claw_emergency_recovery) {
    return 0;
  }
  const Saturated budget = std::max<std::int64_t>(config.claw_recovery_budget_ms, 1);
  return std::min(attempt_time * 2 * count(config.claw_motor_ids), budget + attempt_time);
}

}  // namespace

BlockingTimes blocking_times(const RobotFile& robot) {
  const BottomCompatConfig& config = robot.config;
  const Saturated attempt_time = attempt(robot);
  const Saturated retries = config.claw_retry_count;
  const Saturated claw_move = (retries + 1) * attempt_time + retries * config.claw_retry_backoff_ms;
  const bool has_claw = config.claw_enabled && !config.claw_motor_ids.empty();
  const Saturated procter = motors(robot) + pump(robot, config.clean_pump_valves) +
                            pump(robot, config.dirty_pump_valves) +
                            (has_claw ? claw_move : Saturated(0));
  return {attempt_time.value(), (retries + 1).value(), claw_move.value(),
          std::max(procter, other_request(robot)).value(), recovery(config, attempt_time).value()};
}

std::string rounded_duration_text(std::int64_t milliseconds) {
  constexpr std::int64_t kSecond = 1000;
  constexpr std::int64_t kMinute = 60 * kSecond;
  constexpr std::int64_t kHour = 60 * kMinute;
  constexpr std::int64_t kYear = 8766 * kHour;
  if (milliseconds >= 100 * kYear) {
    return "over 100 years";
  }
  // Rounded up, so that a bound stays one.
  if (milliseconds > kHour) {
    const std::int64_t minutes = (milliseconds + kMinute - 1) / kMinute;
    return fmt::format("{} h {} min", minutes / 60, minutes % 60);
  }
  if (milliseconds > 2 * kMinute) {
    const std::int64_t seconds = (milliseconds + kSecond - 1) / kSecond;
    return fmt::format("{} min {} s", seconds / 60, seconds % 60);
  }
  if (milliseconds >= kSecond) {
    return fmt::format("{:g} s", static_cast<double>(milliseconds) / 1000.0);
  }
  return fmt::format("{} ms", milliseconds);
}

}  // namespace vantrel_can_bridge::workbench
