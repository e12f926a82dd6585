#pragma once

#include <pthread.h>

#include <chrono>

/// In a program that links this, the C library's sleeps, its monotonic clock and its mutexes
/// can be taken over for chosen threads. All other threads get the C library's own.
namespace vantrel_can_bridge::workbench {

/// Stands in for the C library on the threads that install it.
class IThreadHooks {
 public:
  virtual ~IThreadHooks() = default;

  /// `nanosleep`, never interrupted.
  virtual void sleep(std::chrono::nanoseconds duration) = 0;

  /// The monotonic clock's reading.
  [[nodiscard]] virtual std::chrono::nanoseconds monotonic_now() const = 0;

  /// As `pthread_mutex_lock` and so on: 0 or an error number.
  virtual int lock(pthread_mutex_t* mutex) = 0;
  virtual int try_lock(pthread_mutex_t* mutex) = 0;
  virtual int unlock(pthread_mutex_t* mutex) = 0;

 protected:
  IThreadHooks() = default;
  IThreadHooks(const IThreadHooks&) = default;
  IThreadHooks& operator=(const IThreadHooks&) = default;
};

/// Takes the calling thread over for as long as it exists.
class ScopedThreadHooks {
 public:
  explicit ScopedThreadHooks(IThreadHooks& hooks);
  ScopedThreadHooks(const ScopedThreadHooks&) = delete;
  ScopedThreadHooks& operator=(const ScopedThreadHooks&) = delete;
  ~ScopedThreadHooks();

 private:
  IThreadHooks* const before_;  // fixed at construction
};

/// The C library's own, whatever hooks the thread has; a sanitizer still sees the calls.
namespace system_call {

/// Resumed after a signal.
void sleep(std::chrono::nanoseconds duration);
[[nodiscard]] std::chrono::nanoseconds monotonic_now();
int lock(pthread_mutex_t* mutex);
int try_lock(pthread_mutex_t* mutex);
int unlock(pthread_mutex_t* mutex);

}  // namespace system_call

}  // namespace vantrel_can_bridge::workbench
