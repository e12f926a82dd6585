// The two pieces that a bridge adds around the orchestrator: a gateway on its bus, and a
// watcher that passes the emergency stop on. The bus is a stand-in that answers at once.

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"

using vantrel_can_bridge::OperateResult;
using vantrel_can_bridge::business_layer::IBridgeGateway;
namespace bottom_compat = vantrel_can_bridge::business_layer::bottom_compat;

using Bytes = std::vector<std::uint8_t>;

/// Stands where the bridge's own bus is: one claw, and no board but the self-cleaning one.
class Bus {
 public:
  /// The board's answer; throws where there is none in time.
  Bytes exchange(const std::string& board, const std::string& op) {
    if (board != "selfclean_board") {
      throw std::runtime_error("no answer in 20 ms");
    }
    if (op == "claw_query_state") {
      return extended_ ? Bytes{3, 2} : Bytes{4, 1};
    }
    extended_ = op == "claw_extend";
    return {};
  }

 private:
  bool extended_ = false;
};

class BusGateway : public IBridgeGateway {
 public:
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const Bytes& /*payload*/) override {
    const std::lock_guard<std::mutex> lock(mutex_);  // several threads come here at once
    try {
      return {true, bus_.exchange(board, op), ""};
    } catch (const std::exception& error) {
      // A failure of the bus is a result; what we throw would leave through `handle`.
      return {false, {}, board + ' ' + device + ' ' + op + ": " + error.what()};
    }
  }

 private:
  std::mutex mutex_;  // leaf: nothing is called under it but the bus
  Bus bus_;           // guarded by mutex_
};

/// Passes the emergency stop of the self-cleaning board on to the orchestrator. Recoveries
/// move claws and block: they run on a thread of their own.
class EmergencyWatcher {
 public:
  explicit EmergencyWatcher(bottom_compat::BottomCompatOrchestrator& orchestrator)
      : orchestrator_(orchestrator), recoveries_([this] { run_recoveries(); }) {}

  EmergencyWatcher(const EmergencyWatcher&) = delete;
  EmergencyWatcher& operator=(const EmergencyWatcher&) = delete;

  /// Ends when the recoveries that are due have ended.
  ~EmergencyWatcher() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ending_ = true;
    }
    changed_.notify_one();
    recoveries_.join();
  }

  /// For the thread that reads the bus, with every status report of the board, not only with
  /// those that bring a change: a stop that comes just while a recovery starts is then
  /// repeated by the next report. Does not wait for claws.
  void on_report(bool stopped) {
    if (stopped) {
      orchestrator_.on_emergency_active();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    recovery_due_ = !stopped && (stopped_ || recovery_due_);
    stopped_ = stopped;
    changed_.notify_one();
  }

 private:
  void run_recoveries() {
    std::unique_lock<std::mutex> lock(mutex_);
    while (true) {
      changed_.wait(lock, [this] { return recovery_due_ || ending_; });
      if (!recovery_due_) {
        return;
      }
      recovery_due_ = false;
      lock.unlock();
      orchestrator_.on_emergency_recovered();
      lock.lock();
    }
  }

  bottom_compat::BottomCompatOrchestrator& orchestrator_;
  std::mutex mutex_;                 // never held during a call of the orchestrator
  std::condition_variable changed_;  // with mutex_
  bool stopped_ = false;             // guarded by mutex_
  bool recovery_due_ = false;        // guarded by mutex_
  bool ending_ = false;              // guarded by mutex_
  std::thread recoveries_;           // last: it uses all of the above
};

int main() {
  bottom_compat::BottomCompatConfig config;
  config.bottom_board = "bottom_board";
  config.selfclean_board = "selfclean_board";
  config.claw_enabled = true;
  config.claw_motor_ids = {1};
  config.claw_poll_interval_ms = 20;
  config.claw_timeout_ms = 5000;
  config.claw_emergency_recovery = true;
  config.claw_recovery_budget_ms = 20000;

  const auto to_user = [](const std::string& line) { std::cout << line << '\n'; };
  bottom_compat::BottomCompatOrchestrator orchestrator(std::make_shared<BusGateway>(), config,
                                                       nullptr, to_user, to_user);
  const auto ask = [&orchestrator](const vantrel_protocol::srv::BottomInteractSrv_Request& asked) {
    const bottom_compat::BottomCompatReply reply = orchestrator.handle(asked);
    std::cout << "cmd " << asked.cmd << ": " << (reply.success ? "success" : reply.message) << '\n';
  };

  vantrel_protocol::srv::BottomInteractSrv_Request unlock;
  unlock.cmd = 7;
  ask(unlock);

  vantrel_protocol::srv::BottomInteractSrv_Request extend;
  extend.cmd = 0;
  extend.tools_claw_cmd = 1;
  extend.tools_claw_select = 1;
  ask(extend);
  {
    EmergencyWatcher watcher(orchestrator);
    watcher.on_report(true);
    ask(extend);
    watcher.on_report(false);
  }
  const bool lowered = orchestrator.claw_state(0) == bottom_compat::ClawState::Lowered;
  std::cout << "after the recovery: " << (lowered ? "lowered" : "not lowered") << '\n';
  return lowered ? 0 : 1;
}
