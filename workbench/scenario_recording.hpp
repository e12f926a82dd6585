#pragma once

#include <string>
#include <vector>

#include "workbench/expectation_check.hpp"
#include "workbench/scenario.hpp"

namespace vantrel_can_bridge::workbench {

/// Turns a run into a scenario that expects what has happened: the same steps, each with
/// its reply, all operations, and the lines of the info and warn channels. Played on
/// simulated time it holds for as long as nothing behaves differently.
class ScenarioRecording {
 public:
  /// `scenario` outlives it.
  explicit ScenarioRecording(const Scenario& scenario) : scenario_(scenario) {}

  /// Of each step when it is over, in their order.
  void add(const StepRecord& record) { records_.push_back(record); }

  /// The scenario file, to be stored at `path`: its robot is found from there. Steps that
  /// were not played are left out.
  [[nodiscard]] std::string text(const std::string& path) const;

 private:
  const Scenario& scenario_;
  std::vector<StepRecord> records_;
};

}  // namespace vantrel_can_bridge::workbench
