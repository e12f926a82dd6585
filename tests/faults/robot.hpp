#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/allocations.hpp"
#include "tests/support/healthy_board.hpp"
#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test {

/// A fault that throws. Tests tell it from every other exception by its type.
struct ThrownFault : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The recorded state of each claw, as the number that a failing test shows.
using States = std::vector<std::int32_t>;
inline std::int32_t number(ClawState state) { return static_cast<std::int32_t>(state); }

/// The way to a recording gateway whose allocations are not the orchestrator's.
class GatewayAside : public business_layer::IBridgeGateway {
 public:
  explicit GatewayAside(std::shared_ptr<IBridgeGateway> gateway) : gateway_(std::move(gateway)) {}

  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    const TestsOwn own;
    return gateway_->operate(board, device, op, payload);
  }

 private:
  std::shared_ptr<IBridgeGateway> gateway_;
};

/// A robot on virtual time whose boards work until a test puts a fault in their way.
class Robot {
 public:
  /// Stands between the gateway and the boards: answers a call itself, or has the boards
  /// carry it out and passes on, or changes, what they answer.
  using Boards = std::function<OperateResult()>;
  using Fault = std::function<OperateResult(const Operation&, const Boards& boards)>;

  explicit Robot(BottomCompatConfig configuration = reference_config())
      : config(std::move(configuration)),
        orchestrator_(std::make_unique<BottomCompatOrchestrator>(
            std::make_shared<GatewayAside>(gateway), config, channel("debug: "), channel("info: "),
            channel("warn: "))) {
    gateway->otherwise([this](const Operation& operation) { return answer(operation); });
  }

  BottomCompatOrchestrator& operator*() { return *orchestrator_; }
  BottomCompatOrchestrator* operator->() { return orchestrator_.get(); }

  [[nodiscard]] States states() const {
    States states;
    for (std::size_t claw = 0; claw < config.claw_motor_ids.size(); ++claw) {
      states.push_back(number(orchestrator_->claw_state(claw)));
    }
    return states;
  }

  /// The gateway calls among the lines of the journal.
  [[nodiscard]] Lines calls() const {
    Lines calls;
    for (const std::string& line : journal.lines()) {
      if (begins_with(line, "gateway: ")) {
        calls.push_back(line);
      }
    }
    return calls;
  }

  /// What the claws should be recorded as after a run from `before`: what they have
  /// confirmed to it, or incomplete where a move was given up. A confirmation counts once
  /// its "operate end" line has been written.
  [[nodiscard]] States expected_states(States before, bool ended_by_exception) const {
    const Lines lines = journal.lines();
    for (const Confirmation& confirmed : confirmations_) {
      if (!ended_by_exception || lines.size() > confirmed.line + 2) {
        before[claw_of(confirmed.device)] = number(confirmed.state);
      }
    }
    for (std::size_t claw = 0; claw < before.size(); ++claw) {
      const std::string tool = "warn: 工具" + std::to_string(config.claw_motor_ids[claw]);
      for (const std::string& line : lines) {
        if (begins_with(line, tool + "伸出失败：")) {
          before[claw] = number(ClawState::RaiseIncomplete);
        }
        if (begins_with(line, tool + "收回失败：")) {
          before[claw] = number(ClawState::LowerIncomplete);
        }
      }
    }
    return before;
  }

  /// Forgets what has been seen so far.
  void start_watching() {
    journal.take();
    confirmations_.clear();
  }

  /// Takes every fault away, then fails the test unless each lock is free and requests of
  /// every group, a stop and its clearing work.
  void expect_to_work() {
    fault = nullptr;
    on_line = nullptr;
    time.on_sleep(nullptr);
    while (gateway->unused_answers() > 0) {
      (void)gateway->operate("", "", "", {});
    }
    Request wheels;
    wheels.cmd = 8;
    Request fill_light;
    fill_light.cmd = 9;
    EXPECT_NO_THROW({
      EXPECT_EQ(orchestrator_->handle(fill_light), success());
      EXPECT_EQ(orchestrator_->handle(wheels), success());
      orchestrator_->on_emergency_active();
      orchestrator_->on_emergency_recovered();
      EXPECT_EQ(states(), States(config.claw_motor_ids.size(), number(ClawState::Lowered)));
    });
  }

  BottomCompatConfig config;
  Journal journal;
  VirtualTime time{journal};
  std::shared_ptr<RecordingGateway> gateway = std::make_shared<RecordingGateway>(journal);
  Fault fault;
  std::function<void(const std::string& line)> on_line;  // after a log line, channel in front

 private:
  struct Confirmation {
    std::string device;
    ClawState state;
    std::size_t line;  // of the query in the journal
  };

  static bool begins_with(const std::string& text, const std::string& prefix) {
    return text.compare(0, prefix.size(), prefix) == 0;
  }

  [[nodiscard]] std::size_t claw_of(const std::string& device) const {
    std::size_t claw = 0;
    while ("motor" + std::to_string(config.claw_motor_ids.at(claw)) != device) {
      ++claw;
    }
    return claw;
  }

  LogCallback channel(std::string prefix) {
    return [this, prefix = std::move(prefix)](const std::string& line) {
      const TestsOwn own;
      journal.add(prefix + line);
      if (on_line) {
        on_line(prefix + line);
      }
    };
  }

  OperateResult answer(const Operation& operation) {
    return fault ? fault(operation, [&] { return carry_out(operation); }) : carry_out(operation);
  }

  OperateResult carry_out(const Operation& operation) {
    OperateResult result = boards_.answer(operation);
    if (result.data == kRaised || result.data == kLowered) {
      confirmations_.push_back({operation.device,
                                result.data == kRaised ? ClawState::Raised : ClawState::Lowered,
                                journal.lines().size() - 1});
    }
    return result;
  }

  HealthyBoard boards_;
  std::vector<Confirmation> confirmations_;
  std::unique_ptr<BottomCompatOrchestrator> orchestrator_;
};

}  // namespace vantrel_can_bridge::test
