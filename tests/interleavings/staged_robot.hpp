#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/interleavings/stage.hpp"
#include "tests/support/healthy_board.hpp"
#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {

/// A gateway each of whose calls is an event of the play, before it is answered.
class StagedGateway : public business_layer::IBridgeGateway {
 public:
  /// Answers the next calls, in their order, in place of the boards.
  void then(OperateResult answer) { script_.push_back(std::move(answer)); }

  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    Stage::event("gateway: " + device + " " + op);
    const Stage::Aside aside;
    if (!script_.empty()) {
      OperateResult answer = std::move(script_.front());
      script_.pop_front();
      return answer;
    }
    return boards_.answer({board, device, op, payload});
  }

 private:
  HealthyBoard boards_;
  std::deque<OperateResult> script_;  // no lock: one actor runs at a time
};

/// A robot with one claw (motor 11), and what the threads of its service do to it.
class StagedRobot {
 public:
  using Job = Stage::Job;

  StagedRobot() {
    config.claw_motor_ids = {11};
    config.claw_retry_count = 1;
  }

  BottomCompatOrchestrator& orchestrator() {
    if (!orchestrator_) {
      orchestrator_ = std::make_unique<BottomCompatOrchestrator>(
          gateway, config, log_to_stage("debug: "), log_to_stage("info: "), log_to_stage("warn: "));
    }
    return *orchestrator_;
  }

  // What an actor does.
  Job raises(std::size_t claw = 0) { return moves(claw, ClawState::Raised); }
  Job lowers(std::size_t claw = 0) { return moves(claw, ClawState::Lowered); }
  Job stops() {
    return [&robot = orchestrator()] { return robot.on_emergency_active(), ""; };
  }
  Job clears() {
    return [&robot = orchestrator()] { return robot.on_emergency_recovered(), ""; };
  }
  Job asks(std::size_t claw = 0) {
    return [&robot = orchestrator(), claw] {
      return std::to_string(static_cast<int>(robot.claw_state(claw)));
    };
  }
  Job requests(const Request& request) {
    return [&robot = orchestrator(), request] { return shown(robot.handle(request)); };
  }

  /// Brings the claw to `target` before the play begins.
  void has_moved_to(ClawState target) {
    Stage rehearsal;
    rehearsal.play({{"claw", moves(0, target), "ends success"}});
  }

  BottomCompatConfig config = reference_config();
  std::shared_ptr<StagedGateway> gateway = std::make_shared<StagedGateway>();

 private:
  // "operate begin" and "operate end" say nothing here that the gateway's event does not.
  static LogCallback log_to_stage(std::string prefix) {
    return [prefix = std::move(prefix)](const std::string& line) {
      if (line.compare(0, 8, "operate ") != 0) {
        Stage::event(prefix + line);
      }
    };
  }
  static std::string shown(const BottomCompatReply& reply) {
    return reply.success ? "success" : "failure: " + reply.message;
  }
  Job moves(std::size_t claw, ClawState target) {
    return
        [&robot = orchestrator(), claw, target] { return shown(robot.claw_execute(claw, target)); };
  }

  std::unique_ptr<BottomCompatOrchestrator> orchestrator_;
};

}  // namespace vantrel_can_bridge::test
