#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "workbench/event.hpp"
#include "workbench/expectation_check.hpp"
#include "workbench/scenario.hpp"
#include "workbench/scheduler.hpp"

namespace vantrel_can_bridge::workbench {

/// How a scenario came out.
struct PlayResult {
  std::uint64_t held = 0;    ///< expectations
  std::uint64_t failed = 0;  ///< expectations
  /// Why it was not played to its end, or must not count: interrupted, out of time,
  /// deadlocked. Empty where all is well.
  std::string error;
  /// Of the boards and the run at the end, background work included.
  std::uint64_t operations = 0;
  std::uint64_t waits = 0;

  [[nodiscard]] bool is_good() const { return failed == 0 && error.empty(); }
};

/// What `play` calls beside the sink; each may be empty.
struct PlayHooks {
  std::function<void(Run&)> prepare{};                  ///< before the first step
  std::function<void(const StepRecord&)> after_step{};  ///< but not where it was interrupted
  std::function<void(Run&)> finish{};                   ///< once all work and the record have ended
  /// A step begins to wait, for at most `total` if that is known, and has ended to.
  std::function<void(std::chrono::nanoseconds now, std::optional<std::chrono::nanoseconds> total)>
      wait_begun{};
  std::function<void()> wait_ended{};
};

/// Plays `scenario` on a robot fresh from power-on, on the thread that made `scheduler`,
/// and writes the record to `sink`, its end included. A failed expectation does not end it.
/// A step that is interrupted is not checked.
[[nodiscard]] PlayResult play(const Scenario& scenario, IScheduler& scheduler, IEventSink& sink,
                              const PlayHooks& hooks = {});

}  // namespace vantrel_can_bridge::workbench
