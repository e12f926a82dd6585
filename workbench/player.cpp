#include "workbench/player.hpp"

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>

#include "workbench/duration_text.hpp"
#include "workbench/expectation_check.hpp"
#include "workbench/step_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;

/// How often the boards are looked at for a condition.
constexpr nanoseconds kLook = std::chrono::milliseconds(1);

/// Keeps of the record what expectations speak of, and passes all of it on.
class StepRecorder final : public IEventSink {
 public:
  explicit StepRecorder(IEventSink& next) : next_(next) {}

  void on_event(const Event& event) override {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (const auto* const ended = std::get_if<OperationEnded>(&event.body)) {
        const OperationBegun& begun = ended->begun;
        record_.operations.push_back({begun.board, begun.device, begun.op, begun.payload});
      } else if (const auto* const line = std::get_if<LogLine>(&event.body)) {
        record_.lines.push_back({line->channel, line->text});
      }
    }
    next_.on_event(event);
  }

  void on_end(nanoseconds time) override { next_.on_end(time); }

  /// What came since the last time.
  StepRecord take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(record_, {});
  }

 private:
  IEventSink& next_;
  std::mutex mutex_;  // leaf; guards record_
  StepRecord record_;
};

/// Tells of a step's wait.
class ScopedWait {
 public:
  ScopedWait(const PlayHooks& hooks, const IScheduler& scheduler,
             std::optional<nanoseconds> total = std::nullopt)
      : hooks_(hooks) {
    if (hooks_.wait_begun) {
      hooks_.wait_begun(scheduler.now(), total);
    }
  }
  ScopedWait(const ScopedWait&) = delete;
  ScopedWait& operator=(const ScopedWait&) = delete;
  ~ScopedWait() {
    if (hooks_.wait_ended) {
      hooks_.wait_ended();
    }
  }

 private:
  const PlayHooks& hooks_;
};

class Player {
 public:
  Player(const Scenario& scenario, IScheduler& scheduler, IEventSink& sink, const PlayHooks& hooks)
      : scenario_(scenario),
        hooks_(hooks),
        scheduler_(scheduler),
        recorder_(sink),
        run_(scenario.config, scenario.robot, {scenario.seed, scenario.time_limit}, scheduler,
             recorder_) {}

  PlayResult play();

 private:
  using Outcome = std::optional<RequestOutcome>;

  /// A request or recovery that runs on.
  struct Background {
    IScheduler::ThreadId thread = 0;
    Outcome outcome;  // of a request; there once the thread has ended
  };

  void play_step(const Step& step);
  void check(const Step& step, StepRecord& record);
  /// Of a wait that began at `begun`.
  void expect_in_time(bool in_time, nanoseconds begun, nanoseconds at_most,
                      const std::string& what);
  [[nodiscard]] bool is_over() const;
  [[nodiscard]] std::string why_over() const;
  void end_background_work();

  [[nodiscard]] std::vector<PlannedAction> plan(const std::vector<PlannedEmergency>& during);
  Background& start(const std::string& name);

  // The steps; each returns the outcome of the request that it sent or waited for.
  Outcome perform(const SendRequest& step);
  Outcome perform(const WaitForTime& step);
  Outcome perform(const WaitForRequest& step);
  Outcome perform(const WaitForValues& step);
  Outcome perform(const ChangeEmergency& step);
  Outcome perform(const AddFault& step);
  Outcome perform(const ClearFaults& step);
  Outcome perform(const Announce& step);
  Outcome perform(const LookAround&) { return {}; }

  const Scenario& scenario_;
  const PlayHooks& hooks_;
  IScheduler& scheduler_;
  StepRecorder recorder_;
  Run run_;
  std::map<std::string, std::unique_ptr<Background>> background_;  // by name
  std::uint64_t line_ = 0;                                         // of the running step
  PlayResult result_;
};

PlayResult Player::play() {
  if (hooks_.prepare) {
    hooks_.prepare(run_);
  }
  for (const Step& step : scenario_.steps) {
    if (is_over()) {
      break;
    }
    play_step(step);
  }
  result_.error = why_over();
  end_background_work();
  if (result_.error.empty()) {
    result_.error = scheduler_.error();
  }
  if (!result_.error.empty()) {
    run_.record(Note{result_.error, true});
  }
  result_.operations = run_.operations();
  result_.waits = run_.waits();
  recorder_.on_end(scheduler_.now());
  if (hooks_.finish) {
    hooks_.finish(run_);
  }
  return result_;
}

void Player::play_step(const Step& step) {
  line_ = step.line;
  run_.record(StepBegun{scenario_.file, step.line, step_text(step.action)});
  Outcome outcome = std::visit([this](const auto& action) { return perform(action); }, step.action);
  run_.record_changes();
  if (scheduler_.interrupted()) {
    return;  // what it was cut short of says nothing about the robot
  }
  StepRecord record = recorder_.take();
  record.outcome = std::move(outcome);
  check(step, record);
  if (hooks_.after_step) {
    hooks_.after_step(record);
  }
}

void Player::check(const Step& step, StepRecord& record) {
  for (ExpectationChecked& checked :
       check_expectations(step.expectations, scenario_.file, record, run_)) {
    ++(checked.held ? result_.held : result_.failed);
    run_.record(std::move(checked));
  }
}

void Player::expect_in_time(bool in_time, nanoseconds begun, nanoseconds at_most,
                            const std::string& what) {
  if (!in_time && is_over() && scheduler_.now() < begun + at_most) {
    return;  // the end of the run has cut it short
  }
  ++(in_time ? result_.held : result_.failed);
  ExpectationChecked checked{in_time, scenario_.file, line_, "wait", {}, {}};
  if (!in_time) {
    checked.expected = {"at most " + duration_text(at_most)};
    checked.actual = {what};
  }
  run_.record(std::move(checked));
}

bool Player::is_over() const { return !why_over().empty(); }

std::string Player::why_over() const {
  if (scheduler_.interrupted()) {
    return "interrupted";
  }
  if (scheduler_.now() >= scenario_.time_limit) {
    return "time limit of " + duration_text(scenario_.time_limit) + " reached";
  }
  return {};
}

void Player::end_background_work() {
  const ScopedWait wait(hooks_, scheduler_);
  for (const auto& [name, background] : background_) {
    scheduler_.join(background->thread);
  }
  run_.join_aside();
}

// --- Steps ---

Player::Outcome Player::perform(const SendRequest& step) {
  for (const PlannedEmergency& emergency : step.during) {
    if (const auto* const after = std::get_if<nanoseconds>(&emergency.at)) {
      run_.change_emergency_aside(emergency.edge, *after);
    }
  }
  std::vector<PlannedAction> planned = plan(step.during);
  if (step.background.empty()) {
    const ScopedWait wait(hooks_, scheduler_);
    return run_.request({}, step.request, std::move(planned));
  }
  Background& background = start(step.background);
  background.thread = scheduler_.start(
      "background " + step.background,
      [this, &step, &background, planned = std::move(planned)]() mutable {
        background.outcome = run_.request(step.background, step.request, std::move(planned));
      });
  return {};
}

std::vector<PlannedAction> Player::plan(const std::vector<PlannedEmergency>& during) {
  std::vector<PlannedAction> planned;
  for (const PlannedEmergency& emergency : during) {
    if (const auto* const moment = std::get_if<Moment>(&emergency.at)) {
      planned.push_back({*moment, [this, edge = emergency.edge](nanoseconds from_now) {
                           run_.change_emergency_aside(edge, from_now);
                         }});
    }
  }
  return planned;
}

Player::Background& Player::start(const std::string& name) {
  std::unique_ptr<Background>& place = background_[name];
  if (place != nullptr) {  // the name is used again: the file was checked for that
    scheduler_.join(place->thread);
  }
  place = std::make_unique<Background>();
  return *place;
}

Player::Outcome Player::perform(const WaitForTime& step) {
  const ScopedWait wait(hooks_, scheduler_, step.duration);
  scheduler_.sleep_until(std::min(scheduler_.now() + step.duration, scenario_.time_limit));
  return {};
}

Player::Outcome Player::perform(const WaitForRequest& step) {
  const ScopedWait wait(hooks_, scheduler_, step.at_most);
  const Background& background = *background_.at(step.background);
  const nanoseconds begun = scheduler_.now();
  const bool ended = scheduler_.join_until(background.thread, begun + step.at_most);
  expect_in_time(ended, begun, step.at_most, step.background + " has not ended");
  return ended ? background.outcome : Outcome();
}

Player::Outcome Player::perform(const WaitForValues& step) {
  const ScopedWait wait(hooks_, scheduler_, step.at_most);
  const nanoseconds begun = scheduler_.now();
  const nanoseconds deadline = begun + step.at_most;
  std::string found;
  const auto all_hold = [&] {
    for (const ValueCondition& condition : step.conditions) {
      if (!holds(condition, run_, found)) {
        found = condition.name + " " + found;
        return false;
      }
    }
    return true;
  };
  bool in_time = all_hold();
  while (!in_time && scheduler_.now() < deadline && !is_over()) {
    scheduler_.sleep_until(scheduler_.now() + kLook);
    in_time = all_hold();
  }
  expect_in_time(in_time, begun, step.at_most, found);
  return {};
}

Player::Outcome Player::perform(const ChangeEmergency& step) {
  if (step.edge == EmergencyEdge::Raise) {
    run_.raise_emergency();
  } else if (step.background.empty()) {
    const ScopedWait wait(hooks_, scheduler_);
    run_.clear_emergency();
  } else {
    start(step.background).thread =
        scheduler_.start("background " + step.background, [this] { run_.clear_emergency(); });
  }
  return {};
}

Player::Outcome Player::perform(const Announce& step) {
  run_.record(Note{step.text});
  return {};
}

Player::Outcome Player::perform(const AddFault& step) {
  run_.boards().add_fault(step.rule);
  return {};
}

Player::Outcome Player::perform(const ClearFaults& step) {
  if (step.name.empty()) {
    run_.boards().clear_faults();
  } else {
    run_.boards().clear_faults(step.name);
  }
  return {};
}

}  // namespace

PlayResult play(const Scenario& scenario, IScheduler& scheduler, IEventSink& sink,
                const PlayHooks& hooks) {
  return Player(scenario, scheduler, sink, hooks).play();
}

}  // namespace vantrel_can_bridge::workbench
