#include "tests/interleavings/stage.hpp"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <utility>

namespace vantrel_can_bridge::test {

namespace {

const std::string kWaitsForLock = "waits for a lock";

bool begins_with(const std::string& text, const std::string& prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

thread_local Stage::Actor* Stage::self = nullptr;
thread_local bool Stage::off_stage = false;

Stage::Aside::Aside() : outer_(std::exchange(off_stage, true)) {}
Stage::Aside::~Aside() { off_stage = outer_; }

Stage::~Stage() {
  const auto playing = [](const auto& entry) { return entry.second->playing; };
  while (std::any_of(actors_.begin(), actors_.end(), playing)) {
    for (const auto& [name, actor] : actors_) {
      if (actor->playing) {
        go_on(name, std::nullopt);
      }
    }
  }
  for (const auto& [name, actor] : actors_) {
    actor->thread.join();
  }
}

void Stage::play(const std::vector<Step>& script) {
  for (const Step& step : script) {
    if (step.job) {
      begin(step.actor, step.job);
    }
    ASSERT_TRUE(is_playing(step.actor)) << step.actor << " has ended; it cannot go on";
    const std::string reached = go_on(step.actor, step.until);
    ASSERT_TRUE(begins_with(reached, step.until)) << step.actor << " should reach \"" << step.until
                                                  << "\", but came to \"" << reached << "\" after\n"
                                                  << testing::PrintToString(journal());
  }
}

std::vector<std::string> Stage::journal() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return journal_;
}

void Stage::begin(const std::string& name, Job job) {
  std::unique_ptr<Actor>& actor = actors_[name];
  if (actor) {
    ASSERT_FALSE(actor->playing) << name << " cannot begin: it is in the middle of a job";
    actor->thread.join();
  }
  actor = std::make_unique<Actor>();
  actor->stage = this;
  actor->name = name;
  actor->playing = true;
  actor->thread = std::thread([this, job = std::move(job), &part = *actor] { perform(part, job); });
}

std::string Stage::go_on(const std::string& name, std::optional<std::string> until) {
  std::unique_lock<std::mutex> lock(mutex_);
  Actor& actor = *actors_.at(name);
  actor.until = std::move(until);
  actor.may_run = true;
  actor.turn.notify_one();
  director_.wait(lock, [&actor] { return !actor.may_run; });
  return actor.last_event;
}

bool Stage::is_playing(const std::string& name) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto actor = actors_.find(name);
  return actor != actors_.end() && actor->second->playing;
}

void Stage::perform(Actor& actor, const Job& job) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    actor.turn.wait(lock, [&actor] { return actor.may_run; });
  }
  self = &actor;
  std::string end;
  try {
    end = job();
  } catch (const std::exception& error) {
    end = std::string("with exception ") + error.what();
  }
  self = nullptr;

  const std::lock_guard<std::mutex> lock(mutex_);
  record(actor, end.empty() ? "ends" : "ends " + end);
  actor.playing = false;
  actor.may_run = false;
  director_.notify_one();
}

void Stage::record(Actor& actor, const std::string& what) {
  journal_.push_back(actor.name + ": " + what);
  actor.last_event = what;
}

void Stage::hand_back(Actor& actor, std::unique_lock<std::mutex>& lock) {
  actor.may_run = false;
  director_.notify_one();
  actor.turn.wait(lock, [&actor] { return actor.may_run; });
}

void Stage::event(const std::string& what) {
  if (!is_actor()) {
    return;
  }
  const Aside aside;
  Stage& stage = *self->stage;
  std::unique_lock<std::mutex> lock(stage.mutex_);
  stage.record(*self, what);
  if (self->until && begins_with(what, *self->until)) {
    stage.hand_back(*self, lock);
  }
}

bool Stage::is_actor() { return self != nullptr && !off_stage; }

void Stage::wait_for_lock() {
  const Aside aside;
  Stage& stage = *self->stage;
  std::unique_lock<std::mutex> lock(stage.mutex_);
  if (self->last_event != kWaitsForLock) {  // one line, however often it tries
    stage.record(*self, kWaitsForLock);
  }
  stage.hand_back(*self, lock);
}

void Stage::wait(std::int64_t nanoseconds, const std::string& shown) {
  Stage& stage = *self->stage;
  const std::int64_t end = now() + nanoseconds;
  event(shown);
  const Aside aside;
  const std::lock_guard<std::mutex> lock(stage.mutex_);
  stage.now_ = std::max(stage.now_, end);  // others may have waited longer meanwhile
}

std::int64_t Stage::now() {
  const Aside aside;
  const std::lock_guard<std::mutex> lock(self->stage->mutex_);
  return self->stage->now_;
}

}  // namespace vantrel_can_bridge::test

// The C library's own names: defined in the executable, they serve every caller in the
// process, the standard library included.

using vantrel_can_bridge::test::Stage;

extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  using Lock = int (*)(pthread_mutex_t*);
  static const Lock system_lock = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
  if (!Stage::is_actor()) {
    return system_lock(mutex);
  }
  int error = pthread_mutex_trylock(mutex);
  while (error == EBUSY) {
    Stage::wait_for_lock();
    error = pthread_mutex_trylock(mutex);
  }
  if (error == 0) {
    Stage::event("takes a lock");
  }
  return error;
}

extern "C" int nanosleep(const timespec* duration, timespec* remaining) {
  if (!Stage::is_actor()) {
    return static_cast<int>(syscall(SYS_nanosleep, duration, remaining));
  }
  const std::int64_t nanoseconds = duration->tv_sec * 1'000'000'000 + duration->tv_nsec;
  Stage::wait(nanoseconds, "wait: " + std::to_string(nanoseconds / 1'000'000) + "ms");
  return 0;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  if (Stage::is_actor() && clock == CLOCK_MONOTONIC) {
    *now = {Stage::now() / 1'000'000'000, Stage::now() % 1'000'000'000};
    return 0;
  }
  return static_cast<int>(syscall(SYS_clock_gettime, clock, now));
}
