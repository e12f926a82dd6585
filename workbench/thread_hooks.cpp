#include "workbench/thread_hooks.hpp"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

thread_local IThreadHooks* current_hooks = nullptr;  // NOLINT: where the C functions look

constexpr std::int64_t kSecond = 1'000'000'000;

bool is_duration(const timespec& time) {
  return time.tv_sec >= 0 && time.tv_nsec >= 0 && time.tv_nsec < kSecond;
}

/// A time beyond the range becomes its end, 292 years.
nanoseconds to_nanoseconds(const timespec& time) {
  constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
  return nanoseconds(time.tv_sec >= kEnd / kSecond ? kEnd : time.tv_sec * kSecond + time.tv_nsec);
}

timespec to_timespec(nanoseconds time) {
  return {static_cast<std::time_t>(time.count() / kSecond),
          static_cast<long>(time.count() % kSecond)};
}

/// The definition that would have been used had this program none of its own: a sanitizer's,
/// else the C library's. Looked up at the first call, which may come before any constructor
/// has run: hence no static local, and no harm in two look-ups.
template <typename Function>
class Next {
 public:
  constexpr explicit Next(const char* name) : name_(name) {}

  template <typename... Arguments>
  int operator()(Arguments... arguments) {
    Function* function = found_.load(std::memory_order_relaxed);
    if (function == nullptr) {
      function = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name_));
      found_.store(function, std::memory_order_relaxed);
    }
    return function(arguments...);
  }

 private:
  const char* const name_;
  std::atomic<Function*> found_{nullptr};
};

using MutexFunction = int(pthread_mutex_t*);

// NOLINTBEGIN: look-ups that are kept
Next<MutexFunction> next_lock("pthread_mutex_lock");
Next<MutexFunction> next_try_lock("pthread_mutex_trylock");
Next<MutexFunction> next_unlock("pthread_mutex_unlock");
Next<int(const timespec*, timespec*)> next_nanosleep("nanosleep");
Next<int(clockid_t, int, const timespec*, timespec*)> next_clock_nanosleep("clock_nanosleep");
// NOLINTEND

}  // namespace

ScopedThreadHooks::ScopedThreadHooks(IThreadHooks& hooks)
    : before_(std::exchange(current_hooks, &hooks)) {}

ScopedThreadHooks::~ScopedThreadHooks() { current_hooks = before_; }

namespace system_call {

void sleep(nanoseconds duration) {
  timespec remaining = to_timespec(duration);
  while (next_nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
  }
}

nanoseconds monotonic_now() {
  timespec now{};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
  return to_nanoseconds(now);
}

int lock(pthread_mutex_t* mutex) { return next_lock(mutex); }
int try_lock(pthread_mutex_t* mutex) { return next_try_lock(mutex); }
int unlock(pthread_mutex_t* mutex) { return next_unlock(mutex); }

}  // namespace system_call

}  // namespace vantrel_can_bridge::workbench

// The C library's own names: defined in the program they serve every caller in the process,
// the standard library's clock and mutexes included.

using namespace vantrel_can_bridge::workbench;  // NOLINT: below are C functions alone

extern "C" int nanosleep(const timespec* duration, timespec* remaining) {
  if (current_hooks == nullptr) {
    return next_nanosleep(duration, remaining);
  }
  if (!is_duration(*duration)) {
    errno = EINVAL;
    return -1;
  }
  current_hooks->sleep(to_nanoseconds(*duration));
  return 0;
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* request,
                               timespec* remaining) {
  if (current_hooks == nullptr || clock != CLOCK_MONOTONIC) {
    return next_clock_nanosleep(clock, flags, request, remaining);
  }
  if (!is_duration(*request)) {
    return EINVAL;
  }
  const nanoseconds time = to_nanoseconds(*request);
  const bool is_absolute = (flags & TIMER_ABSTIME) != 0;
  const nanoseconds duration = is_absolute ? time - current_hooks->monotonic_now() : time;
  if (duration.count() > 0) {
    current_hooks->sleep(duration);
  }
  return 0;
}

// Asks the kernel itself: it is called too early, and too often by sanitizers at work, for
// a look-up.
extern "C" int clock_gettime(clockid_t clock, timespec* now) {
  if (current_hooks == nullptr || clock != CLOCK_MONOTONIC) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  }
  *now = to_timespec(current_hooks->monotonic_now());
  return 0;
}

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
  return current_hooks == nullptr ? next_lock(mutex) : current_hooks->lock(mutex);
}

extern "C" int pthread_mutex_trylock(pthread_mutex_t* mutex) {
  return current_hooks == nullptr ? next_try_lock(mutex) : current_hooks->try_lock(mutex);
}

extern "C" int pthread_mutex_unlock(pthread_mutex_t* mutex) {
  return current_hooks == nullptr ? next_unlock(mutex) : current_hooks->unlock(mutex);
}
