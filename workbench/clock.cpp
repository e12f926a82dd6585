#include "workbench/clock.hpp"

#include <algorithm>
#include <utility>

namespace vantrel_can_bridge::workbench {

PacedClock::PacedClock(std::shared_ptr<IClock> base, std::chrono::nanoseconds longest_step)
    : base_(std::move(base)),
      longest_step_(longest_step),
      base_now_(base_->now()),
      paced_now_(base_now_) {}

TimePoint PacedClock::now() {
  const std::lock_guard<std::mutex> lock(mutex_);
  const TimePoint base_before = std::exchange(base_now_, base_->now());
  paced_now_ += std::min<std::chrono::nanoseconds>(base_now_ - base_before, longest_step_);
  return paced_now_;
}

}  // namespace vantrel_can_bridge::workbench
