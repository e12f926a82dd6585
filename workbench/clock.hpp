#pragma once

#include <chrono>

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

}  // namespace vantrel_can_bridge::workbench
