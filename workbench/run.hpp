#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"
#include "workbench/event.hpp"
#include "workbench/i_boards_observer.hpp"
#include "workbench/request_fields.hpp"
#include "workbench/robot_description.hpp"
#include "workbench/scheduler.hpp"
#include "workbench/simulated_boards.hpp"

namespace vantrel_can_bridge::workbench {

/// A moment that is found by counting what happens.
struct Moment {
  enum class Kind {
    BeforeOperation,  ///< the orchestrator has asked for it, the board does not know yet
    AfterOperation,   ///< it is answered, the orchestrator does not know yet
    InWait,           ///< in the middle of the sleep
  };
  Kind kind = Kind::BeforeOperation;
  std::uint64_t number = 1;  ///< from 1
};

enum class EmergencyEdge { Raise, Clear };

/// Something to be done at a moment, once.
struct PlannedAction {
  Moment moment;
  /// Told how long it is until the moment: half of a wait, else nothing.
  std::function<void(std::chrono::nanoseconds)> action;
};

/// What came of a request.
struct RequestOutcome {
  business_layer::bottom_compat::BottomCompatReply reply;
  std::string thrown;  ///< by the gateway, through the orchestrator; empty where it replied
};

struct RunOptions {
  std::uint64_t seed = 0;  ///< of the fault rules' chances
  /// From then on every operation throws, so that a run which waits for ever ends.
  std::chrono::nanoseconds time_limit = std::chrono::hours(1);
};

/// One robot from power-on, with its orchestrator and simulated boards, and the record of
/// all that happens to it.
///
/// Its members belong to the threads of `scheduler`; requests may run side by side. Once the
/// run is interrupted, or its time is up, every device operation throws, and so all
/// requests end.
///
/// `mutex_` is taken after all locks of orchestrator, and before those of the boards; it is
/// held while the sink is called.
class Run final : private business_layer::IBridgeGateway,
                  private IBoardsObserver,
                  private IWaitObserver {
 public:
  /// `scheduler` and `sink` outlive the run, whose threads have ended before it goes.
  Run(const business_layer::bottom_compat::BottomCompatConfig& config,
      const RobotDescription& robot, const RunOptions& options, IScheduler& scheduler,
      IEventSink& sink);
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;
  ~Run() override;

  /// Carries out one request on the calling thread. `planned` counts within the request.
  RequestOutcome request(const std::string& name, const Request& request,
                         std::vector<PlannedAction> planned = {});

  /// Plans something for a moment that is counted through the whole run. Before the first
  /// request.
  void plan(PlannedAction planned);

  /// Raise and clear the stop of the self-cleaning board and tell the orchestrator, as the
  /// bridge does. Not on a thread that carries out a request. `clear_emergency` works until
  /// the recovery has ended.
  void raise_emergency();
  void clear_emergency();

  /// Does the same on a thread "emergency", from wherever it is called. Where `after` is 0,
  /// a stop is raised when this returns, and a recovery has begun to work or to wait.
  void change_emergency_aside(EmergencyEdge edge, std::chrono::nanoseconds after);
  /// Waits until all that was started aside has ended.
  void join_aside();

  [[nodiscard]] SimulatedBoards& boards() { return *boards_; }
  [[nodiscard]] const RobotDescription& robot() const { return robot_; }
  [[nodiscard]] IScheduler& scheduler() { return scheduler_; }
  /// Takes the claws' mutex: waits for a running move.
  [[nodiscard]] business_layer::bottom_compat::ClawState claw_state(std::size_t index) const {
    return orchestrator_->claw_state(index);
  }
  [[nodiscard]] std::uint64_t operations() const;  ///< begun so far
  [[nodiscard]] std::uint64_t waits() const;       ///< begun so far

  /// Adds to the record, on behalf of the calling thread.
  void record(EventBody body);
  /// Adds how the boards differ from when they were looked at last.
  void record_changes();

 private:
  struct Activity;

  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override;
  void on_operation(const OperationEvent& event) override;
  void on_emergency(bool active) override;
  void wait_begun(std::chrono::nanoseconds duration) override;
  void wait_ended() override;
  void log(LogChannel channel, const std::string& text);

  void end_if_over();
  void reach(Moment::Kind kind, std::uint64_t in_activity, std::uint64_t in_run,
             std::chrono::nanoseconds from_now = {});
  void write(EventBody body);  // the caller holds mutex_

  const RobotDescription robot_;  // fixed at construction, as are:
  const RunOptions options_;
  IScheduler& scheduler_;
  IEventSink& sink_;
  std::shared_ptr<SimulatedBoards> boards_;
  std::unique_ptr<business_layer::bottom_compat::BottomCompatOrchestrator> orchestrator_;

  mutable std::mutex mutex_;  // guards all that follows
  ActivityId activities_ = 0;
  OperationId operations_ = 0;
  std::uint64_t waits_ = 0;
  std::map<std::string, std::string> seen_;  // texts of the boards' values, by name
  std::vector<PlannedAction> planned_;       // counted through the whole run
  std::vector<IScheduler::ThreadId> aside_;  // threads "emergency"
};

}  // namespace vantrel_can_bridge::workbench
