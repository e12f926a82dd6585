#include "workbench/fault_rules.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "workbench/duration_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

bool name_matches(std::string_view pattern, std::string_view name) {
  return pattern == "*" || pattern == name;
}

bool is_about_moves(const FaultEffect& effect) {
  return std::holds_alternative<FailMove>(effect) || std::holds_alternative<StickMove>(effect);
}

struct EffectText {
  std::string operator()(const Refuse& effect) const { return "refused: " + effect.message; }
  std::string operator()(const Slow& effect) const {
    return "slower by " + duration_text(effect.by);
  }
  std::string operator()(const DoneButFailed& effect) const {
    return "done but answered as failed: " + effect.message;
  }
  std::string operator()(const AnsweredButNotDone&) const { return "answered but not done"; }
  std::string operator()(const Answer& effect) const {
    return fmt::format("answered with [{}]", hex(effect.data));
  }
  std::string operator()(const StickMove& effect) const {
    return fmt::format("claw sticks at {}.{} % of its way", effect.at_permille / 10,
                       effect.at_permille % 10);
  }
  std::string operator()(const FailMove&) const { return "claw gives up half-way"; }
  std::string operator()(const Throw& effect) const { return "threw: " + effect.message; }
};

}  // namespace

std::string fault_text(const FaultEffect& effect) { return std::visit(EffectText{}, effect); }

bool FaultRule::matches(std::string_view of_board, std::string_view of_device,
                        std::string_view of_op) const {
  return name_matches(board, of_board) && name_matches(device, of_device) &&
         name_matches(op, of_op) && (!is_about_moves(effect) || is_claw_move(of_op));
}

void FaultRules::add(FaultRule rule) { rules_.push_back(std::move(rule)); }

void FaultRules::clear() {
  rules_.erase(std::remove_if(rules_.begin(), rules_.end(),
                              [](const FaultRule& rule) { return !rule.is_lasting; }),
               rules_.end());
}

void FaultRules::clear(std::string_view name) {
  rules_.erase(std::remove_if(rules_.begin(), rules_.end(),
                              [&](const FaultRule& rule) { return rule.name == name; }),
               rules_.end());
}

const FaultEffect* FaultRules::hit(const Operation& operation) {
  const auto rule = std::find_if(rules_.begin(), rules_.end(), [&](FaultRule& candidate) {
    return is_hit(candidate, operation);
  });
  if (rule == rules_.end()) {
    return nullptr;
  }
  if (rule->times != FaultRule::kUntilCleared) {
    --rule->times;
  }
  return &rule->effect;
}

bool FaultRules::is_hit(FaultRule& rule, const Operation& operation) {
  if (rule.times == 0 || !rule.matches(operation.board, operation.device, operation.op)) {
    return false;
  }
  if (rule.skip > 0) {
    --rule.skip;
    return false;
  }
  return rule.probability >= 1.0 || draw() < rule.probability;
}

/// A number from 0 up to 1, the same on every machine: SplitMix64, of which the upper 53
/// bits fill a double.
double FaultRules::draw() {
  chance_ += 0x9e3779b97f4a7c15U;
  std::uint64_t mixed = chance_;
  mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
  mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
  mixed ^= mixed >> 31U;
  return static_cast<double>(mixed >> 11U) * 0x1.0p-53;
}

std::uint64_t FaultRules::pending() const {
  std::uint64_t sum = 0;
  for (const FaultRule& rule : rules_) {
    sum += std::min(rule.times, std::numeric_limits<std::uint64_t>::max() - sum);
  }
  return sum;
}

}  // namespace vantrel_can_bridge::workbench
