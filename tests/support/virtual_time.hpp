#pragma once

#include <chrono>
#include <functional>

#include "tests/support/journal.hpp"

namespace vantrel_can_bridge::test {

/// While one exists, the process's monotonic clock stands still and moves only when the
/// code under test sleeps, which returns at once, or when the test says so. Outside of it
/// the clock and the sleeps of the executable are the system's.
///
/// Each sleep is written into the journal as "wait: 200ms". One at a time; the code under
/// test runs on a single thread meanwhile. The clock starts at an arbitrary point.
class VirtualTime {
 public:
  explicit VirtualTime(Journal& journal);
  VirtualTime(const VirtualTime&) = delete;
  VirtualTime& operator=(const VirtualTime&) = delete;
  ~VirtualTime();

  /// Lets `duration` pass, as a slow gateway would.
  void advance(std::chrono::nanoseconds duration);

  /// How much has passed since construction; stops at the clock's end.
  [[nodiscard]] std::chrono::nanoseconds elapsed() const;

  /// Ends the next sleep after `slept` as a signal handler does: EINTR, rest returned. Said
  /// several times, it is for as many sleeps, one after the other.
  void interrupt_next_sleep_after(std::chrono::nanoseconds slept);

  /// Ends the next sleep at once with another error number than EINTR.
  void fail_next_sleep(int error);

  /// Called at the end of every sleep, time already moved on; may throw nothing.
  void on_sleep(std::function<void()> callback);
};

}  // namespace vantrel_can_bridge::test
