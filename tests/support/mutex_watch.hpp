#pragma once

#include <cstddef>
#include <functional>
#include <utility>

namespace vantrel_can_bridge::test {

/// While one exists, the test is told of each lock of a mutex that lies within one object,
/// and may make it fail. All other mutexes of the process are left alone, as are all of
/// them outside of its lifetime. Needs mutex_watch.cpp among the executable's sources.
///
/// One at a time. Say what is to happen before other threads use the object; it happens
/// on the thread that locks.
class MutexWatch {
 public:
  template <typename Object>
  explicit MutexWatch(const Object& object) : MutexWatch(&object, sizeof object) {}
  MutexWatch(const MutexWatch&) = delete;
  MutexWatch& operator=(const MutexWatch&) = delete;
  ~MutexWatch();

  /// Called before each lock that waits. Other than 0, what it returns is the outcome of
  /// the lock, which then does not take place.
  void on_lock(std::function<int()> callback) { on_lock_ = std::move(callback); }

  /// Called before each lock that is only tried; as for `on_lock`.
  void on_try_lock(std::function<int()> callback) { on_try_lock_ = std::move(callback); }

  /// Called when a thread finds the mutex taken, right before it begins to wait.
  void on_contention(std::function<void()> callback) { on_contention_ = std::move(callback); }

  // For the replaced functions.
  [[nodiscard]] bool covers(const void* mutex) const;
  [[nodiscard]] int before_lock() const { return on_lock_ ? on_lock_() : 0; }
  [[nodiscard]] int before_try_lock() const { return on_try_lock_ ? on_try_lock_() : 0; }
  void contended() const {
    if (on_contention_) {
      on_contention_();
    }
  }

 private:
  MutexWatch(const void* begin, std::size_t size);

  const char* const begin_;
  const std::size_t size_;
  std::function<int()> on_lock_;
  std::function<int()> on_try_lock_;
  std::function<void()> on_contention_;
};

}  // namespace vantrel_can_bridge::test
