#pragma once

#include <atomic>
#include <chrono>

#include "workbench/clock.hpp"

namespace vantrel_can_bridge::workbench::test {

/// Stands still unless it is moved. Any thread.
class ManualClock final : public IClock {
 public:
  [[nodiscard]] TimePoint now() override { return TimePoint(std::chrono::nanoseconds(now_)); }

  void advance(std::chrono::nanoseconds duration) { now_ += duration.count(); }

 private:
  std::atomic<std::chrono::nanoseconds::rep> now_{1'000'000'000'000};
};

}  // namespace vantrel_can_bridge::workbench::test
