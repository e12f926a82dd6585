#pragma once

#include <ostream>
#include <string>

#include "workbench/event.hpp"
#include "workbench/timeline.hpp"

namespace vantrel_can_bridge::workbench {

enum class TimelineForm {
  Page,  ///< HTML: the picture, and requests, problems and log lines as tables
  Svg,   ///< the picture alone
};

/// Draws the record of a run, for somebody who was not there. The file refers to nothing
/// outside and runs no script. It is written when the run has ended, and memory grows with
/// the record until then.
class TimelineHtml final : public IEventSink {
 public:
  /// `out` outlives it; that writing failed is seen there. `title` is the scenario's.
  TimelineHtml(std::ostream& out, TimelineForm form, std::string title);

  void on_event(const Event& event) override { builder_.add(event); }
  void on_end(std::chrono::nanoseconds time) override;

 private:
  std::ostream& out_;
  const TimelineForm form_;
  const std::string title_;
  TimelineBuilder builder_;
};

}  // namespace vantrel_can_bridge::workbench
