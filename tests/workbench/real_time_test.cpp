#include "workbench/real_time.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vantrel_can_bridge::workbench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

TEST(RealTime, SleepsOnTheMachinesClock) {
  const auto before = system_call::monotonic_now();
  RealTime time;
  std::this_thread::sleep_for(3ms);
  time.sleep_until(6ms);
  EXPECT_GE(time.now(), 6ms);
  EXPECT_GE(system_call::monotonic_now() - before, 6ms);
}

TEST(RealTime, ThreadsRunSideBySide) {
  RealTime time;
  std::atomic<bool> met{false};
  std::string name;
  const auto worker = time.start("worker", [&] {
    name = time.current_thread();
    while (!met) {
      std::this_thread::yield();
    }
  });
  EXPECT_FALSE(time.has_ended(worker));
  met = true;
  time.join(worker);
  EXPECT_TRUE(time.has_ended(worker));
  EXPECT_EQ(name, "worker");
  EXPECT_EQ(time.current_thread(), "main");
}

TEST(RealTime, LooksAroundWhileItWaits) {
  std::atomic<int> looks{0};
  std::atomic<bool> is_late{false};
  RealTime time([&](nanoseconds now) { ++looks, is_late = now >= 2ms; });
  time.sleep_until(2ms);
  EXPECT_GE(looks, 1);
  EXPECT_TRUE(is_late);
  const auto worker = time.start("worker", [&] {
    for (const int before = looks; looks == before;) {
      std::this_thread::yield();
    }
  });
  EXPECT_TRUE(time.join_until(worker, 10h));
}

TEST(RealTime, JoinGivesUpAtItsDeadline) {
  RealTime time;
  const auto worker = time.start("worker", [&] { time.sleep_until(10h); });
  EXPECT_FALSE(time.join_until(worker, time.now() + 2ms));
  time.interrupt();
  EXPECT_TRUE(time.join_until(worker, 10h));
}

TEST(RealTime, MutexesHoldThreadsOff) {
  RealTime time;
  std::mutex mutex;
  int count = 0;
  std::vector<IScheduler::ThreadId> workers;
  for (int number = 0; number < 3; ++number) {
    workers.push_back(time.start("worker", [&] {
      for (int round = 0; round < 1'000; ++round) {
        const std::lock_guard<std::mutex> lock(mutex);
        ++count;
      }
    }));
  }
  for (const auto worker : workers) {
    time.join(worker);
  }
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
  EXPECT_EQ(count, 3'000);
}

TEST(RealTime, InterruptEndsARunningSleep) {
  RealTime time;
  std::atomic<bool> sleeps{false};
  const auto worker = time.start("worker", [&] {
    sleeps = true;
    std::this_thread::sleep_for(10h);
  });
  while (!sleeps) {
    std::this_thread::yield();
  }
  time.interrupt();
  time.join(worker);
  time.sleep_until(10h);
  EXPECT_TRUE(time.interrupted());
}

TEST(RealTime, DestructorWaitsForThreads) {
  bool ended = false;
  {
    RealTime time;
    time.start("worker", [&] {
      std::this_thread::sleep_for(2ms);
      ended = true;
    });
  }
  EXPECT_TRUE(ended);
}

class Waits final : public IWaitObserver {
 public:
  void wait_begun(nanoseconds duration) override { begun_.push_back(duration); }
  void wait_ended() override { ++ended_; }

  std::vector<nanoseconds> begun_;
  int ended_ = 0;
};

TEST(RealTime, ObserverSeesTheWaitsOfTheCodeUnderTestAlone) {
  RealTime time;
  Waits waits;
  time.observe_waits(&waits);
  std::this_thread::sleep_for(2ms);
  time.sleep_until(4ms);
  EXPECT_THAT(waits.begun_, testing::ElementsAre(2ms));
  EXPECT_EQ(waits.ended_, 1);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
