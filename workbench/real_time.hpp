#pragma once

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "workbench/scheduler.hpp"
#include "workbench/thread_hooks.hpp"

namespace vantrel_can_bridge::workbench {

/// The machine's clock, and threads that run as the machine lets them. Threads that lock
/// each other out hang, as they would on the robot.
///
/// The destructor waits for every thread to end.
class RealTime final : public IScheduler, private IThreadHooks {
 public:
  /// `while_waiting` is called now and then by threads that sleep or join, from several at
  /// once; empty for nothing.
  explicit RealTime(std::function<void(std::chrono::nanoseconds now)> while_waiting = {});
  RealTime(const RealTime&) = delete;
  RealTime& operator=(const RealTime&) = delete;
  ~RealTime() override;

  [[nodiscard]] std::chrono::nanoseconds now() const override;
  void sleep_until(std::chrono::nanoseconds time) override;
  ThreadId start(std::string name, std::function<void()> body) override;
  bool join_until(ThreadId thread, std::chrono::nanoseconds deadline) override;
  [[nodiscard]] bool has_ended(ThreadId thread) const override;
  [[nodiscard]] std::string current_thread() const override;
  void interrupt() noexcept override { interrupted_ = true; }
  [[nodiscard]] bool interrupted() const noexcept override { return interrupted_; }
  [[nodiscard]] std::string error() const override { return {}; }
  void observe_waits(IWaitObserver* observer) override { observer_ = observer; }

 private:
  struct Thread {
    std::thread handle;              // of none for "main"; set once, by `start`
    std::atomic<bool> ended{false};  // atomic: set by the thread itself, read by any
  };

  // The hooks of the run's threads.
  void sleep(std::chrono::nanoseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic_now() const override;
  int lock(pthread_mutex_t* mutex) override { return system_call::lock(mutex); }
  int try_lock(pthread_mutex_t* mutex) override { return system_call::try_lock(mutex); }
  int unlock(pthread_mutex_t* mutex) override { return system_call::unlock(mutex); }

  [[nodiscard]] Thread& find(ThreadId thread) const;

  void look_around() const;

  const std::chrono::nanoseconds start_;  // fixed at construction, as is:
  const std::function<void(std::chrono::nanoseconds)> while_waiting_;
  IWaitObserver* observer_ = nullptr;     // fixed before threads are started
  std::atomic<bool> interrupted_{false};  // atomic: set by any thread or a signal handler

  mutable std::mutex mutex_;            // leaf; guards the list, not its entries
  mutable std::deque<Thread> threads_;  // by id; references stay good; guarded by mutex_

  std::unique_ptr<ScopedThreadHooks> main_hooks_;  // set by the constructor alone
};

}  // namespace vantrel_can_bridge::workbench
