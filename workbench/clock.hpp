#pragma once

#include <chrono>
#include <memory>
#include <mutex>

namespace vantrel_can_bridge::workbench {

using TimePoint = std::chrono::steady_clock::time_point;

/// The time that simulated devices live in. May be read from several threads at once.
class IClock {
 public:
  virtual ~IClock() = default;

  /// Never earlier than any reading before it.
  [[nodiscard]] virtual TimePoint now() = 0;

 protected:
  IClock() = default;
  IClock(const IClock&) = default;
  IClock& operator=(const IClock&) = default;
};

/// The machine's monotonic clock.
class SteadyClock final : public IClock {
 public:
  [[nodiscard]] TimePoint now() override { return std::chrono::steady_clock::now(); }
};

/// Another clock, in which at most `longest_step` passes between two readings.
///
/// A program that is held up, by a busy machine or in a debugger, then finds its devices
/// only that much further on: a claw that is polled cannot jump from one end to the other
/// unseen.
class PacedClock final : public IClock {
 public:
  PacedClock(std::shared_ptr<IClock> base, std::chrono::nanoseconds longest_step);

  [[nodiscard]] TimePoint now() override;

 private:
  const std::shared_ptr<IClock> base_;  // fixed at construction, as is:
  const std::chrono::nanoseconds longest_step_;

  std::mutex mutex_;     // leaf, but for the base clock's own; guards both readings
  TimePoint base_now_;   // the last reading of `base_`; guarded by mutex_
  TimePoint paced_now_;  // the last reading handed out; guarded by mutex_
};

}  // namespace vantrel_can_bridge::workbench
