#pragma once

#include "workbench/scheduler.hpp"

namespace vantrel_can_bridge::workbench {

/// While one exists, Ctrl-C and a request to terminate interrupt a run instead of ending the
/// program; a second one ends it. One at a time.
class InterruptOnSignal {
 public:
  InterruptOnSignal();
  InterruptOnSignal(const InterruptOnSignal&) = delete;
  InterruptOnSignal& operator=(const InterruptOnSignal&) = delete;
  ~InterruptOnSignal();

  /// From now on it is the run of `scheduler`, at once where the signal has come already;
  /// null for no run, before the scheduler goes.
  void pass_to(IScheduler* scheduler);

  [[nodiscard]] bool has_come() const;
};

}  // namespace vantrel_can_bridge::workbench
