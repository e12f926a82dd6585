#include "workbench/real_time.hpp"

#include <algorithm>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// How long a sleep goes on at most once the run is interrupted.
constexpr nanoseconds kSlice = std::chrono::milliseconds(20);

thread_local std::string current_name;  // NOLINT: of the run's thread that this one is

}  // namespace

RealTime::RealTime(std::function<void(nanoseconds)> while_waiting)
    : start_(system_call::monotonic_now()), while_waiting_(std::move(while_waiting)) {
  current_name = "main";
  threads_.emplace_back();
  main_hooks_ = std::make_unique<ScopedThreadHooks>(static_cast<IThreadHooks&>(*this));
}

RealTime::~RealTime() {
  main_hooks_.reset();
  for (Thread& thread : threads_) {
    if (thread.handle.joinable()) {
      thread.handle.join();
    }
  }
}

nanoseconds RealTime::now() const { return system_call::monotonic_now() - start_; }

void RealTime::sleep_until(nanoseconds time) {
  for (nanoseconds left = time - now(); left.count() > 0 && !interrupted_; left = time - now()) {
    system_call::sleep(std::min(left, kSlice));
    look_around();
  }
}

IScheduler::ThreadId RealTime::start(std::string name, std::function<void()> body) {
  const std::lock_guard<std::mutex> lock(mutex_);
  Thread& thread = threads_.emplace_back();
  thread.handle =
      std::thread([this, &thread, name = std::move(name), body = std::move(body)]() mutable {
        current_name = std::move(name);
        {
          const ScopedThreadHooks hooks(*this);
          body();
          body = nullptr;
        }
        thread.ended = true;
      });
  return threads_.size() - 1;
}

bool RealTime::join_until(ThreadId thread, nanoseconds deadline) {
  // By looking, not by joining: several threads may wait for the same one.
  while (!has_ended(thread) && now() < deadline) {
    system_call::sleep(std::chrono::milliseconds(1));
    look_around();
  }
  return has_ended(thread);
}

bool RealTime::has_ended(ThreadId thread) const { return find(thread).ended; }

std::string RealTime::current_thread() const { return current_name; }

void RealTime::sleep(nanoseconds duration) {
  if (observer_ != nullptr) {
    observer_->wait_begun(duration);
  }
  const nanoseconds before = now();
  sleep_until(duration > nanoseconds::max() - before ? nanoseconds::max() : before + duration);
  if (observer_ != nullptr) {
    observer_->wait_ended();
  }
}

nanoseconds RealTime::monotonic_now() const { return system_call::monotonic_now(); }

void RealTime::look_around() const {
  if (while_waiting_) {
    while_waiting_(now());
  }
}

RealTime::Thread& RealTime::find(ThreadId thread) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return threads_[thread];
}

}  // namespace vantrel_can_bridge::workbench
