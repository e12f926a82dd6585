// Calls from several threads, in real time: which of them wait for each other, which do
// not, and what an emergency stop does to those that run.

#include <gtest/gtest.h>
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "compat/wait.hpp"
#include "tests/support/claw_fixture.hpp"
#include "tests/support/gate.hpp"
#include "tests/support/mutex_watch.hpp"
#include "tests/support/requests.hpp"

namespace vantrel_can_bridge::test {
namespace {

const LockedCall kRaise{"Raise",
                        [](auto& robot) { (void)robot.claw_execute(0, ClawState::Raised); }};
const LockedCall kLower{"Lower",
                        [](auto& robot) { (void)robot.claw_execute(0, ClawState::Lowered); }};
const LockedCall kRecover{"Recovery", [](auto& robot) { robot.on_emergency_recovered(); }};
const LockedCall kState{"State", [](auto& robot) { (void)robot.claw_state(0); }};

/// What a call does first: it has to wait for a mutex, or it comes to its end.
enum class First { Wait, End };
void PrintTo(First first, std::ostream* out) { *out << (first == First::Wait ? "Wait" : "End"); }

/// The first of several reports, from any thread.
class FirstReport {
 public:
  void tell(First first) {
    if (!told_.exchange(true)) {
      first_.set_value(first);
    }
  }
  First await() { return first_.get_future().get(); }

 private:
  std::atomic<bool> told_{false};
  std::promise<First> first_;
};

class Threads : public OrchestratorTest {
 protected:
  Threads() {
    gateway->otherwise(obedient_claws(journal));
    config.claw_motor_ids = {11};
    config.claw_poll_interval_ms = 0;
    config.claw_timeout_ms = std::numeric_limits<std::int64_t>::max();
    config.claw_retry_count = 0;
    config.valve_switch_delay_ms = 0;
    watch.emplace(orchestrator());
  }

  /// Runs `call` on another thread until it stands in gateway call number `passed` (from
  /// 0), where it stays until `gate` opens.
  void park(const LockedCall& call, std::size_t passed) {
    journal.watch([this, left = passed](const std::string& line) mutable {
      if (is_gateway_call(line) && left-- == 0) {
        journal.watch(nullptr);
        gate.pass();
      }
    });
    parked = std::thread([this, &call] { call.run(orchestrator()); });
    gate.await_arrival();
  }

  /// Runs `call` on another thread and returns what it does first.
  First start(const LockedCall& call) {
    auto report = std::make_shared<FirstReport>();
    watch->on_contention([report] { report->tell(First::Wait); });
    started = std::thread([this, &call, report] {
      call.run(orchestrator());
      report->tell(First::End);
    });
    return report->await();
  }

  void finish() {
    gate.open();
    parked.join();
    started.join();
  }

  static bool is_gateway_call(const std::string& line) { return line.rfind("gateway: ", 0) == 0; }

  std::optional<MutexWatch> watch;
  Gate gate;
  std::thread parked;
  std::thread started;
};

// --- Requests that exclude each other, and requests that do not ---

using Pair = std::tuple<LockedCall, LockedCall>;

std::string name_of_pair(const testing::TestParamInfo<Pair>& row) {
  return std::get<0>(row.param).name + "Then" + std::get<1>(row.param).name;
}

/// Two calls, of which the first is held in its last gateway call.
class TwoRequests : public Threads, public testing::WithParamInterface<Pair> {
 protected:
  /// Both one after the other on an orchestrator of their own: the lines of each.
  void run_one_after_the_other() {
    BottomCompatOrchestrator robot(gateway, config, log_to(journal, "debug"),
                                   log_to(journal, "info"), log_to(journal, "warn"));
    first.run(robot);
    first_lines = journal.take();
    second.run(robot);
    second_lines = journal.take();
  }

  /// Lets the first stop in its last gateway call; its lines until then.
  Lines park_first() {
    const auto last = std::find_if(first_lines.rbegin(), first_lines.rend(), is_gateway_call);
    const auto calls = std::count_if(first_lines.begin(), first_lines.end(), is_gateway_call);
    park(first, static_cast<std::size_t>(calls) - 1);
    return Lines(first_lines.begin(), last.base());
  }

  const LockedCall& first = std::get<0>(GetParam());
  const LockedCall& second = std::get<1>(GetParam());
  Lines first_lines;
  Lines second_lines;
};

class Exclusion : public TwoRequests {};

TEST_P(Exclusion, KeepsTheSecondRequestOutUntilTheFirstIsOver) {
  run_one_after_the_other();
  const Lines until_parked = park_first();

  EXPECT_EQ(start(second), First::Wait);
  EXPECT_EQ(journal.lines(), until_parked);
  finish();

  EXPECT_EQ(journal.take(), record(first_lines, second_lines));
}
INSTANTIATE_TEST_SUITE_P(Lights, Exclusion,
                         testing::Combine(testing::ValuesIn(light_calls()),
                                          testing::ValuesIn(light_calls())),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(Actuators, Exclusion,
                         testing::Combine(testing::ValuesIn(actuator_calls()),
                                          testing::ValuesIn(actuator_calls())),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(Claws, Exclusion,
                         testing::Combine(testing::Values(kRaise, kLower),
                                          testing::Values(kRaise, kLower, kState)),
                         name_of_pair);

class Independence : public TwoRequests {};

TEST_P(Independence, LetsTheSecondRequestThroughWhileTheFirstRuns) {
  run_one_after_the_other();
  const Lines until_parked = park_first();

  EXPECT_EQ(start(second), First::End);
  EXPECT_EQ(journal.lines(), record(until_parked, second_lines));

  finish();
}
INSTANTIATE_TEST_SUITE_P(LightsAndActuators, Independence,
                         testing::Combine(testing::ValuesIn(light_calls()),
                                          testing::ValuesIn(actuator_calls())),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(ActuatorsAndLights, Independence,
                         testing::Combine(testing::ValuesIn(actuator_calls()),
                                          testing::ValuesIn(light_calls())),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(ClawsAndLights, Independence,
                         testing::Combine(testing::Values(kRaise),
                                          testing::ValuesIn(light_calls())),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(LightsAndClaws, Independence,
                         testing::Combine(testing::ValuesIn(light_calls()),
                                          testing::Values(kRaise, kState)),
                         name_of_pair);
INSTANTIATE_TEST_SUITE_P(ClawsAndActuators, Independence,
                         testing::Combine(testing::Values(kLower),
                                          testing::Values(actuator_calls()[0], actuator_calls()[1],
                                                          actuator_calls()[2])),
                         name_of_pair);

TEST_F(Threads, HoldAClawRequestBackUntilTheProcterRequestThatMovesTheClawIsOver) {
  Request request;
  request.tools_claw_cmd = 3;
  request.tools_claw_select = 1;
  const LockedCall procter{"Procter", [=](auto& robot) { (void)robot.handle_procter(request); }};
  park(procter, 0);

  EXPECT_EQ(start(kLower), First::Wait);
  finish();

  EXPECT_EQ(journal.take().back(), "debug: tools_claw idempotent: motor11 already lowered");
}

TEST_F(Threads, LetClawStateSeeTheOutcomeOfTheMoveThatItWaitedFor) {
  ClawState seen = ClawState::Unknown;
  const LockedCall look{"Look", [&](auto& robot) { seen = robot.claw_state(0); }};
  park(kRaise, 1);

  EXPECT_EQ(start(look), First::Wait);
  finish();

  EXPECT_EQ(seen, ClawState::Raised);
}

// --- Emergency stop ---

/// Polls of claw 0 in real time: no waits in the journal.
class StopInRealTime : public Threads {
 protected:
  const ClawLines claw{};
  const Lines poll = claw.query();
  /// A poll in whose gateway call the stop came.
  const Lines stopped_poll = record(poll[0], poll[1], kStopped, poll[2]);
};

TEST_F(StopInRealTime, ReturnsDuringAGatewayCallAndEndsTheMoveBeforeTheNextOne) {
  gateway->otherwise([](const Operation&) { return OperateResult{true, {1, 0}, {}}; });
  park(kRaise, 3);

  orchestrator().on_emergency_active();
  gate.open();
  parked.join();

  const std::string given_up =
      std::string("tools_claw claw_extend failed after 1 attempts: ") + kAborted;
  EXPECT_EQ(journal.take(),
            record("debug: tools_claw execute: motor11 op=claw_extend", claw.write("claw_extend"),
                   poll, "info: 工具11伸出动作中 action_state=1 position_state=0", poll,
                   stopped_poll, std::string("debug: tools_claw attempt 1/1 failed: ") + kAborted,
                   std::string("warn: 工具11伸出第 1/1 次尝试失败：") + kAborted,
                   "warn: 工具11伸出失败：" + given_up));
  EXPECT_EQ(orchestrator().claw_state(0), ClawState::RaiseIncomplete);
}

class RecoveryInRealTime : public StopInRealTime {
 protected:
  RecoveryInRealTime() {
    orchestrator().on_emergency_active();
    journal.take();
  }

  const Lines raised =
      record("debug: tools_claw emergency recovered: recovering non-lowered motors",
             claw.write("claw_extend"), poll);
};

TEST_F(RecoveryInRealTime, EndsWhenAnotherStopComesDuringAGatewayCall) {
  park(kRecover, 2);

  orchestrator().on_emergency_active();
  gate.open();
  parked.join();

  Lines stopped_write = claw.write("claw_home");
  stopped_write.insert(stopped_write.begin() + 2, kStopped);
  EXPECT_EQ(journal.take(),
            record(raised, stopped_write, "warn: 工具爪恢复期间再次收到急停，中止恢复。"));
}

TEST_F(RecoveryInRealTime, HoldsBackAClawRequest) {
  park(kRecover, 3);

  EXPECT_EQ(start(kLower), First::Wait);
  finish();

  EXPECT_EQ(journal.take(), record(raised, claw.write("claw_home"), poll,
                                   "debug: tools_claw idempotent: motor11 already lowered"));
}

TEST_F(RecoveryInRealTime, HoldsBackAQuestionForTheState) {
  park(kRecover, 3);

  EXPECT_EQ(start(kState), First::Wait);
  finish();
}

TEST_F(RecoveryInRealTime, LeavesLightsAndActuatorsAlone) {
  park(kRecover, 3);

  EXPECT_EQ(start(light_calls()[0]), First::End);
  started.join();
  EXPECT_EQ(start(actuator_calls()[0]), First::End);
  finish();
}

TEST_F(Threads, LetARecoveryWaitForTheMoveThatTheStopDidNotReachInTime) {
  park(kRaise, 1);  // in the query that confirms the move
  orchestrator().on_emergency_active();

  EXPECT_EQ(start(kRecover), First::Wait);
  finish();

  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
}

// --- Everything at once ---

TEST_F(Threads, MaySendRequestsOfAllKindsAtOnceWithoutOverlapWithinAGroup) {
  config.claw_timeout_ms = 0;  // a raise is never confirmed below
  BottomCompatOrchestrator robot(gateway, config, log_to(journal, "debug"), nullptr, nullptr);
  std::atomic<int> lights_busy{0};
  std::atomic<int> wheels_and_pumps_busy{0};
  std::atomic<int> claws_busy{0};
  std::atomic<int> overlaps{0};
  gateway->otherwise([&](const Operation& operation) {
    const bool light = operation.device.find("light") != std::string::npos ||
                       operation.payload == std::vector<std::uint8_t>{3, 4, 1} ||
                       operation.payload == std::vector<std::uint8_t>{6, 8, 0};
    const bool claw = operation.op.rfind("claw_", 0) == 0;
    std::atomic<int>& busy = light ? lights_busy : claw ? claws_busy : wheels_and_pumps_busy;
    overlaps += ++busy > 1 ? 1 : 0;
    std::this_thread::yield();
    --busy;
    return OperateResult{true, {4, 1}, {}};
  });
  std::vector<LockedCall> calls = light_calls();
  for (const auto& more : {actuator_calls(), std::vector<LockedCall>{kLower, kRecover, kState}}) {
    calls.insert(calls.end(), more.begin(), more.end());
  }
  calls.push_back({"Stop", [](auto& stopped) { stopped.on_emergency_active(); }});

  std::vector<std::thread> threads;
  for (const LockedCall& call : calls) {
    threads.emplace_back([&robot, &call] {
      for (int round = 0; round < 20; ++round) {
        call.run(robot);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }

  EXPECT_EQ(overlaps, 0);
}

// --- Signals ---

std::atomic<int> signals_handled{0};  // NOLINT: a signal handler sees nothing else

TEST(SignalStorm, DoesNotShortenAWait) {
  using Clock = std::chrono::steady_clock;
  struct sigaction count_signals {};
  count_signals.sa_handler = [](int) { ++signals_handled; };
  struct sigaction before {};
  ASSERT_EQ(sigaction(SIGUSR1, &count_signals, &before), 0);
  std::atomic<bool> over{false};
  std::thread storm([&over, waiting = pthread_self()] {
    while (!over) {
      pthread_kill(waiting, SIGUSR1);
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
  });
  while (signals_handled == 0) {
    std::this_thread::yield();
  }

  const Clock::time_point start = Clock::now();
  business_layer::bottom_compat::wait_for_ms(60);
  const Clock::duration waited = Clock::now() - start;

  over = true;
  storm.join();
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_GE(waited, std::chrono::milliseconds(60));
}

}  // namespace
}  // namespace vantrel_can_bridge::test
