#include "tests/support/mutex_watch.hpp"

#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <functional>

namespace vantrel_can_bridge::test {
namespace {

std::atomic<const MutexWatch*> current{nullptr};  // NOLINT: the replaced functions look here

/// The watch to tell of a lock of `mutex`, if any.
const MutexWatch* watch_of(const pthread_mutex_t* mutex) {
  const MutexWatch* watch = current;
  return watch != nullptr && watch->covers(mutex) ? watch : nullptr;
}

using MutexFunction = int (*)(pthread_mutex_t*);

MutexFunction next(const char* name) {
  return reinterpret_cast<MutexFunction>(dlsym(RTLD_NEXT, name));
}

int system_lock(pthread_mutex_t* mutex) {
  static const MutexFunction function = next("pthread_mutex_lock");
  return function(mutex);
}

int system_try_lock(pthread_mutex_t* mutex) {
  static const MutexFunction function = next("pthread_mutex_trylock");
  return function(mutex);
}

}  // namespace

MutexWatch::MutexWatch(const void* begin, std::size_t size)
    : begin_(static_cast<const char*>(begin)), size_(size) {
  current = this;
}

MutexWatch::~MutexWatch() { current = nullptr; }

bool MutexWatch::covers(const void* mutex) const {
  const std::less<const void*> before;
  return !before(mutex, begin_) && before(mutex, begin_ + size_);
}

}  // namespace vantrel_can_bridge::test

// The C library's own names: defined in the executable, they serve every caller in the
// process; what they replace is the next definition in line.

using vantrel_can_bridge::test::MutexWatch;
using vantrel_can_bridge::test::system_lock;
using vantrel_can_bridge::test::system_try_lock;
using vantrel_can_bridge::test::watch_of;

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  const MutexWatch* watch = watch_of(mutex);
  if (watch == nullptr) {
    return system_lock(mutex);
  }
  if (const int error = watch->before_lock(); error != 0) {
    return error;
  }
  if (system_try_lock(mutex) == 0) {
    return 0;
  }
  watch->contended();
  return system_lock(mutex);
}

extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  const MutexWatch* watch = watch_of(mutex);
  if (watch != nullptr) {
    if (const int error = watch->before_try_lock(); error != 0) {
      return error;
    }
  }
  return system_try_lock(mutex);
}
