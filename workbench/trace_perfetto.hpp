#pragma once

#include <memory>
#include <ostream>

#include "workbench/event.hpp"

namespace vantrel_can_bridge::workbench {

/// Writes the record of a run in the Chrome trace-event format, for ui.perfetto.dev.
///
/// A process "requests" holds the steps of the scenario, the emergency stop, and each thread
/// of the run: requests and recoveries as slices, waits within them, log lines as instants.
/// Each board is a process and each of its devices a thread: operations as slices, with a
/// flow arrow from their request, faults as instants, and what the device does (duty, rpm,
/// position) as counters. docs/traces.md shows how to open it.
///
/// A viewer takes events of one time in the order of the file, and a slice has to come before
/// what lies within it although its end is known last. So what follows an open slice waits
/// for its end: memory grows with what happens during the longest request.
class TracePerfetto final : public IEventSink {
 public:
  /// `out` outlives it; that writing failed is seen there.
  explicit TracePerfetto(std::ostream& out);
  TracePerfetto(const TracePerfetto&) = delete;
  TracePerfetto& operator=(const TracePerfetto&) = delete;
  ~TracePerfetto() override;

  void on_event(const Event& event) override;
  void on_end(std::chrono::nanoseconds time) override;

 private:
  class Writer;
  struct Handler;

  const std::unique_ptr<Writer> writer_;
};

}  // namespace vantrel_can_bridge::workbench
