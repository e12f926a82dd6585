#pragma once

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <ctime>

/// Every wait and every deadline of the orchestrator, on the monotonic clock: setting the
/// wall clock neither shortens nor lengthens them.
namespace vantrel_can_bridge::business_layer::bottom_compat {

/// Blocks the calling thread for `milliseconds`; not at all for 0 or less. A wait that a
/// signal interrupts goes on for the time that remains.
inline void wait_for_ms(std::int64_t milliseconds) {
  if (milliseconds <= 0) {
    return;
  }
  timespec remaining{};
  remaining.tv_sec = static_cast<std::time_t>(milliseconds / 1000);
  remaining.tv_nsec = static_cast<long>(milliseconds % 1000) * 1'000'000;
  int result = 0;
  do {
    result = nanosleep(&remaining, &remaining);
  } while (result != 0 && errno == EINTR);
}

/// A point in time, counted from its construction.
class Deadline {
 public:
  /// `milliseconds` (0 or more) from now. A deadline beyond the clock's range is never
  /// reached.
  explicit Deadline(std::int64_t milliseconds) {
    const Clock::time_point now = Clock::now();
    const auto left = std::chrono::floor<std::chrono::milliseconds>(kNever - now);
    at_ = milliseconds <= left.count() ? now + std::chrono::milliseconds(milliseconds) : kNever;
  }

  /// Whether the clock, read once, is at the deadline or past it.
  [[nodiscard]] bool reached() const {
    const Clock::time_point now = Clock::now();
    return now >= at_ && at_ != kNever;
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr Clock::time_point kNever = Clock::time_point::max();

  Clock::time_point at_;
};

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
