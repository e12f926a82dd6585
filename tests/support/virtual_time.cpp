#include "tests/support/virtual_time.hpp"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <deque>
#include <limits>
#include <string>
#include <utility>

namespace vantrel_can_bridge::test {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kStart = 1'000 * kSecond;

struct State {
  Journal* journal = nullptr;
  std::int64_t now = kStart;  // nanoseconds; stops at kEnd
  std::deque<std::int64_t> interrupt_after;
  int error = 0;
  std::function<void()> on_sleep;
};

State state;                      // NOLINT: the replaced functions have nowhere else to look
std::atomic<bool> active{false};  // NOLINT: likewise

std::int64_t add(std::int64_t a, std::int64_t b) { return a > kEnd - b ? kEnd : a + b; }

std::int64_t nanoseconds(const timespec& duration) {
  const std::int64_t longest_s = (kEnd - duration.tv_nsec) / kSecond;
  return duration.tv_sec > longest_s ? kEnd : duration.tv_sec * kSecond + duration.tv_nsec;
}

std::string shown(const timespec& duration) {
  if (duration.tv_nsec % 1'000'000 != 0) {
    return std::to_string(duration.tv_sec) + "s+" + std::to_string(duration.tv_nsec) + "ns";
  }
  const std::string ms = std::to_string(duration.tv_nsec / 1'000'000);
  if (duration.tv_sec == 0) {
    return ms + "ms";
  }
  return std::to_string(duration.tv_sec) + std::string(3 - ms.size(), '0') + ms + "ms";
}

int virtual_sleep(const timespec& duration, timespec* remaining) {
  if (duration.tv_sec < 0 || duration.tv_nsec < 0 || duration.tv_nsec >= kSecond) {
    state.journal->add("wait: invalid");
    errno = EINVAL;
    return -1;
  }
  state.journal->add("wait: " + shown(duration));
  if (const int error = std::exchange(state.error, 0); error != 0) {
    errno = error;
    return -1;
  }
  if (!state.interrupt_after.empty()) {
    const std::int64_t slept = state.interrupt_after.front();
    state.interrupt_after.pop_front();
    state.now = add(state.now, slept);
    const std::int64_t rest = nanoseconds(duration) - slept;
    if (remaining != nullptr) {
      *remaining = {rest / kSecond, rest % kSecond};
    }
    errno = EINTR;
    return -1;
  }
  state.now = add(state.now, nanoseconds(duration));
  if (state.on_sleep) {
    state.on_sleep();
  }
  return 0;
}

}  // namespace

VirtualTime::VirtualTime(Journal& journal) {
  state = State{};
  state.journal = &journal;
  active = true;
}

VirtualTime::~VirtualTime() {
  active = false;
  state = State{};
}

void VirtualTime::advance(std::chrono::nanoseconds duration) {
  state.now = add(state.now, duration.count());
}

std::chrono::nanoseconds VirtualTime::elapsed() const {
  return std::chrono::nanoseconds(state.now - kStart);
}

void VirtualTime::interrupt_next_sleep_after(std::chrono::nanoseconds slept) {
  state.interrupt_after.push_back(slept.count());
}

void VirtualTime::fail_next_sleep(int error) { state.error = error; }

void VirtualTime::on_sleep(std::function<void()> callback) { state.on_sleep = std::move(callback); }

}  // namespace vantrel_can_bridge::test

// The C library's own names: defined in the executable, they serve every caller in the
// process, the standard library's clock included.

using vantrel_can_bridge::test::active;
using vantrel_can_bridge::test::kSecond;
using vantrel_can_bridge::test::state;
using vantrel_can_bridge::test::virtual_sleep;

extern "C" int nanosleep(const timespec* duration, timespec* remaining) {
  if (active) {
    return virtual_sleep(*duration, remaining);
  }
  return static_cast<int>(syscall(SYS_nanosleep, duration, remaining));
}

extern "C" int clock_nanosleep(clockid_t clock, int flags, const timespec* request,
                               timespec* remaining) {
  if (!active) {
    return syscall(SYS_clock_nanosleep, clock, flags, request, remaining) == 0 ? 0 : errno;
  }
  timespec duration = *request;
  if ((flags & TIMER_ABSTIME) != 0) {
    const std::int64_t rest = request->tv_sec * kSecond + request->tv_nsec - state.now;
    if (rest <= 0) {
      return 0;
    }
    duration = {rest / kSecond, rest % kSecond};
  }
  return virtual_sleep(duration, remaining) == 0 ? 0 : errno;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) {
  if (active && clock == CLOCK_MONOTONIC) {
    *now = {state.now / kSecond, state.now % kSecond};
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}
