#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/event.hpp"
#include "workbench/run.hpp"
#include "workbench/scenario.hpp"

namespace vantrel_can_bridge::workbench {

/// What happened in one step, by what expectations can speak of.
struct StepRecord {
  std::optional<RequestOutcome> outcome;  ///< of the request that was sent or waited for
  std::vector<Operation> operations;      ///< in the order in which they ended
  struct Line {
    LogChannel channel;
    std::string text;
  };
  std::vector<Line> lines;
  std::vector<ClawExpectation> claws;  ///< what was found of those that the step asks for
};

/// Each expectation of a step against what happened and against the boards as they are now,
/// in a fixed order. Expectations on claws wait for a running move; what they find is added to
/// `record`.
[[nodiscard]] std::vector<ExpectationChecked> check_expectations(const Expectations& expectations,
                                                                 const std::string& file,
                                                                 StepRecord& record, Run& run);

/// Whether `condition` holds on the boards as they are; `actual` gets the text that was
/// found.
[[nodiscard]] bool holds(const ValueCondition& condition, Run& run, std::string& actual);

}  // namespace vantrel_can_bridge::workbench
