#include "workbench/fault_reader.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "workbench/yaml_scalars.hpp"
#include "workbench/yaml_values.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using Effect = std::optional<FaultEffect>;

template <typename T>
Effect with_message(const YamlNode& node, InputErrors& errors) {
  const std::optional<std::string> message = read_string(node, errors);
  return message ? Effect(T{*message}) : std::nullopt;
}

/// What is thrown stands in the record by its message, which therefore is never empty.
Effect read_throw(const YamlNode& node, InputErrors& errors) {
  Effect effect = with_message<Throw>(node, errors);
  if (effect && std::get<Throw>(*effect).message.empty()) {
    report_wrong_value(node, "a text that is not empty", "", errors);
    return std::nullopt;
  }
  return effect;
}

/// An effect that has nothing to say: its value is "true".
template <typename T>
Effect without_value(const YamlNode& node, InputErrors& errors) {
  return read_word(node, {"true"}, errors) ? Effect(T{}) : std::nullopt;
}

Effect read_slow(const YamlNode& node, InputErrors& errors) {
  const auto by = read_duration(node, errors);
  return by ? Effect(Slow{*by}) : std::nullopt;
}

Effect read_answer(const YamlNode& node, InputErrors& errors) {
  const auto data = read_bytes(node, errors);
  return data ? Effect(Answer{*data}) : std::nullopt;
}

Effect read_stick(const YamlNode& node, InputErrors& errors) {
  const auto permille = read_permille(node, errors);
  return permille ? Effect(StickMove{*permille}) : std::nullopt;
}

struct EffectReader {
  const char* key;
  Effect (*read)(const YamlNode& node, InputErrors& errors);
};

constexpr EffectReader kEffects[] = {
    {"refuse", with_message<Refuse>},
    {"slow", read_slow},
    {"done_but_failed", with_message<DoneButFailed>},
    {"answered_but_not_done", without_value<AnsweredButNotDone>},
    {"answer", read_answer},
    {"claw_sticks_at", read_stick},
    {"claw_fails", without_value<FailMove>},
    {"throw", read_throw},
};

/// The one effect of the rule, of which `keys` knows all other keys.
Effect read_effect(const YamlNode& node, MappingReader& keys, InputErrors& errors) {
  std::vector<std::string> names;
  std::vector<std::pair<const EffectReader*, const YamlNode*>> there;
  for (const EffectReader& effect : kEffects) {
    names.emplace_back(effect.key);
    if (const YamlNode* const value = keys.find(effect.key)) {
      there.emplace_back(&effect, value);
    }
  }
  const std::size_t errors_before = errors.count();
  keys.finish();
  if (there.empty()) {
    if (errors.count() == errors_before) {  // a misspelt effect is not missing as well
      errors.add(node.place, "fault: it has no effect; expected one of " + one_of(names));
    }
    return std::nullopt;
  }
  for (std::size_t extra = 1; extra < there.size(); ++extra) {
    errors.add(there[extra].second->place, std::string(there[extra].first->key) +
                                               ": a second effect; expected one a rule, beside " +
                                               there.front().first->key);
  }
  return there.front().first->read(*there.front().second, errors);
}

}  // namespace

std::optional<FaultRule> read_fault(const YamlNode& node, ScenarioContext& context) {
  InputErrors& errors = context.errors;
  const std::size_t errors_before = errors.count();
  FaultRule rule;
  rule.times = FaultRule::kUntilCleared;
  MappingReader keys(node, "a fault rule", errors);
  if (const YamlNode* const name = keys.find("name")) {
    rule.name = read_string(*name, errors).value_or("");
    context.fault_rules.insert(rule.name);
    if (rule.name == "all") {
      report_wrong_value(*name, "another name: clear_faults takes all for every rule", "", errors);
    }
  }
  keys.optional("board", rule.board);
  keys.optional("device", rule.device);
  keys.optional("op", rule.op);
  if (const YamlNode* const skip = keys.find("skip")) {
    rule.skip = static_cast<std::uint64_t>(read_integer(*skip, {0}, errors).value_or(0));
  }
  if (const YamlNode* const times = keys.find("times")) {
    rule.times = static_cast<std::uint64_t>(read_integer(*times, {1}, errors).value_or(1));
  }
  if (const YamlNode* const probability = keys.find("probability")) {
    rule.probability = read_probability(*probability, errors).value_or(1.0);
  }
  const Effect effect =
      node.kind == YamlNode::Kind::Mapping ? read_effect(node, keys, errors) : std::nullopt;
  if (!effect || errors.count() != errors_before) {
    return std::nullopt;
  }
  rule.effect = *effect;
  if (const std::string reason = context.boards.why_never_hits(rule); !reason.empty()) {
    errors.add(node.place, "fault: it can never hit an operation of this robot: " + reason);
    return std::nullopt;
  }
  return rule;
}

}  // namespace vantrel_can_bridge::workbench
