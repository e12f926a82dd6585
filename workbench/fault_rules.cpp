#include "workbench/fault_rules.hpp"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

bool name_matches(std::string_view pattern, std::string_view name) {
  return pattern == "*" || pattern == name;
}

bool is_claw_move(std::string_view op) { return op == "claw_extend" || op == "claw_home"; }

bool matches(const FaultRule& rule, const Operation& operation) {
  return rule.times > 0 && name_matches(rule.board, operation.board) &&
         name_matches(rule.device, operation.device) && name_matches(rule.op, operation.op) &&
         (!std::holds_alternative<FailMove>(rule.effect) || is_claw_move(operation.op));
}

}  // namespace

void FaultRules::add(FaultRule rule) { rules_.push_back(std::move(rule)); }

const FaultEffect* FaultRules::hit(const Operation& operation) {
  const auto rule = std::find_if(rules_.begin(), rules_.end(), [&](const FaultRule& candidate) {
    return matches(candidate, operation);
  });
  if (rule == rules_.end()) {
    return nullptr;
  }
  --rule->times;
  return &rule->effect;
}

std::uint64_t FaultRules::pending() const {
  std::uint64_t sum = 0;
  for (const FaultRule& rule : rules_) {
    sum += std::min(rule.times, std::numeric_limits<std::uint64_t>::max() - sum);
  }
  return sum;
}

}  // namespace vantrel_can_bridge::workbench
