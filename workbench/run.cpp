#include "workbench/run.hpp"

#include <algorithm>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "workbench/device_values.hpp"
#include "workbench/duration_text.hpp"

namespace vantrel_can_bridge::workbench {

using business_layer::bottom_compat::BottomCompatConfig;
using business_layer::bottom_compat::BottomCompatOrchestrator;
using std::chrono::nanoseconds;

/// What a thread of the run works on.
struct Run::Activity {
  ActivityId id = 0;
  std::vector<PlannedAction> planned;  // counted within the activity
  std::uint64_t operations = 0;        // begun so far
  std::uint64_t waits = 0;             // begun so far
  bool is_operating = false;           // what sleeps now is a device
  OperationId operation = 0;           // the last one
  std::string label;                   // of the operation that the log has announced

  static thread_local Activity* current;

  /// The calling thread works on `this` until the end of the scope.
  class Scope {
   public:
    explicit Scope(Activity& activity) : before_(std::exchange(current, &activity)) {}
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() { current = before_; }

   private:
    Activity* const before_;
  };
};

thread_local Run::Activity* Run::Activity::current = nullptr;

namespace {

std::vector<PlannedAction> take_due(std::vector<PlannedAction>& planned, Moment::Kind kind,
                                    std::uint64_t number) {
  const auto due =
      std::stable_partition(planned.begin(), planned.end(), [&](const PlannedAction& one) {
        return one.moment.kind != kind || one.moment.number != number;
      });
  std::vector<PlannedAction> taken(std::make_move_iterator(due),
                                   std::make_move_iterator(planned.end()));
  planned.erase(due, planned.end());
  return taken;
}

std::vector<std::pair<std::string, std::int64_t>> nonzero_fields(const Request& request) {
  std::vector<std::pair<std::string, std::int64_t>> fields;
  for (const RequestField& field : request_fields()) {
    if (field.name != "cmd" && field.get(request) != 0) {
      fields.emplace_back(field.name, field.get(request));
    }
  }
  return fields;
}

}  // namespace

Run::Run(const BottomCompatConfig& config, const RobotDescription& robot, const RunOptions& options,
         IScheduler& scheduler, IEventSink& sink)
    : robot_(robot),
      options_(options),
      scheduler_(scheduler),
      sink_(sink),
      boards_(std::make_shared<SimulatedBoards>(robot, std::make_shared<SteadyClock>(),
                                                static_cast<IBoardsObserver*>(this), options.seed)),
      orchestrator_(std::make_unique<BottomCompatOrchestrator>(
          // Shared in name alone: the orchestrator goes before its gateway.
          std::shared_ptr<business_layer::IBridgeGateway>(std::shared_ptr<void>(), this), config,
          [this](const std::string& text) { log(LogChannel::Debug, text); },
          [this](const std::string& text) { log(LogChannel::Info, text); },
          [this](const std::string& text) { log(LogChannel::Warn, text); })) {
  for (const DeviceValue& value : device_values(boards_->snapshot(), robot_)) {
    seen_[value.name] = value.text;
  }
  scheduler_.observe_waits(this);
}

Run::~Run() { scheduler_.observe_waits(nullptr); }

RequestOutcome Run::request(const std::string& name, const Request& request,
                            std::vector<PlannedAction> planned) {
  Activity activity;
  activity.planned = std::move(planned);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    activity.id = ++activities_;
    write(RequestBegun{activity.id, name, request.cmd, std::string(command_name(request.cmd)),
                       nonzero_fields(request)});
  }
  const Activity::Scope scope(activity);
  RequestOutcome outcome;
  try {
    outcome.reply = orchestrator_->handle(request);
  } catch (const std::exception& error) {
    outcome.thrown = error.what();
  }
  record(RequestEnded{activity.id, outcome.reply, outcome.thrown});
  return outcome;
}

void Run::plan(PlannedAction planned) {
  const std::lock_guard<std::mutex> lock(mutex_);
  planned_.push_back(std::move(planned));
}

void Run::raise_emergency() {
  boards_->raise_emergency();
  orchestrator_->on_emergency_active();
}

void Run::clear_emergency() {
  boards_->clear_emergency();
  Activity activity;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    activity.id = ++activities_;
    write(RecoveryBegun{activity.id});
  }
  const Activity::Scope scope(activity);
  std::string thrown;
  try {
    orchestrator_->on_emergency_recovered();
  } catch (const std::exception& error) {
    thrown = error.what();
  }
  record(RecoveryEnded{activity.id, thrown});
}

void Run::change_emergency_aside(EmergencyEdge edge, nanoseconds after) {
  const nanoseconds time = scheduler_.now() + after;
  const IScheduler::ThreadId thread = scheduler_.start("emergency", [this, edge, time] {
    scheduler_.sleep_until(std::min(time, options_.time_limit));
    if (scheduler_.now() < time) {
      return;  // the run has ended before
    }
    edge == EmergencyEdge::Raise ? raise_emergency() : clear_emergency();
  });
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    aside_.push_back(thread);
  }
  if (edge == EmergencyEdge::Raise && after.count() == 0) {
    scheduler_.join(thread);
  }
}

void Run::join_aside() {
  // By index: a thread that is waited for may start another.
  const auto thread_at = [this](std::size_t index) -> std::optional<IScheduler::ThreadId> {
    const std::lock_guard<std::mutex> lock(mutex_);
    return index < aside_.size() ? std::optional(aside_[index]) : std::nullopt;
  };
  for (std::size_t index = 0; const auto thread = thread_at(index); ++index) {
    scheduler_.join(*thread);
  }
}

std::uint64_t Run::operations() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return operations_;
}

std::uint64_t Run::waits() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return waits_;
}

// --- What the orchestrator does ---

OperateResult Run::operate(const std::string& board, const std::string& device,
                           const std::string& op, const std::vector<std::uint8_t>& payload) {
  Activity& activity = *Activity::current;
  end_if_over();
  OperationBegun begun{0, activity.id, board, device, op, payload, std::move(activity.label)};
  activity.label.clear();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    begun.operation = ++operations_;
  }
  activity.operation = begun.operation;
  const std::uint64_t in_activity = ++activity.operations;
  record(begun);
  reach(Moment::Kind::BeforeOperation, in_activity, begun.operation);

  OperationEnded ended{begun, {}, {}};
  activity.is_operating = true;
  try {
    ended.result = boards_->operate(board, device, op, payload);
  } catch (const std::exception& error) {
    ended.thrown = error.what();
  }
  activity.is_operating = false;
  record_changes();
  record(ended);
  reach(Moment::Kind::AfterOperation, in_activity, begun.operation);
  if (!ended.thrown.empty()) {
    throw std::runtime_error(ended.thrown);
  }
  return ended.result;
}

void Run::on_operation(const OperationEvent& event) {
  if (!event.fault.empty()) {
    const Activity& activity = *Activity::current;
    record(FaultApplied{activity.operation, activity.id, event.operation.device, event.operation.op,
                        event.fault});
  }
}

void Run::on_emergency(bool active) {
  record(active ? EventBody(EmergencyRaised{}) : EventBody(EmergencyCleared{}));
  record_changes();
}

void Run::wait_begun(nanoseconds duration) {
  Activity* const activity = Activity::current;
  if (activity == nullptr || activity->is_operating) {
    return;
  }
  std::uint64_t in_run = 0;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    in_run = ++waits_;
    write(WaitBegun{activity->id, duration});
  }
  reach(Moment::Kind::InWait, ++activity->waits, in_run, duration / 2);
}

void Run::wait_ended() {
  const Activity* const activity = Activity::current;
  if (activity != nullptr && !activity->is_operating) {
    record(WaitEnded{activity->id});
  }
}

void Run::log(LogChannel channel, const std::string& text) {
  constexpr std::string_view kAnnouncement = "operate begin: ";
  Activity* const activity = Activity::current;
  if (activity != nullptr && channel == LogChannel::Debug &&
      text.compare(0, kAnnouncement.size(), kAnnouncement) == 0) {
    // No label holds this.
    const std::size_t end = text.find(" board=", kAnnouncement.size());
    activity->label = text.substr(kAnnouncement.size(), end - kAnnouncement.size());
  }
  record(LogLine{activity == nullptr ? 0 : activity->id, channel, text});
}

void Run::end_if_over() {
  if (scheduler_.interrupted()) {
    throw std::runtime_error("the run was interrupted");
  }
  if (scheduler_.now() >= options_.time_limit) {
    throw std::runtime_error("the run has reached its time limit of " +
                             duration_text(options_.time_limit));
  }
}

void Run::reach(Moment::Kind kind, std::uint64_t in_activity, std::uint64_t in_run,
                nanoseconds from_now) {
  std::vector<PlannedAction> due = take_due(Activity::current->planned, kind, in_activity);
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::vector<PlannedAction> more = take_due(planned_, kind, in_run);
    std::move(more.begin(), more.end(), std::back_inserter(due));
  }
  for (const PlannedAction& one : due) {
    one.action(from_now);
  }
}

// --- The record ---

void Run::record(EventBody body) {
  const std::lock_guard<std::mutex> lock(mutex_);
  write(std::move(body));
}

void Run::record_changes() {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (DeviceValue& value : device_values(boards_->snapshot(), robot_)) {
    std::string& seen = seen_[value.name];
    if (seen != value.text) {
      seen = value.text;
      write(DeviceStateChanged{std::move(value.board), std::move(value.device),
                               std::move(value.quantity), value.value, std::move(value.text)});
    }
  }
}

void Run::write(EventBody body) {
  sink_.on_event({scheduler_.now(), scheduler_.current_thread(), std::move(body)});
}

}  // namespace vantrel_can_bridge::workbench
