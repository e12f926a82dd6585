#include "workbench/sweep.hpp"

#include <fmt/format.h>

#include <utility>

#include "workbench/duration_text.hpp"
#include "workbench/player.hpp"
#include "workbench/simulated_time.hpp"
#include "workbench/sweep_watch.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// What the undisturbed run consists of, in its order.
class Outline final : public IEventSink {
 public:
  void on_event(const Event& event) override {
    if (const auto* const begun = std::get_if<OperationBegun>(&event.body)) {
      operations.push_back(begun->device + " " + begun->op);
    } else if (const auto* const wait = std::get_if<WaitBegun>(&event.body)) {
      waits.push_back("wait " + duration_text(wait->duration));
    }
  }

  std::vector<std::string> operations;
  std::vector<std::string> waits;
};

class Sweep {
 public:
  Sweep(const Scenario& scenario, const SweepHooks& hooks) : scenario_(scenario), hooks_(hooks) {}

  void stop(Moment::Kind kind, std::size_t index, const std::string& name,
            const std::string& place) {
    play({fmt::format("stop {} {}", name, index + 1), place, {}, {}, {}}, [&](Run& run) {
      run.plan({{kind, index + 1}, [&run](nanoseconds from_now) {
                  run.change_emergency_aside(EmergencyEdge::Raise, from_now);
                }});
    });
  }

  void fail(std::size_t index, const std::string& place) {
    play({fmt::format("operation {} fails", index + 1), place, {}, {}, {}}, [&](Run& run) {
      FaultRule rule;
      rule.effect = Refuse{"failed by the sweep"};
      rule.skip = index;
      rule.is_lasting = true;  // also where the scenario clears its own rules
      run.boards().add_fault(rule);
    });
  }

  Outline leave_alone() {
    Outline outline;
    play({"undisturbed", "-", {}, {}, {}}, {}, &outline);
    return outline;
  }

 private:
  void play(SweepRun run, const std::function<void(Run&)>& prepare,
            IEventSink* listener = nullptr) {
    if (hooks_.is_over && hooks_.is_over()) {
      return;
    }
    SweepWatch watch(scenario_.config);
    EventFanOut sinks;
    sinks.add(watch);
    if (listener != nullptr) {
      sinks.add(*listener);
    }
    SimulatedTime time;
    tell(&time);
    const PlayResult result = workbench::play(scenario_, time, sinks, {prepare, {}});
    tell(nullptr);
    if (time.interrupted()) {
      return;
    }
    watch.report(run);
    if (!result.error.empty()) {
      run.broken.push_back(result.error);
    }
    hooks_.show(run);
  }

  void tell(IScheduler* time) const {
    if (hooks_.running) {
      hooks_.running(time);
    }
  }

  const Scenario& scenario_;
  const SweepHooks& hooks_;
};

}  // namespace

void sweep(const Scenario& scenario, const SweepHooks& hooks) {
  Sweep sweep(scenario, hooks);
  const Outline outline = sweep.leave_alone();
  for (std::size_t index = 0; index < outline.operations.size(); ++index) {
    const std::string& place = outline.operations[index];
    sweep.stop(Moment::Kind::BeforeOperation, index, "before operation", place);
    sweep.stop(Moment::Kind::AfterOperation, index, "after operation", place);
    sweep.fail(index, place);
  }
  for (std::size_t index = 0; index < outline.waits.size(); ++index) {
    sweep.stop(Moment::Kind::InWait, index, "in wait", outline.waits[index]);
  }
}

}  // namespace vantrel_can_bridge::workbench
