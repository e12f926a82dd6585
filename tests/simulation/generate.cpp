#include "tests/simulation/generate.hpp"

#include <array>
#include <initializer_list>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>

namespace vantrel_can_bridge::test::simulation {
namespace {

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

/// Where the choices come from.
class Dice {
 public:
  Dice() = default;
  Dice(const Dice&) = delete;
  Dice& operator=(const Dice&) = delete;
  virtual ~Dice() = default;

  virtual std::uint64_t bits() = 0;
  /// From 0 to `count` - 1.
  virtual std::size_t below(std::size_t count) = 0;
  /// Whether there is nothing left to choose by; all that follows is 0.
  [[nodiscard]] virtual bool exhausted() const = 0;

  bool percent(std::size_t chance) { return below(100) < chance; }

  template <class Value>
  Value one_of(std::initializer_list<Value> values) {
    return values.begin()[below(values.size())];
  }
  std::string one_text(std::initializer_list<std::string_view> texts) {
    return std::string(one_of(texts));
  }
};

/// Random numbers that are the same with every compiler and library (splitmix64).
class SeededDice : public Dice {
 public:
  explicit SeededDice(std::uint64_t seed) : state_(seed) {}

  std::uint64_t bits() override {
    state_ += 0x9e3779b97f4a7c15;
    std::uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
    z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
    return z ^ (z >> 31);
  }
  std::size_t below(std::size_t count) override { return bits() % count; }
  [[nodiscard]] bool exhausted() const override { return false; }

 private:
  std::uint64_t state_;
};

/// Takes one byte for each choice, so that changing a byte changes a single choice.
class GivenDice : public Dice {
 public:
  explicit GivenDice(std::string_view bytes) : bytes_(bytes) {}

  std::uint64_t bits() override {
    std::uint64_t out = 0;
    for (int i = 0; i < 8; ++i) {
      out = out << 8 | next();
    }
    return out;
  }
  std::size_t below(std::size_t count) override { return next() % count; }
  [[nodiscard]] bool exhausted() const override { return bytes_.empty(); }

 private:
  std::uint8_t next() {
    if (bytes_.empty()) {
      return 0;
    }
    const auto byte = static_cast<std::uint8_t>(bytes_.front());
    bytes_.remove_prefix(1);
    return byte;
  }

  std::string_view bytes_;
};

/// Any 64-bit number, mostly one at which something turns.
std::int64_t odd_number(Dice& dice) {
  return dice.one_of<std::int64_t>({0,
                                    1,
                                    -1,
                                    2,
                                    3,
                                    4,
                                    5,
                                    7,
                                    8,
                                    9,
                                    16,
                                    31,
                                    32,
                                    100,
                                    101,
                                    127,
                                    128,
                                    255,
                                    256,
                                    32'767,
                                    32'768,
                                    -32'768,
                                    -32'769,
                                    65'535,
                                    65'536,
                                    0x7fffffff,
                                    0x80000000,
                                    -0x80000000LL,
                                    0xffffffff,
                                    0x100000001,
                                    0x100000008,
                                    -0xffffffffLL,
                                    kMost,
                                    kMost - 1,
                                    kLeast,
                                    kLeast + 1,
                                    static_cast<std::int64_t>(dice.bits())});
}

template <class Number>
Number field(Dice& dice, std::initializer_list<std::int64_t> usual) {
  return static_cast<Number>(dice.percent(4) ? odd_number(dice) : dice.one_of(usual));
}

std::string odd_text(Dice& dice) {
  static const std::string kLongText(300, 'x');
  return dice.one_text({"", "", "ok", "timeout", "no answer in 800 ms", " ", "板\n",
                        std::string_view("a\0b", 3), "\xff\x80", "\"quoted\\", kLongText});
}

List list(Dice& dice, std::initializer_list<std::int64_t> usual) {
  const std::size_t length = dice.percent(10) ? dice.below(41) : dice.below(5);
  List out;
  for (std::size_t i = 0; i < length; ++i) {
    out.push_back(field<std::int64_t>(dice, usual));
  }
  return out;
}

List valve_list(Dice& dice) { return list(dice, {0, 1, 2, 3, 4, 5, 6, 7, -1, 8, 9}); }
List channel_list(Dice& dice) { return list(dice, {1, 2, 3, 4, 5, 1, 2, 3, 4, 5, 0, 6}); }

Bytes bytes(Dice& dice, std::size_t most) {
  Bytes out(dice.below(most + 1));
  for (std::uint8_t& byte : out) {
    byte = field<std::uint8_t>(dice, {0, 1, 2, 3, 4, 5, 6, 7, 0xab, 0xff});
  }
  return out;
}

void set_claws(Dice& dice, Config& config) {
  config.claw_enabled = dice.percent(90);
  config.claw_motor_ids = dice.percent(70) ? List{11, 12, 13, 14} : list(dice, {1, 2, 3, -2});
  config.claw_motor_ids.resize(
      dice.percent(70) ? std::min<std::size_t>(config.claw_motor_ids.size(), 1 + dice.below(4))
                       : config.claw_motor_ids.size());
  config.claw_poll_interval_ms = field<std::int64_t>(dice, {0, -5, 9, 10, 11, 50, 500});
  config.claw_timeout_ms = field<std::int64_t>(dice, {0, -1, 10, 20, 50, 100, 400, 1'000});
  config.claw_retry_count = dice.percent(5) ? kMost : field<std::int64_t>(dice, {0, 1, 2, 3, -5});
  config.claw_retry_backoff_ms = field<std::int64_t>(dice, {0, -1, 1, 300, 1'500});
  config.claw_emergency_recovery = dice.percent(75);
  config.claw_recovery_budget_ms = field<std::int64_t>(dice, {0, 1, 30, 100, 400, 60'000, -1});
}

void set_tools(Dice& dice, Config& config) {
  config.tools_clean_rpm_per_duty = field<std::int64_t>(dice, {30, 30, 0, 1, -7, 1'000});
  if (dice.percent(10)) {
    config.tools_clean_rpm_per_duty = dice.one_of({kMost, kLeast, kMost / 2, kMost / 100});
  }
  config.tools_clean_motor_slots = list(dice, {5, 6, 7, 0, -2});
  config.clean_pump_channel = field<std::int64_t>(dice, {1, 2, 3, 4, 5, 0, 6});
  config.dirty_pump_channel = field<std::int64_t>(dice, {1, 2, 3, 4, 5, 0, 6});
  config.end_tool_pump_channel = field<std::int64_t>(dice, {1, 2, 3, 4, 5, 0, 6});
  config.clean_pump_valves = valve_list(dice);
  config.dirty_pump_valves = valve_list(dice);
  config.valve_switch_delay_ms = field<std::int64_t>(dice, {0, -1, 1, 200, 999, 1'000, 1'500});
}

Config random_config(Dice& dice) {
  Config config;
  visit_config(config, [&](const char*, auto& value) {
    using Value = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<Value, std::string>) {
      value = dice.one_text({"body", "clean", "self clean", "", "板\n"});
    } else if constexpr (std::is_same_v<Value, List>) {
      value = list(dice, {101, 102});
    } else if constexpr (std::is_same_v<Value, bool>) {
      value = dice.percent(50);
    } else {
      value = field<Value>(dice, {0, 1, 2, 3, 4, 5, 7, 8});
    }
  });
  set_claws(dice, config);
  set_tools(dice, config);
  return config;
}

Request random_request(Dice& dice) {
  Request request;
  visit_request(request, [&](const std::string& name, auto& value) {
    using Value = std::decay_t<decltype(value)>;
    if (name == "cmd") {
      value = field<Value>(dice, {0, 0, 0, 0, 0, 0, 0,  0,  0,  0,  1,  2,  2,  3,
                                  4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 13, 14, 15, -3});
    } else if (name == "tools_claw_cmd") {
      value = field<Value>(dice, {1, 3, 1, 3, 1, 3, 0, 0, 2});
    } else if (name.find("select") != std::string::npos) {
      value = field<Value>(dice, {1, 2, 4, 8, 1, 2, 0, 0, 3, 5, 7, 9, -1, 15});
    } else if (name.find("rgb") != std::string::npos) {
      value = field<Value>(dice, {0, 0, 1, 100, 101, 0xff8000, 0xffffff, 0x010101, 0xff000000});
    } else if (name.find("mode") != std::string::npos || name.find("level") != std::string::npos) {
      value = field<Value>(dice, {0, 1, -5, 255, 256, 300, 0x12345});
    } else {
      value = field<Value>(dice, {0, 0, 1, 1, 3, 30, 50, 100, 101, 2'000, -2, -20});
    }
  });
  return request;
}

/// Most requests leave most parts alone, or the claws at their end would seldom be reached.
void leave_out_parts(Dice& dice, Request& r) {
  if (dice.percent(60)) {
    r.tools_cmd = r.tools_duty = r.tools_select = 0;
  }
  if (dice.percent(60)) {
    r.clean_cmd = r.clean_duty = r.clean_select = 0;
  }
  if (dice.percent(60)) {
    r.dirty_cmd = r.dirty_duty = r.dirty_select = 0;
  }
  if (dice.percent(30)) {
    r.tools_claw_cmd = r.tools_claw_duty = 0;
  }
}

Arguments random_arguments(Dice& dice) {
  Arguments a;
  a.select = field<std::int64_t>(dice, {0, 1, 2, 4, 8, 1, 2, 4, -1, 3, 5, 16, 0x100000001});
  a.cmd = field<std::int64_t>(dice, {0, 1, 1, 2, 3, -1});
  a.duty = field<std::int64_t>(dice, {0, 1, 50, 50, 100, 101, -20});
  a.channel = field<std::int64_t>(dice, {1, 2, 3, 4, 5, 1, 2, 3, 4, 5, 0, 6, -1, 0x100000001});
  a.index = static_cast<std::int64_t>(dice.below(5));
  a.target = dice.one_of<std::int64_t>({1, 1, 1, 1, 2, 2, 2, 2, 2, 0, 3, 4});
  a.value = odd_number(dice);
  a.flag = dice.percent(50);
  a.pumps = channel_list(dice);
  a.valves = valve_list(dice);
  a.bytes = bytes(dice, 4);
  a.text = odd_text(dice);
  a.device = dice.one_text({"left_light", "right_light", "", "motor-2"});
  return a;
}

std::string random_operation(Dice& dice) {
  const std::size_t part = dice.below(100);
  if (part < 50) {
    return "handle";
  }
  if (part < 68) {
    return dice.one_text({"claw_execute", "claw_execute", "on_emergency_active",
                          "on_emergency_recovered", "claw_try_once"});
  }
  if (part < 85) {
    return dice.one_text({"operate_multiplex_pump", "operate_pump_select", "operate_valves",
                          "operate_valve_mask", "operate_motor_slot", "operate_pump_channel",
                          "claw_query", "operate_gateway", "operate_led", "operate_fill_light",
                          "operate_power_bit"});
  }
  return dice.one_text({"handle_operate_light",
                        "handle_fill_light",
                        "handle_projection_light",
                        "handle_wheel_control",
                        "handle_bump_unlock",
                        "handle_end_tool_pump",
                        "handle_procter",
                        "handle_tools_claw",
                        "claw_state",
                        "claw_motor_index",
                        "claw_device_name",
                        "debug_log",
                        "log_info",
                        "log_warn",
                        "unsupported",
                        "from_operate",
                        "payload_to_hex",
                        "encode_i16_le",
                        "encode_u16_le",
                        "encode_led",
                        "command_is_on",
                        "multiplex_command_is_empty",
                        "multiplex_select_to_index",
                        "motor_target_rpm",
                        "valve_group_mask",
                        "single_select_to_valve_mask",
                        "bitmask_select_to_valve_mask"});
}

Answer random_answer(Dice& dice) {
  Answer answer;
  answer.success = dice.percent(90);
  answer.confirms = dice.percent(45);
  if (!answer.confirms) {
    answer.data =
        dice.percent(60)
            ? dice.one_of<Bytes>(
                  {{1, 0}, {3, 0}, {3, 1}, {3, 2}, {4, 1}, {4, 2}, {5, 0}, {6, 2}, {2, 1, 9}})
            : bytes(dice, 4);
  }
  answer.message = odd_text(dice);
  answer.latency_ms =
      dice.percent(80) ? 0 : dice.one_of<std::int64_t>({1, 9, 10, 50, 400, 60'000, 1'000'000'000});
  return answer;
}

Incident random_incident(Dice& dice) {
  Incident incident;
  incident.what = dice.one_of({Happening::Stop, Happening::Stop, Happening::Stop, Happening::Clear,
                               Happening::Exception, Happening::Interrupt, Happening::Failure});
  incident.where = dice.one_of({Place::Call, Place::Wait, Place::Line});
  incident.number = static_cast<std::int64_t>(1 + dice.below(dice.percent(70) ? 4 : 30));
  return incident;
}

Step random_step(Dice& dice) {
  Step step;
  step.operation = random_operation(dice);
  step.request = random_request(dice);
  leave_out_parts(dice, step.request);
  step.arguments = random_arguments(dice);
  if (dice.percent(60)) {
    for (std::size_t i = dice.below(12); i > 0; --i) {
      step.answers.push_back(random_answer(dice));
    }
  }
  step.repeats = dice.percent(7);
  if (dice.percent(20)) {
    for (std::size_t i = 1 + dice.below(3); i > 0; --i) {
      step.incidents.push_back(random_incident(dice));
    }
  }
  return step;
}

Case generate(Dice& dice) {
  Case script;
  if (dice.percent(15)) {
    script.channels = {dice.percent(50), dice.percent(50), dice.percent(50)};
  }
  script.config = random_config(dice);
  for (std::size_t i = 1 + dice.below(60); i > 0 && !dice.exhausted(); --i) {
    script.steps.push_back(random_step(dice));
  }
  return script;
}

}  // namespace

Case generate(std::uint64_t seed) {
  SeededDice dice(seed);
  return generate(dice);
}

Case generate_from(std::string_view bytes) {
  GivenDice dice(bytes);
  return generate(dice);
}

}  // namespace vantrel_can_bridge::test::simulation
