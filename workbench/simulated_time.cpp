#include "workbench/simulated_time.hpp"

#include <algorithm>
#include <cerrno>
#include <functional>
#include <utility>

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// What the monotonic clock reads when the run begins: any value but 0, which code may take
/// for "never".
constexpr nanoseconds kClockAtStart = std::chrono::seconds(1'000);

/// Of a thread that goes on only when another lets it.
constexpr nanoseconds kNever = nanoseconds::max();

/// When the clock would overflow: the latest time for which a thread can sleep.
constexpr nanoseconds kEnd = nanoseconds::max() - kClockAtStart;

nanoseconds later(nanoseconds time, nanoseconds duration) {
  return duration > kEnd - time ? kEnd : time + duration;
}

void take(sem_t& semaphore) {
  while (sem_wait(&semaphore) != 0 && errno == EINTR) {
  }
}

}  // namespace

SimulatedTime::SimulatedTime() {
  add_thread("main");
  main_hooks_ = std::make_unique<ScopedThreadHooks>(static_cast<IThreadHooks&>(*this));
}

SimulatedTime::~SimulatedTime() {
  for (ThreadId thread = 1; thread < threads_.size(); ++thread) {
    join(thread);
  }
  main_hooks_.reset();
  for (Thread& thread : threads_) {
    if (thread.handle.joinable()) {
      thread.handle.join();
    }
    sem_destroy(&thread.turn);
  }
}

void SimulatedTime::sleep_until(nanoseconds time) {
  if (time > now_ && !interrupted_) {
    wait(State::CanGoOn, std::min(time, kEnd));
  }
}

IScheduler::ThreadId SimulatedTime::start(std::string name, std::function<void()> body) {
  Thread& thread = add_thread(std::move(name));
  const ThreadId id = threads_.size() - 1;
  wake(thread);
  thread.handle = std::thread(&SimulatedTime::run, this, id, std::ref(thread), std::move(body));
  wait(State::CanGoOn, now_);
  return id;
}

void SimulatedTime::run(ThreadId self, Thread& thread, std::function<void()> body) {
  take(thread.turn);
  {
    const ScopedThreadHooks hooks(*this);
    body();
    body = nullptr;  // what it holds goes in this thread's turn, too
  }
  for (Thread& other : threads_) {
    if (other.state == State::WaitsForThread && other.awaited_thread == self) {
      wake(other);
    }
  }
  thread.state = State::Ended;
  running_ = next_thread();
  sem_post(&threads_[running_].turn);
}

bool SimulatedTime::join_until(ThreadId thread, nanoseconds deadline) {
  if (!has_ended(thread) && now_ < deadline) {
    threads_[running_].awaited_thread = thread;
    wait(State::WaitsForThread, deadline);
  }
  return has_ended(thread);
}

bool SimulatedTime::has_ended(ThreadId thread) const {
  return threads_[thread].state == State::Ended;
}

std::string SimulatedTime::current_thread() const { return threads_[running_].name; }

// --- Hooks ---

void SimulatedTime::sleep(nanoseconds duration) {
  if (observer_ != nullptr) {
    observer_->wait_begun(duration);
  }
  sleep_until(later(now_, duration));
  if (observer_ != nullptr) {
    observer_->wait_ended();
  }
}

nanoseconds SimulatedTime::monotonic_now() const { return kClockAtStart + now_; }

int SimulatedTime::lock(pthread_mutex_t* mutex) {
  int error = try_lock(mutex);
  while (error == EBUSY) {
    if (owners_.count(mutex) == 0) {
      return system_call::lock(mutex);  // a thread outside the run has it, and gives it back
    }
    Thread& self = threads_[running_];
    self.awaited_mutex = mutex;
    wait(State::WaitsForMutex, kNever);
    if (std::exchange(self.is_refused, false)) {
      return EDEADLK;
    }
    error = try_lock(mutex);
  }
  return error;
}

int SimulatedTime::try_lock(pthread_mutex_t* mutex) {
  const int error = system_call::try_lock(mutex);
  if (error == 0) {
    Owner& owner = owners_[mutex];
    owner.thread = running_;
    ++owner.depth;
  }
  return error;
}

int SimulatedTime::unlock(pthread_mutex_t* mutex) {
  const auto owner = owners_.find(mutex);
  if (owner != owners_.end() && --owner->second.depth == 0) {
    owners_.erase(owner);
    for (Thread& thread : threads_) {
      if (thread.state == State::WaitsForMutex && thread.awaited_mutex == mutex) {
        wake(thread);
      }
    }
  }
  return system_call::unlock(mutex);
}

// --- Turns ---

SimulatedTime::Thread& SimulatedTime::add_thread(std::string name) {
  Thread& thread = threads_.emplace_back();
  thread.name = std::move(name);
  sem_init(&thread.turn, 0, 0);
  return thread;
}

/// Gives the turn away and returns once the calling thread has it again.
void SimulatedTime::wait(State state, nanoseconds time) {
  const ThreadId self = running_;
  Thread& thread = threads_[self];
  thread.state = state;
  thread.time = time;
  thread.since = next_since_++;
  running_ = next_thread();
  if (running_ != self) {
    sem_post(&threads_[running_].turn);
    take(thread.turn);
  }
}

void SimulatedTime::wake(Thread& thread) {
  thread.state = State::CanGoOn;
  thread.time = now_;
  thread.since = next_since_++;
}

/// The thread whose turn it is, with the clock moved to where it can go on.
IScheduler::ThreadId SimulatedTime::next_thread() {
  constexpr ThreadId kNone = static_cast<ThreadId>(-1);
  ThreadId next = kNone;
  for (ThreadId id = 0; id < threads_.size(); ++id) {
    const Thread& thread = threads_[id];
    if (thread.state != State::Ended && thread.time != kNever &&
        (next == kNone || std::pair(thread.time, thread.since) <
                              std::pair(threads_[next].time, threads_[next].since))) {
      next = id;
    }
  }
  if (next == kNone) {
    next = refuse_longest_waiting();
  }
  now_ = std::max(now_, threads_[next].time);
  return next;
}

IScheduler::ThreadId SimulatedTime::refuse_longest_waiting() {
  if (error_.empty()) {
    error_ = describe_deadlock();
  }
  // Mutexes first: a thread that is waited for may end by itself once one is given back.
  for (const State state : {State::WaitsForMutex, State::WaitsForThread}) {
    Thread* longest = nullptr;
    for (Thread& thread : threads_) {
      if (thread.state == state && (longest == nullptr || thread.since < longest->since)) {
        longest = &thread;
      }
    }
    if (longest != nullptr) {
      longest->is_refused = state == State::WaitsForMutex;
      wake(*longest);
      break;
    }
  }
  return next_thread();
}

std::string SimulatedTime::describe_deadlock() const {
  std::string text = "deadlock:";
  const char* separator = " ";
  for (const Thread& thread : threads_) {
    if (thread.state == State::Ended) {
      continue;
    }
    text += std::exchange(separator, ", ") + thread.name + " waits for ";
    if (thread.state == State::WaitsForThread) {
      text += threads_[thread.awaited_thread].name + " to end";
    } else {
      text += "a mutex of " + threads_[owners_.at(thread.awaited_mutex).thread].name;
    }
  }
  return text;
}

}  // namespace vantrel_can_bridge::workbench
