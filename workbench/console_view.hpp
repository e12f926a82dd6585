#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "workbench/event.hpp"
#include "workbench/run_view.hpp"

namespace vantrel_can_bridge::workbench {

struct ConsoleOptions {
  ViewOptions view;
  bool quiet = false;  ///< only expectations that failed
};

/// Prints the record of a run as it is written.
class ConsoleView final : public IEventSink {
 public:
  /// `out` outlives it.
  ConsoleView(std::ostream& out, const ConsoleOptions& options);
  ~ConsoleView() override;

  void on_event(const Event& event) override;
  void on_end(std::chrono::nanoseconds time) override;

 private:
  class Clock;
  struct Printer;

  void show_failure(const ExpectationChecked& checked);
  void finish_held();

  const ConsoleOptions options_;
  const std::shared_ptr<Clock> clock_;  // shows the time of the event at hand
  RunView view_;
  std::string held_;       // subjects of expectations that held, not yet shown
  std::string last_held_;  // the last of them
};

}  // namespace vantrel_can_bridge::workbench
