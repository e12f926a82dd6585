#include "tests/simulation/play.hpp"

#include <chrono>
#include <memory>
#include <system_error>

#include "compat/bottom_compat_orchestrator.hpp"
#include "tests/simulation/invariants.hpp"
#include "tests/simulation/model.hpp"
#include "tests/simulation/operations.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test::simulation {
namespace {

using business_layer::IBridgeGateway;
using business_layer::bottom_compat::BottomCompatOrchestrator;
using business_layer::bottom_compat::LogCallback;

std::int64_t clock_ns() { return std::chrono::steady_clock::now().time_since_epoch().count(); }

/// The world of the real orchestrator, on the virtual time of the executable.
class RealStage : public Stage {
 public:
  explicit RealStage(const Case& script) : Stage(script), time_(journal_) {
    time_.on_sleep([this] { waited(); });
  }

  /// Set once, before the first step.
  BottomCompatOrchestrator* orchestrator = nullptr;

 private:
  void raise_stop() override { orchestrator->on_emergency_active(); }
  void clear_stop() override { orchestrator->on_emergency_recovered(); }
  void advance_ms(std::int64_t duration) override {
    time_.advance(std::chrono::milliseconds(duration));
  }
  void interrupt_next_wait() override {
    time_.interrupt_next_sleep_after(std::chrono::nanoseconds(kInterruptAfterNs));
  }
  void fail_next_wait() override { time_.fail_next_sleep(EINVAL); }
  [[nodiscard]] std::int64_t now() const override { return clock_ns(); }

  void collect_waits() override {
    const std::string prefix = "wait: ";
    for (const std::string& line : journal_.take()) {
      push({Kind::Wait, line.substr(prefix.size())});
    }
  }

  Journal journal_;
  VirtualTime time_;
};

class StageGateway : public IBridgeGateway {
 public:
  explicit StageGateway(RealStage& stage) : stage_(stage) {}
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const Bytes& payload) override {
    return stage_.call(board, device, op, payload);
  }

 private:
  RealStage& stage_;
};

/// A real orchestrator on its stage.
class Robot {
 public:
  explicit Robot(const Case& script)
      : stage_(script),
        orchestrator_(std::make_shared<StageGateway>(stage_), script.config,
                      channel(script.channels.debug, Kind::Debug),
                      channel(script.channels.info, Kind::Info),
                      channel(script.channels.warn, Kind::Warn)) {
    stage_.orchestrator = &orchestrator_;
  }

  /// Nothing where the step has left a lock behind.
  std::optional<Record> play(const Step& step, const Config& config) {
    stage_.begin(step);
    perform(step, config, orchestrator_, stage_);
    probing_ = true;
    const bool goes_on = locks_are_free(orchestrator_);
    probing_ = false;
    if (!goes_on) {
      return std::nullopt;
    }
    look_at_claws(config, orchestrator_, stage_);
    return stage_.finish();
  }

 private:
  LogCallback channel(bool set, Kind kind) {
    if (!set) {
      return {};
    }
    return [this, kind](const std::string& line) {
      if (!probing_) {
        stage_.line(kind, line);
      }
    };
  }

  bool probing_ = false;
  RealStage stage_;
  BottomCompatOrchestrator orchestrator_;
};

std::string compared(const Record& expected, const Record& actual) {
  std::size_t same = 0;
  while (same < expected.size() && same < actual.size() && expected[same] == actual[same]) {
    ++same;
  }
  std::string out;
  for (std::size_t i = 0; i < same; ++i) {
    out += "      " + show(actual[i]) + "\n";
  }
  for (std::size_t i = same; i < expected.size() && i < same + 5; ++i) {
    out += "model " + show(expected[i]) + "\n";
  }
  for (std::size_t i = same; i < actual.size() && i < same + 5; ++i) {
    out += "real  " + show(actual[i]) + "\n";
  }
  return out;
}

std::string shown(const Record& record) {
  std::string out;
  for (const Entry& entry : record) {
    out += "      " + show(entry) + "\n";
  }
  return out;
}

}  // namespace

bool locks_are_free(BottomCompatOrchestrator& robot) {
  try {
    // Requests that ask for nothing, and a look at a claw.
    static_cast<void>(robot.handle_operate_light({}));
    static_cast<void>(robot.handle_procter({}));
    static_cast<void>(robot.claw_state(0));
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

std::optional<Failure> play(const Case& script, const Distortion& distort,
                            const Observer& observe) {
  Robot robot(script);
  ModelStage stage(script, clock_ns());
  Model model(script, stage);
  stage.model = &model;
  Invariants invariants(script);

  for (std::size_t i = 0; i < script.steps.size(); ++i) {
    const Step& step = script.steps[i];
    const std::optional<Record> played = robot.play(step, script.config);
    if (!played) {
      return Failure{i, "Broken: every lock is free after each call\n"};
    }
    const Record& actual = *played;
    stage.begin(step);
    perform(step, script.config, model, stage);
    look_at_claws(script.config, model, stage);
    Record expected = stage.finish();
    if (distort) {
      for (Entry& entry : expected) {
        distort(entry);
      }
    }
    if (observe) {
      observe(step, actual);
    }
    if (!(actual == expected)) {
      return Failure{i, "The records differ:\n" + compared(expected, actual)};
    }
    if (const auto broken = invariants.broken_by(step, actual)) {
      return Failure{i, "Broken: " + *broken + "\n" + shown(actual)};
    }
  }
  return std::nullopt;
}

}  // namespace vantrel_can_bridge::test::simulation
