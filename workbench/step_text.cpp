#include "workbench/step_text.hpp"

#include <fmt/format.h>

#include "workbench/duration_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using RecordedState = business_layer::bottom_compat::ClawState;

std::string thousandths_text(std::int64_t number) {
  std::string text = fmt::format("{}", number / 1000);
  if (const std::int64_t rest = number % 1000; rest != 0) {
    text += fmt::format(".{:03}", rest);
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text;
}

std::string in_background(const std::string& name) {
  return name.empty() ? std::string() : " in the background as " + name;
}

struct StepText {
  std::string operator()(const SendRequest& step) const {
    return "request " + request_arguments(step.request) + in_background(step.background);
  }
  std::string operator()(const WaitForTime& step) const {
    return "wait " + duration_text(step.duration);
  }
  std::string operator()(const WaitForRequest& step) const {
    return fmt::format("wait for {}, at most {}", step.background, duration_text(step.at_most));
  }
  std::string operator()(const WaitForValues& step) const {
    std::string text = "wait until";
    const char* separator = " ";
    for (const ValueCondition& condition : step.conditions) {
      text += separator + condition_text(condition);
      separator = " and ";
    }
    return text + ", at most " + duration_text(step.at_most);
  }
  std::string operator()(const ChangeEmergency& step) const {
    return (step.edge == EmergencyEdge::Raise ? "emergency raise" : "emergency clear") +
           in_background(step.background);
  }
  std::string operator()(const AddFault& step) const {
    return fmt::format("fault {} {} {}: {}", step.rule.board, step.rule.device, step.rule.op,
                       fault_text(step.rule.effect));
  }
  std::string operator()(const ClearFaults& step) const {
    return "clear faults " + (step.name.empty() ? "all" : step.name);
  }
  std::string operator()(const Announce& step) const { return "note " + step.text; }
  std::string operator()(const LookAround&) const { return "expect"; }
};

}  // namespace

std::string step_text(const StepAction& action) { return std::visit(StepText{}, action); }

std::string condition_text(const ValueCondition& condition) {
  switch (condition.comparison) {
    case ValueCondition::Comparison::Equal:
      return condition.name + " " + condition.text;
    case ValueCondition::Comparison::AtLeast:
      return condition.name + " >= " + thousandths_text(condition.number);
    case ValueCondition::Comparison::AtMost:
      return condition.name + " <= " + thousandths_text(condition.number);
  }
  return {};
}

std::string operation_text(const Operation& operation) {
  return fmt::format("{} {} {} [{}]", operation.board, operation.device, operation.op,
                     hex(operation.payload));
}

std::string claw_state_text(RecordedState state) {
  switch (state) {
    case RecordedState::Unknown:
      return "unknown";
    case RecordedState::Raised:
      return "raised";
    case RecordedState::Lowered:
      return "lowered";
    case RecordedState::RaiseIncomplete:
      return "raise_incomplete";
    case RecordedState::LowerIncomplete:
      return "lower_incomplete";
  }
  return {};
}

}  // namespace vantrel_can_bridge::workbench
