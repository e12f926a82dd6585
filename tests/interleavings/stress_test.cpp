// All entry points at once on real threads, in whichever order comes; what must hold in
// any of them is watched from inside the gateway. For the races, run it under TSan.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

enum Group { kLight, kActuator, kClaw, kGroups };

/// Boards that watch who comes: how many are inside at once for each group, and what
/// begins while an emergency stop is on. Claws arrive at the second query after a move; now
/// and then a call fails, so that retries take part.
class WatchingGateway : public business_layer::IBridgeGateway {
 public:
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    const Group group = group_of(board, device, op, payload);
    if (group == kClaw && stopped_) {
      ++begun_while_stopped_;
    }
    if (++inside_[group] > 1) {
      ++overlaps_[group];
    }
    ++calls_[group];
    std::this_thread::yield();  // lets another in, if it can come in
    OperateResult result = group == kClaw ? claw_answer(device, op) : OperateResult{true, {}, {}};
    --inside_[group];
    return result;
  }

  /// Between the return of the stop and the call that clears it.
  void set_stopped(bool stopped) {
    if (stopped) {
      begun_while_stopped_ = 0;
    }
    stopped_ = stopped;
  }
  void let_all_succeed() { failures_ = false; }

  int begun_while_stopped() const { return begun_while_stopped_; }
  int overlaps(Group group) const { return overlaps_[group]; }
  int calls(Group group) const { return calls_[group]; }

  /// Whether the last that a claw has said is that it has reached `state`.
  bool has_reached(const std::string& device, ClawState state) {
    const std::lock_guard<std::mutex> lock(mutex_);
    const Claw& claw = claws_[device];
    return claw.arrived && claw.raised == (state == ClawState::Raised);
  }

 private:
  struct Claw {
    bool raised = false;
    int queries = 0;  // since the move
    bool arrived = false;
  };

  static Group group_of(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) {
    if (op.compare(0, 5, "claw_") == 0) {
      return kClaw;
    }
    const BottomCompatConfig config = reference_config();
    const bool projection =
        device == "power_control" && (payload.at(0) == config.front_projection_sub ||
                                      payload.at(0) == config.rear_projection_sub);
    return board == config.bottom_board && (device != "power_control" || projection) ? kLight
                                                                                     : kActuator;
  }

  OperateResult claw_answer(const std::string& device, const std::string& op) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Claw& claw = claws_[device];
    const bool fails = failures_ && ++claw_calls_ % 7 == 0;
    if (op != "claw_query_state") {
      claw = {op == "claw_extend", 0, false};
      return {!fails, {}, fails ? "bus off" : ""};
    }
    if (fails) {
      return {false, {}, "no answer"};
    }
    claw.arrived = ++claw.queries > 1;
    if (!claw.arrived) {
      return {true, {1, 0}, {}};
    }
    return {
        true, claw.raised ? std::vector<std::uint8_t>{3, 2} : std::vector<std::uint8_t>{4, 1}, {}};
  }

  std::array<std::atomic<int>, kGroups> inside_{};
  std::array<std::atomic<int>, kGroups> overlaps_{};
  std::array<std::atomic<int>, kGroups> calls_{};
  std::atomic<bool> stopped_{false};
  std::atomic<int> begun_while_stopped_{0};
  std::atomic<bool> failures_{true};

  std::mutex mutex_;  // leaf; guards the claws
  std::map<std::string, Claw> claws_;
  int claw_calls_ = 0;
};

/// Counts lines; tells whether each operation that began has ended.
class LineCount {
 public:
  void operator()(const std::string& line) {
    ++lines_;
    balance_ += line.compare(0, 14, "operate begin:") == 0 ? 1 : 0;
    balance_ -= line.compare(0, 12, "operate end:") == 0 ? 1 : 0;
  }
  int lines() const { return lines_; }
  int balance() const { return balance_; }

 private:
  std::atomic<int> lines_{0};
  std::atomic<int> balance_{0};
};

class Stress : public testing::Test {
 protected:
  Stress() {
    config.claw_poll_interval_ms = 10;  // the shortest that there is
    config.claw_retry_backoff_ms = 1;
    config.valve_switch_delay_ms = 1;
    orchestrator = std::make_unique<BottomCompatOrchestrator>(gateway, config, std::ref(debug),
                                                              std::ref(info), std::ref(warn));
  }

  /// A thread that goes through `requests` over and over until the test ends.
  void keep_requesting(const std::vector<Request>& requests) {
    others.emplace_back([this, requests] {
      while (!finished) {
        for (const Request& request : requests) {
          check(orchestrator->handle(request));
        }
      }
    });
  }

  /// A thread that reads what can be read.
  void keep_asking() {
    others.emplace_back([this] {
      while (!finished) {
        for (std::size_t claw = 0; claw < 5; ++claw) {
          const ClawState state = orchestrator->claw_state(claw);
          if (state < ClawState::Unknown || state > ClawState::LowerIncomplete) {
            ++bad_states;
          }
          if (claw < 4 && orchestrator->claw_motor_index(1 << claw) != claw) {
            ++bad_states;
          }
          ++answers;
        }
        std::this_thread::yield();
      }
    });
  }

  void check(const BottomCompatReply& reply) {
    ++replies;
    refusals += reply.message == "tools_claw rejected: selfclean_board in emergency" ? 1 : 0;
    bad_replies += reply.success ? reply.code != 0 || !reply.message.empty()
                                 : reply.code != 1 || reply.message.empty();
  }

  /// Until the count has risen by `more`: something has gone on meanwhile.
  template <typename Count>
  static void wait_for_more(const Count& count, int more) {
    const int goal = count() + more;
    while (count() < goal) {
      std::this_thread::yield();
    }
  }

  void join() {
    finished = true;
    for (std::thread& thread : others) {
      thread.join();
    }
  }

  LineCount debug;
  LineCount info;
  LineCount warn;
  std::shared_ptr<WatchingGateway> gateway = std::make_shared<WatchingGateway>();
  BottomCompatConfig config = reference_config();
  std::unique_ptr<BottomCompatOrchestrator> orchestrator;
  std::vector<std::thread> others;
  std::atomic<bool> finished{false};
  std::atomic<int> replies{0};
  std::atomic<int> refusals{0};
  std::atomic<int> answers{0};
  std::atomic<int> bad_replies{0};
  std::atomic<int> bad_states{0};
};

Request request(std::int32_t cmd) {
  Request request;
  request.cmd = cmd;
  return request;
}

std::vector<Request> light_requests() {
  Request lights = request(2);
  lights.bottom_rgb = 0x102030;
  lights.left_rgb = 0x405060;
  return {lights, request(9), request(11), request(14)};
}

std::vector<Request> actuator_requests() {
  Request pumps;
  pumps.tools_select = 1;
  pumps.tools_cmd = 1;
  pumps.tools_duty = 10;
  pumps.clean_select = 2;
  pumps.clean_cmd = 1;
  pumps.clean_duty = 30;
  pumps.dirty_select = 3;
  pumps.dirty_cmd = 1;
  pumps.dirty_duty = 40;
  return {pumps, request(7), request(8), request(13)};
}

std::vector<Request> claw_requests() {
  std::vector<Request> requests;
  for (const std::int32_t select : {1, 2}) {
    for (const std::int32_t cmd : {1, 3}) {
      Request move;
      move.tools_claw_cmd = cmd;
      move.tools_claw_select = select;
      requests.push_back(move);
    }
  }
  return requests;
}

TEST_F(Stress, AllEntryPointsAtOnceKeepTheirPromises) {
  constexpr int kRounds = 20;
  keep_requesting(light_requests());
  keep_requesting(light_requests());
  keep_requesting(actuator_requests());
  keep_requesting(actuator_requests());
  keep_requesting(claw_requests());
  keep_requesting(claw_requests());
  keep_asking();

  for (int round = 0; round < kRounds; ++round) {
    wait_for_more([this] { return gateway->calls(kClaw); }, 1 + round % 3);
    orchestrator->on_emergency_active();
    gateway->set_stopped(true);
    wait_for_more([this] { return refusals.load(); }, 2);
    gateway->set_stopped(false);
    EXPECT_LE(gateway->begun_while_stopped(), 1) << "in round " << round;
    orchestrator->on_emergency_recovered();
  }
  join();

  EXPECT_EQ(gateway->overlaps(kLight), 0);
  EXPECT_EQ(gateway->overlaps(kActuator), 0);
  EXPECT_EQ(gateway->overlaps(kClaw), 0);
  EXPECT_EQ(debug.balance(), 0) << "an operation began without an end, or ended twice";
  EXPECT_EQ(bad_replies, 0) << "of " << replies;
  EXPECT_EQ(bad_states, 0) << "of " << answers;
  for (std::size_t claw = 0; claw < config.claw_motor_ids.size(); ++claw) {
    const ClawState state = orchestrator->claw_state(claw);
    if (state == ClawState::Raised || state == ClawState::Lowered) {
      EXPECT_TRUE(gateway->has_reached(orchestrator->claw_device_name(claw), state))
          << "claw " << claw;
    }
  }

  // And it still works.
  gateway->let_all_succeed();
  orchestrator->on_emergency_active();
  orchestrator->on_emergency_recovered();
  for (std::size_t claw = 0; claw < config.claw_motor_ids.size(); ++claw) {
    EXPECT_EQ(orchestrator->claw_state(claw), ClawState::Lowered) << "claw " << claw;
  }
}

// Stops and clearings from three threads at once have no order that could be told; what
// stays is that nothing overlaps and that everything comes to rest.
TEST_F(Stress, EmergenciesFromSeveralThreadsComeToRest) {
  constexpr int kRounds = 40;
  keep_requesting(claw_requests());
  keep_requesting(light_requests());
  keep_asking();
  std::vector<std::thread> watchers;
  for (int watcher = 0; watcher < 3; ++watcher) {
    watchers.emplace_back([this] {
      for (int round = 0; round < kRounds; ++round) {
        orchestrator->on_emergency_active();
        std::this_thread::yield();
        orchestrator->on_emergency_recovered();
      }
    });
  }
  for (std::thread& watcher : watchers) {
    watcher.join();
  }
  join();

  EXPECT_EQ(gateway->overlaps(kLight), 0);
  EXPECT_EQ(gateway->overlaps(kClaw), 0);
  EXPECT_EQ(debug.balance(), 0);
  EXPECT_EQ(bad_replies, 0) << "of " << replies;
  EXPECT_EQ(bad_states, 0) << "of " << answers;
  gateway->let_all_succeed();
  orchestrator->on_emergency_active();
  orchestrator->on_emergency_recovered();
  for (std::size_t claw = 0; claw < config.claw_motor_ids.size(); ++claw) {
    EXPECT_EQ(orchestrator->claw_state(claw), ClawState::Lowered) << "claw " << claw;
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::test
