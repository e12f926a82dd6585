#pragma once

#include <semaphore.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>

#include "workbench/scheduler.hpp"
#include "workbench/thread_hooks.hpp"

namespace vantrel_can_bridge::workbench {

/// Real threads that take turns, on a clock that moves only while all of them sleep: what
/// they do, and when, is the same in every run on every machine, and minutes take as long
/// as the work in them.
///
/// One thread at a time runs. It goes on until it sleeps, ends, joins another or finds a
/// mutex taken; the turn then goes to the thread that can go on earliest, among equals to
/// the one that has been waiting longest. A thread that starts another gives it the turn and
/// waits as if it had found a mutex taken.
///
/// Where no thread can go on, the one that has been waiting longest for a mutex is refused
/// it (EDEADLK, which `std::mutex` throws as `std::system_error`), so that the run can
/// end, and `error` says who was waiting for what.
///
/// The destructor lets every thread run to its end.
class SimulatedTime final : public IScheduler, private IThreadHooks {
 public:
  SimulatedTime();
  SimulatedTime(const SimulatedTime&) = delete;
  SimulatedTime& operator=(const SimulatedTime&) = delete;
  ~SimulatedTime() override;

  [[nodiscard]] std::chrono::nanoseconds now() const override { return now_; }
  void sleep_until(std::chrono::nanoseconds time) override;
  ThreadId start(std::string name, std::function<void()> body) override;
  /// A thread that waits for one that waits for it is let go, and `error` says so.
  bool join_until(ThreadId thread, std::chrono::nanoseconds deadline) override;
  [[nodiscard]] bool has_ended(ThreadId thread) const override;
  [[nodiscard]] std::string current_thread() const override;
  void interrupt() noexcept override { interrupted_ = true; }
  [[nodiscard]] bool interrupted() const noexcept override { return interrupted_; }
  [[nodiscard]] std::string error() const override { return error_; }
  void observe_waits(IWaitObserver* observer) override { observer_ = observer; }

 private:
  enum class State { CanGoOn, WaitsForMutex, WaitsForThread, Ended };

  struct Thread {
    std::string name;
    std::thread handle;  // of none for "main"
    sem_t turn{};        // posted when the thread gets the turn
    State state = State::CanGoOn;
    std::chrono::nanoseconds time{0};  // when it can go on, or waits no longer
    std::uint64_t since = 0;           // order in which the waiting threads began to
    pthread_mutex_t* awaited_mutex = nullptr;
    ThreadId awaited_thread = 0;
    bool is_refused = false;  // woken though what it waits for has not come
  };

  struct Owner {
    ThreadId thread = 0;
    std::uint64_t depth = 0;  // of a recursive mutex
  };

  // The hooks of the run's threads.
  void sleep(std::chrono::nanoseconds duration) override;
  [[nodiscard]] std::chrono::nanoseconds monotonic_now() const override;
  int lock(pthread_mutex_t* mutex) override;
  int try_lock(pthread_mutex_t* mutex) override;
  int unlock(pthread_mutex_t* mutex) override;

  void run(ThreadId self, Thread& thread, std::function<void()> body);
  Thread& add_thread(std::string name);
  void wait(State state, std::chrono::nanoseconds time);
  void wake(Thread& thread);
  [[nodiscard]] ThreadId next_thread();
  [[nodiscard]] ThreadId refuse_longest_waiting();
  [[nodiscard]] std::string describe_deadlock() const;

  // All of it belongs to the thread that has the turn; the semaphores hand it on.
  std::deque<Thread> threads_;  // by id; references stay good
  ThreadId running_ = 0;
  std::chrono::nanoseconds now_{0};
  std::uint64_t next_since_ = 0;
  std::map<pthread_mutex_t*, Owner> owners_;  // of mutexes that the run's threads hold
  std::string error_;
  IWaitObserver* observer_ = nullptr;

  std::atomic<bool> interrupted_{false};  // atomic: set by any thread or a signal handler

  std::unique_ptr<ScopedThreadHooks> main_hooks_;  // set by the constructor alone
};

}  // namespace vantrel_can_bridge::workbench
