#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

namespace vantrel_can_bridge::workbench {

/// Is told of the sleeps of the code under test, on the thread that sleeps. Must not throw;
/// may start threads.
class IWaitObserver {
 public:
  virtual ~IWaitObserver() = default;

  virtual void wait_begun(std::chrono::nanoseconds duration) = 0;
  virtual void wait_ended() = 0;

 protected:
  IWaitObserver() = default;
  IWaitObserver(const IWaitObserver&) = default;
  IWaitObserver& operator=(const IWaitObserver&) = default;
};

/// Time and threads of one run. The thread that constructs it becomes the run's first
/// thread, "main", and destroys it too; while it exists no other one is constructed on that
/// thread. All members but `interrupt` belong to the threads of the run.
///
/// Code that runs on these threads needs to know nothing of it: it calls `nanosleep`, reads
/// the steady clock and locks mutexes as everywhere.
class IScheduler {
 public:
  using ThreadId = std::size_t;

  virtual ~IScheduler() = default;

  /// Since construction.
  [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;

  /// Blocks the calling thread; returns at once for a time that has passed, and early once
  /// the run is interrupted. No wait of the code under test: the observer is not told.
  virtual void sleep_until(std::chrono::nanoseconds time) = 0;

  /// Runs `body`, which must not throw, on a thread of its own.
  virtual ThreadId start(std::string name, std::function<void()> body) = 0;

  /// Waits until `thread` has ended, or until `deadline`; returns whether it has ended.
  virtual bool join_until(ThreadId thread, std::chrono::nanoseconds deadline) = 0;
  void join(ThreadId thread) { join_until(thread, std::chrono::nanoseconds::max()); }
  [[nodiscard]] virtual bool has_ended(ThreadId thread) const = 0;

  /// Name of the calling thread.
  [[nodiscard]] virtual std::string current_thread() const = 0;

  /// Ends all sleeps from now on, so that the run can be wound up. Any thread, also within
  /// a signal handler.
  virtual void interrupt() noexcept = 0;
  [[nodiscard]] virtual bool interrupted() const noexcept = 0;

  /// What has gone wrong with the threads themselves; empty while nothing has.
  [[nodiscard]] virtual std::string error() const = 0;

  /// From here on; null for nobody. Only while "main" is the only thread.
  virtual void observe_waits(IWaitObserver* observer) = 0;

 protected:
  IScheduler() = default;
  IScheduler(const IScheduler&) = default;
  IScheduler& operator=(const IScheduler&) = default;
};

}  // namespace vantrel_can_bridge::workbench
