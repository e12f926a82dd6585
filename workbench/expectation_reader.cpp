#include "workbench/expectation_reader.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>

#include "workbench/step_text.hpp"
#include "workbench/yaml_scalars.hpp"
#include "workbench/yaml_values.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using RecordedState = business_layer::bottom_compat::ClawState;

const std::string kReply =
    "success, failure, or a mapping with success and message, or with throws";
const std::string kOperation =
    "an operation [board, device, op], with its payload \"03 50 00\" and \"x 12\" for repeats "
    "where it has them";

std::optional<ReplyExpectation> read_reply(const YamlNode& node, InputErrors& errors) {
  ReplyExpectation reply;
  if (node.kind != YamlNode::Kind::Mapping) {
    const bool is_word =
        node.kind == YamlNode::Kind::Scalar && (node.text == "success" || node.text == "failure");
    if (!is_word) {
      report_wrong_value(node, kReply, "", errors);
      return std::nullopt;
    }
    reply.success = node.text == "success";
    return reply;
  }
  MappingReader keys(node, "a reply", errors);
  const auto text = [&](const char* name) -> std::optional<std::string> {
    std::string value;
    return keys.optional(name, value) ? std::optional(value) : std::nullopt;
  };
  reply.thrown = text("throws");
  if (!reply.thrown) {
    keys.required("success", reply.success);
    reply.message = text("message");
  }
  keys.finish();
  return reply;
}

/// "x 12".
std::optional<std::uint64_t> parse_times(std::string_view text) {
  std::uint64_t times = 0;
  if (text.substr(0, 2) != "x ") {
    return std::nullopt;
  }
  const auto read = std::from_chars(text.data() + 2, text.data() + text.size(), times);
  const bool is_whole = read.ec == std::errc() && read.ptr == text.data() + text.size();
  return is_whole && times > 0 && times <= 1'000'000'000 ? std::optional(times) : std::nullopt;
}

std::optional<ExpectedOperation> read_operation(const YamlNode& node, InputErrors& errors) {
  const std::vector<YamlNode>& items = node.items;
  if (node.kind != YamlNode::Kind::Sequence || items.size() < 3 || items.size() > 5) {
    report_wrong_value(node, kOperation, "", errors);
    return std::nullopt;
  }
  ExpectedOperation expected;
  const auto name = [&](std::size_t index, std::string& value) {
    value = read_any_text(items[index], "a name", errors).value_or("");
  };
  name(0, expected.operation.board);
  name(1, expected.operation.device);
  name(2, expected.operation.op);
  std::size_t rest = 3;
  const bool has_times = items.size() > 3 && items.back().kind == YamlNode::Kind::Scalar &&
                         parse_times(items.back().text).has_value();
  if (has_times) {
    expected.times = *parse_times(items.back().text);
  }
  if (rest < items.size() - (has_times ? 1 : 0)) {
    expected.operation.payload = read_bytes(items[rest++], errors).value_or(Bytes());
  }
  if (rest < items.size() - (has_times ? 1 : 0)) {
    report_wrong_value(items[rest], "repeats such as x 12", "", errors);
  }
  return expected;
}

std::optional<At<std::vector<ExpectedOperation>>> read_operations(const YamlNode& node,
                                                                  InputErrors& errors) {
  if (!is_sequence(node, "a list of operations", errors)) {
    return std::nullopt;
  }
  At<std::vector<ExpectedOperation>> operations{node.place.line, {}};
  for (const YamlNode& item : node.items) {
    if (auto operation = read_operation(item, errors)) {
      operations.expected.push_back(*std::move(operation));
    }
  }
  return operations;
}

struct LogKey {
  const char* key;
  LogChannel channel;
  bool is_whole;
};

constexpr LogKey kLogKeys[] = {
    {"debug", LogChannel::Debug, true},    {"info", LogChannel::Info, true},
    {"warn", LogChannel::Warn, true},      {"debug_has", LogChannel::Debug, false},
    {"info_has", LogChannel::Info, false}, {"warn_has", LogChannel::Warn, false},
};

constexpr RecordedState kStates[] = {RecordedState::Unknown, RecordedState::Raised,
                                     RecordedState::Lowered, RecordedState::RaiseIncomplete,
                                     RecordedState::LowerIncomplete};

std::vector<At<ClawExpectation>> read_claws(const YamlNode& node, ScenarioContext& context) {
  std::vector<At<ClawExpectation>> claws;
  std::vector<std::string> words;
  for (const RecordedState state : kStates) {
    words.push_back(claw_state_text(state));
  }
  MappingReader keys(node, "a mapping of claws", context.errors);
  const std::vector<std::int64_t>& motors = context.config.claw_motor_ids;
  for (std::size_t claw = 0; claw < motors.size(); ++claw) {
    const auto this_one = motors.begin() + static_cast<std::ptrdiff_t>(claw);
    const YamlNode* const value = keys.find(fmt::format("motor{}", motors[claw]));
    if (value == nullptr || std::find(motors.begin(), this_one, motors[claw]) != this_one) {
      continue;  // a number that two claws have names the first
    }
    if (const auto word = read_word(*value, words, context.errors)) {
      claws.push_back({value->place.line, {claw, motors[claw], kStates[*word]}});
    }
  }
  keys.finish();
  return claws;
}

/// Thousandths of the number in ">= 45 %", after its comparison.
std::optional<std::int64_t> parse_thousandths(std::string_view text) {
  double number = 0.0;
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const auto read =
      std::from_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed);
  if (read.ec != std::errc() || number < -1e9 || number > 1e9) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(number * 1000.0 + (number < 0 ? -0.5 : 0.5));
}

std::optional<ValueCondition> read_condition(const std::string& name, const YamlNode& node,
                                             InputErrors& errors) {
  const std::string expected = "the value's text, or >= or <= and a number, in quotes";
  const std::optional<std::string> text = read_any_text(node, expected, errors);
  if (!text) {
    return std::nullopt;
  }
  ValueCondition condition{name, ValueCondition::Comparison::Equal, *text, 0};
  const std::string comparison = text->substr(0, 2);
  if (comparison == ">=" || comparison == "<=") {
    const auto number = parse_thousandths(std::string_view(*text).substr(2));
    if (!number) {
      report_wrong_value(node, expected, "", errors);
      return std::nullopt;
    }
    condition.comparison = comparison == ">=" ? ValueCondition::Comparison::AtLeast
                                              : ValueCondition::Comparison::AtMost;
    condition.number = *number;
  }
  return condition;
}

/// "power_control 1.5": any bit may be asked for, also one that was never written.
bool is_power_bit(std::string_view name) {
  constexpr std::string_view kPrefix = "power_control ";
  if (name.substr(0, kPrefix.size()) != kPrefix) {
    return false;
  }
  const char* const end = name.data() + name.size();
  std::uint8_t number = 0;
  const auto sub = std::from_chars(name.data() + kPrefix.size(), end, number);
  if (sub.ec != std::errc() || sub.ptr == end || *sub.ptr != '.') {
    return false;
  }
  const auto bit = std::from_chars(sub.ptr + 1, end, number);
  return bit.ec == std::errc() && bit.ptr == end;
}

}  // namespace

std::vector<At<ValueCondition>> read_conditions(const YamlNode& node, ScenarioContext& context) {
  std::vector<At<ValueCondition>> conditions;
  MappingReader keys(node, "a mapping of values of the boards", context.errors);
  // Asked for, so that a name which is none of them is reported with the nearest one.
  for (const std::string& name : context.value_names) {
    (void)keys.find(name);
  }
  for (std::size_t index = 0; index < node.keys.size(); ++index) {
    const std::string& name = node.keys[index].name;
    const auto& known = context.value_names;
    const bool is_known = std::find(known.begin(), known.end(), name) != known.end();
    if (!is_known && (!is_power_bit(name) || keys.find(name) == nullptr)) {
      continue;
    }
    const YamlNode& value = node.items[index];
    if (auto condition = read_condition(name, value, context.errors)) {
      conditions.push_back({value.place.line, *std::move(condition)});
    }
  }
  keys.finish();
  return conditions;
}

Expectations read_expectations(const YamlNode& node, bool has_reply, ScenarioContext& context) {
  InputErrors& errors = context.errors;
  Expectations expectations;
  MappingReader keys(node, "expectations", errors);
  if (const YamlNode* const reply = keys.find("reply")) {
    const auto expected = read_reply(*reply, errors);
    if (!has_reply) {
      errors.add(reply->place,
                 "reply: this step has none; expected at a request in the foreground, or at "
                 "wait_for");
    } else if (expected) {
      expectations.reply = At<ReplyExpectation>{reply->place.line, *expected};
    }
  }
  if (const YamlNode* const operations = keys.find("operations")) {
    expectations.operations = read_operations(*operations, errors);
  }
  if (const YamlNode* const writes = keys.find("writes")) {
    expectations.writes = read_operations(*writes, errors);
  }
  for (const LogKey& log : kLogKeys) {
    const YamlNode* const lines = keys.find(log.key);
    if (lines == nullptr) {
      continue;
    }
    if (const auto expected = YamlValue<std::vector<std::string>>::read(*lines, errors)) {
      expectations.logs.push_back({lines->place.line, {log.channel, log.is_whole, *expected}});
    }
  }
  if (const YamlNode* const boards = keys.find("boards")) {
    expectations.boards = read_conditions(*boards, context);
  }
  if (const YamlNode* const claws = keys.find("claws")) {
    expectations.claws = read_claws(*claws, context);
  }
  keys.finish();
  return expectations;
}

}  // namespace vantrel_can_bridge::workbench
