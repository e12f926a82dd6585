#include "workbench/simulated_time.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <limits>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace vantrel_can_bridge::workbench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;
using testing::ElementsAre;

/// What the threads of a run do, with the time at which they do it.
class SimulatedTimeTest : public testing::Test {
 protected:
  /// Without a lock: the threads take turns, which is what the sanitizer looks at here.
  void did(const std::string& what) {
    done_.push_back(std::to_string(time_.now() / 1ms) + " " + time_.current_thread() + " " + what);
  }

  std::vector<std::string> done_;  // outlives the threads, which end with `time_`
  SimulatedTime time_;
};

TEST_F(SimulatedTimeTest, SleepsTakeNoTimeButMoveTheSteadyClock) {
  const auto wall_before = system_call::monotonic_now();
  const auto before = std::chrono::steady_clock::now();

  std::this_thread::sleep_for(100h);

  EXPECT_EQ(std::chrono::steady_clock::now() - before, 100h);
  EXPECT_EQ(time_.now(), 100h);
  EXPECT_LT(system_call::monotonic_now() - wall_before, 10h);
}

TEST_F(SimulatedTimeTest, ClockStandsStillWhileThreadsWork) {
  const auto before = std::chrono::steady_clock::now();
  system_call::sleep(2ms);
  EXPECT_EQ(std::chrono::steady_clock::now(), before);
}

TEST_F(SimulatedTimeTest, WallClockIsTheMachines) {
  timespec wall{};
  ASSERT_EQ(clock_gettime(CLOCK_REALTIME, &wall), 0);
  EXPECT_GT(wall.tv_sec, 1'500'000'000);
}

TEST_F(SimulatedTimeTest, SleepsUntilAPointInTime) {
  timespec until{};
  ASSERT_EQ(clock_gettime(CLOCK_MONOTONIC, &until), 0);
  until.tv_sec += 3;
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr), 0);
  EXPECT_EQ(time_.now(), 3s);
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr), 0);
  EXPECT_EQ(time_.now(), 3s) << "the point has passed";
}

TEST_F(SimulatedTimeTest, RefusesWhatIsNoDuration) {
  const timespec beyond_a_second{0, 1'000'000'000};
  EXPECT_EQ(nanosleep(&beyond_a_second, nullptr), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(clock_nanosleep(CLOCK_MONOTONIC, 0, &beyond_a_second, nullptr), EINVAL);
  EXPECT_EQ(time_.now(), 0ns);
}

TEST_F(SimulatedTimeTest, StopsAtTheEndOfTheClock) {
  const timespec for_ever{std::numeric_limits<std::time_t>::max(), 0};
  ASSERT_EQ(nanosleep(&for_ever, nullptr), 0);
  ASSERT_EQ(nanosleep(&for_ever, nullptr), 0);
  const auto now = std::chrono::steady_clock::now();
  EXPECT_EQ(now.time_since_epoch(), nanoseconds::max());
}

TEST_F(SimulatedTimeTest, StartedThreadRunsFirst) {
  time_.start("worker", [&] { did("runs"); });
  did("goes on");
  EXPECT_THAT(done_, ElementsAre("0 worker runs", "0 main goes on"));
}

TEST_F(SimulatedTimeTest, ThreadsTakeTurnsByTheTimeTheyWakeAt) {
  for (const auto pause : {30ms, 10ms, 20ms}) {
    time_.start("every " + std::to_string(pause.count()), [this, pause] {
      for (int round = 0; round < 2; ++round) {
        std::this_thread::sleep_for(pause);
        did("wakes");
      }
    });
  }
  time_.sleep_until(1s);
  EXPECT_THAT(done_, ElementsAre("10 every 10 wakes", "20 every 20 wakes", "20 every 10 wakes",
                                 "30 every 30 wakes", "40 every 20 wakes", "60 every 30 wakes"));
}

TEST_F(SimulatedTimeTest, AmongEqualsTheOneThatFellAsleepFirstWakesFirst) {
  time_.start("first", [&] {
    std::this_thread::sleep_for(10ms);
    did("wakes");
  });
  std::this_thread::sleep_for(10ms);
  did("wakes");
  EXPECT_THAT(done_, ElementsAre("10 first wakes", "10 main wakes"));
}

TEST_F(SimulatedTimeTest, ThreadWaitsForATakenMutexInSimulatedTime) {
  std::mutex mutex;
  const auto worker = time_.start("worker", [&] {
    const std::lock_guard<std::mutex> lock(mutex);
    std::this_thread::sleep_for(5s);
    did("unlocks");
  });
  {
    const std::lock_guard<std::mutex> lock(mutex);
    did("has it");
  }
  EXPECT_TRUE(time_.has_ended(worker));
  EXPECT_THAT(done_, ElementsAre("5000 worker unlocks", "5000 main has it"));
}

TEST_F(SimulatedTimeTest, WaitersGetTheMutexInTheirOrder) {
  std::mutex mutex;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const char* name : {"first", "second", "third"}) {
      time_.start(name, [&] {
        const std::lock_guard<std::mutex> inner(mutex);
        did("has it");
        std::this_thread::sleep_for(1ms);
      });
    }
  }
  time_.sleep_until(1s);
  EXPECT_THAT(done_, ElementsAre("0 first has it", "1 second has it", "2 third has it"));
}

TEST_F(SimulatedTimeTest, TryingATakenMutexDoesNotWait) {
  std::mutex mutex;
  time_.start("worker", [&] {
    const std::lock_guard<std::mutex> lock(mutex);
    std::this_thread::sleep_for(5s);
  });
  EXPECT_FALSE(mutex.try_lock());
  EXPECT_EQ(time_.now(), 0ns);
  time_.sleep_until(6s);
  EXPECT_TRUE(mutex.try_lock());
  mutex.unlock();
}

TEST_F(SimulatedTimeTest, MutexTakenByTryingHoldsOthersOff) {
  std::mutex mutex;
  ASSERT_TRUE(mutex.try_lock());
  time_.start("worker", [&] {
    const std::lock_guard<std::mutex> lock(mutex);
    did("has it");
  });
  std::this_thread::sleep_for(7ms);
  mutex.unlock();
  time_.sleep_until(8ms);
  EXPECT_THAT(done_, ElementsAre("7 worker has it"));
}

TEST_F(SimulatedTimeTest, RecursiveMutexIsFreeAfterTheLastUnlock) {
  std::recursive_mutex mutex;
  mutex.lock();
  mutex.lock();
  time_.start("worker", [&] {
    const std::lock_guard<std::recursive_mutex> lock(mutex);
    did("has it");
  });
  mutex.unlock();
  std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(done_.empty());
  mutex.unlock();
  std::this_thread::sleep_for(1ms);
  EXPECT_THAT(done_, ElementsAre("1 worker has it"));
}

TEST_F(SimulatedTimeTest, MutexOfAThreadOutsideTheRunIsWaitedFor) {
  std::mutex mutex;
  std::atomic<bool> taken{false};
  std::thread outsider([&] {  // by the machine's means: not a thread of the run
    const std::lock_guard<std::mutex> lock(mutex);
    taken = true;
    system_call::sleep(5ms);
  });
  while (!taken) {
    system_call::sleep(1ms);
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    EXPECT_EQ(time_.now(), 0ns);
  }
  EXPECT_EQ(time_.error(), "");
  outsider.join();
}

TEST_F(SimulatedTimeTest, JoinWaitsForTheEnd) {
  const auto worker = time_.start("worker", [&] {
    std::this_thread::sleep_for(2s);
    did("ends");
  });
  EXPECT_FALSE(time_.has_ended(worker));
  time_.join(worker);
  EXPECT_TRUE(time_.has_ended(worker));
  time_.join(worker);
  did("goes on");
  EXPECT_THAT(done_, ElementsAre("2000 worker ends", "2000 main goes on"));
}

TEST_F(SimulatedTimeTest, JoinGivesUpAtItsDeadline) {
  const auto worker = time_.start("worker", [] { std::this_thread::sleep_for(2s); });
  EXPECT_FALSE(time_.join_until(worker, 1s));
  EXPECT_EQ(time_.now(), 1s);
  EXPECT_TRUE(time_.join_until(worker, 3s));
  EXPECT_EQ(time_.now(), 2s);
}

TEST(SimulatedTime, DestructorLetsThreadsRunToTheirEnd) {
  bool ended = false;
  {
    SimulatedTime time;
    time.start("worker", [&] {
      std::this_thread::sleep_for(10h);
      ended = true;
    });
  }
  EXPECT_TRUE(ended);
}

TEST(SimulatedTime, GivesTheThreadBackToTheMachine) {
  const auto before = std::chrono::steady_clock::now();
  {
    const SimulatedTime time;
    std::this_thread::sleep_for(100h);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - before, 10h);
}

TEST_F(SimulatedTimeTest, RefusesAMutexWhereNobodyCanGoOn) {
  std::mutex a;
  std::mutex b;
  const auto worker = time_.start("worker", [&] {
    const std::lock_guard<std::mutex> lock_b(b);
    std::this_thread::sleep_for(1ms);
    try {
      const std::lock_guard<std::mutex> lock_a(a);
    } catch (const std::system_error& error) {
      did(error.code() == std::errc::resource_deadlock_would_occur ? "is refused" : "?");
    }
  });
  {
    const std::lock_guard<std::mutex> lock_a(a);
    std::this_thread::sleep_for(2ms);
    const std::lock_guard<std::mutex> lock_b(b);
    did("has both");
  }
  time_.join(worker);
  EXPECT_THAT(done_, ElementsAre("2 worker is refused", "2 main has both"));
  EXPECT_EQ(time_.error(),
            "deadlock: main waits for a mutex of worker, worker waits for a mutex of main");
}

TEST_F(SimulatedTimeTest, MutexThatTheThreadItselfHoldsIsADeadlock) {
  std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  EXPECT_EQ(pthread_mutex_lock(mutex.native_handle()), EDEADLK);
  EXPECT_EQ(time_.error(), "deadlock: main waits for a mutex of main");
}

TEST_F(SimulatedTimeTest, ThreadsThatWaitForEachOtherAreLetGo) {
  const auto worker = time_.start("worker", [&] {
    std::this_thread::sleep_for(1ms);
    time_.join(0);
    did("goes on");
  });
  time_.join(worker);
  EXPECT_EQ(time_.error(), "deadlock: main waits for worker to end, worker waits for main to end");
}

TEST_F(SimulatedTimeTest, ASleepForEverEndsWithTheClocksRange) {
  time_.sleep_until(std::chrono::nanoseconds::max());
  EXPECT_EQ(time_.error(), "");
  EXPECT_GT(time_.now(), 1'000'000h);
  EXPECT_GT(std::chrono::steady_clock::now().time_since_epoch().count(), 0) << "no overflow";
}

TEST_F(SimulatedTimeTest, InterruptEndsSleepsAtOnce) {
  time_.interrupt();
  std::this_thread::sleep_for(5s);
  time_.sleep_until(9s);
  EXPECT_TRUE(time_.interrupted());
  EXPECT_EQ(time_.now(), 0ns);
}

class Waits final : public IWaitObserver {
 public:
  explicit Waits(SimulatedTime& time) : time_(time) {}
  void wait_begun(nanoseconds duration) override {
    seen_.push_back(time_.current_thread() + " begins " + std::to_string(duration / 1ms));
  }
  void wait_ended() override { seen_.push_back(time_.current_thread() + " ends"); }

  std::vector<std::string> seen_;

 private:
  SimulatedTime& time_;
};

TEST_F(SimulatedTimeTest, ObserverSeesTheWaitsOfTheCodeUnderTestAlone) {
  Waits waits(time_);
  time_.observe_waits(&waits);
  time_.start("worker", [] { std::this_thread::sleep_for(20ms); });
  time_.sleep_until(5ms);
  std::this_thread::sleep_for(10ms);
  time_.sleep_until(50ms);
  EXPECT_THAT(waits.seen_,
              ElementsAre("worker begins 20", "main begins 10", "main ends", "worker ends"));
}

TEST(SimulatedTime, SameProgramDoesTheSameEveryTime) {
  const auto play = [] {
    SimulatedTime time;
    std::vector<std::string> done;
    std::mutex mutex;
    for (int number = 0; number < 5; ++number) {
      time.start(std::to_string(number), [&, number] {
        for (int round = 0; round < 20; ++round) {
          std::this_thread::sleep_for(std::chrono::milliseconds((number * 7 + round * 3) % 5));
          const std::lock_guard<std::mutex> lock(mutex);
          std::this_thread::sleep_for(std::chrono::milliseconds(round % 3));
          done.push_back(std::to_string(time.now().count()) + " " + time.current_thread());
        }
      });
    }
    time.sleep_until(1h);
    return done;
  };
  const auto first = play();
  EXPECT_EQ(first.size(), 100U);
  for (int again = 0; again < 10; ++again) {
    ASSERT_EQ(play(), first);
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
