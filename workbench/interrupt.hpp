#pragma once

#include <atomic>

#include "workbench/scheduler.hpp"

namespace vantrel_can_bridge::workbench {

/// While one exists, Ctrl-C and a request to terminate interrupt the run of `scheduler`
/// instead of ending the program; a second one ends it. One at a time.
class InterruptOnSignal {
 public:
  explicit InterruptOnSignal(IScheduler& scheduler);
  InterruptOnSignal(const InterruptOnSignal&) = delete;
  InterruptOnSignal& operator=(const InterruptOnSignal&) = delete;
  ~InterruptOnSignal();
};

}  // namespace vantrel_can_bridge::workbench
