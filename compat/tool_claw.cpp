// Tool claws of the self-cleaning board: one move, its attempts, the claw's share of the
// procter request, and what an emergency stop does to all of it.

#include <algorithm>
#include <string_view>

#include "compat/bottom_compat_orchestrator.hpp"
#include "compat/reply.hpp"
#include "compat/text.hpp"
#include "compat/wait.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

/// How the recovery goes on after one claw.
enum class BottomCompatOrchestrator::Recovery { Continue, NewEmergency, BudgetExceeded };

namespace {

/// All that differs between extending and homing a claw.
struct Move {
  std::string_view op;       // operation of the claw's motor
  std::string_view verb;     // in lines for the robot's user
  std::string_view result;   // in lines for engineers
  std::uint8_t action_done;  // status bytes of a finished move
  std::uint8_t position_done;
  ClawState incomplete;  // recorded when the move was not confirmed
};

constexpr Move kExtend{"claw_extend", "伸出", "raised", 3, 2, ClawState::RaiseIncomplete};
constexpr Move kHome{"claw_home", "收回", "lowered", 4, 1, ClawState::LowerIncomplete};

const Move& move_to(ClawState target) { return target == ClawState::Raised ? kExtend : kHome; }

bool is_failed(std::uint8_t action_state) { return action_state == 5 || action_state == 6; }

/// Decides which status samples of one attempt are worth a line: those that differ from
/// the one before.
class StatusLog {
 public:
  bool is_news(std::uint8_t action_state, std::uint8_t position_state) {
    const bool same = seen_ && action_state == action_state_ && position_state == position_state_;
    seen_ = true;
    action_state_ = action_state;
    position_state_ = position_state;
    return !same;
  }

 private:
  bool seen_ = false;
  std::uint8_t action_state_ = 0;
  std::uint8_t position_state_ = 0;
};

BottomCompatReply aborted_by_emergency() {
  return failed("tools_claw aborted: selfclean_board in emergency");
}

}  // namespace

// --- State and status ---

std::size_t BottomCompatOrchestrator::claw_motor_index(std::int32_t select) const {
  const std::int64_t position = multiplex_select_to_index(select);
  return position < 0 ? config_.claw_motor_ids.size() : static_cast<std::size_t>(position);
}

ClawState BottomCompatOrchestrator::claw_state(std::size_t index) const {
  const std::lock_guard<std::mutex> lock(claw_mutex_);
  return index < claw_states_.size() ? claw_states_[index] : ClawState::Unknown;
}

std::string BottomCompatOrchestrator::claw_device_name(std::size_t index) const {
  return text("motor", config_.claw_motor_ids[index]);
}

BottomCompatReply BottomCompatOrchestrator::claw_query(std::size_t index,
                                                       std::uint8_t& action_state,
                                                       std::uint8_t& position_state) {
  const OperateResult answer = operate_gateway(config_.selfclean_board, claw_device_name(index),
                                               claw_query_op_, {}, claw_query_label_);
  if (!answer.success) {
    return failed(text("tools_claw query failed: ", answer.message));
  }
  if (answer.data.size() < 2) {
    return failed(text("tools_claw query result too short: bytes=", answer.data.size()));
  }
  action_state = answer.data[0];
  position_state = answer.data[1];
  return succeeded();
}

// --- One attempt ---

BottomCompatReply BottomCompatOrchestrator::claw_try_once(std::size_t index, ClawState target) {
  const Move& move = move_to(target);
  const OperateResult written =
      operate_gateway(config_.selfclean_board, claw_device_name(index), std::string(move.op), {},
                      text("tools_claw ", move.op));
  if (!written.success) {
    return failed(text("tools_claw ", move.op, " write failed: ", written.message));
  }

  const std::int64_t motor = config_.claw_motor_ids[index];
  const std::int64_t poll_interval_ms = std::max<std::int64_t>(config_.claw_poll_interval_ms, 10);
  const std::int64_t timeout_ms = std::max(config_.claw_timeout_ms, poll_interval_ms);
  const Deadline deadline(timeout_ms);
  StatusLog status_log;
  while (!deadline.reached()) {
    wait_for_ms(poll_interval_ms);
    if (selfclean_emergency_) {
      return aborted_by_emergency();
    }
    std::uint8_t action_state = 0;
    std::uint8_t position_state = 0;
    const BottomCompatReply query = claw_query(index, action_state, position_state);
    if (!query.success) {
      debug_log(text("tools_claw query failed (retrying): ", query.message));
      log_warn(text("工具", motor, move.verb, "查询失败，重试中：", query.message));
      continue;
    }
    if (action_state == move.action_done && position_state == move.position_done) {
      return succeeded();
    }
    if (is_failed(action_state)) {
      return failed(text("tools_claw ", move.op, " failed (action_state=", action_state,
                         ", position_state=", position_state, ")"));
    }
    if (status_log.is_news(action_state, position_state)) {
      log_info(text("工具", motor, move.verb, "动作中 action_state=", action_state,
                    " position_state=", position_state));
    }
  }
  return failed(text("tools_claw ", move.op, " timeout after ", timeout_ms, "ms"));
}

// --- A move with its retries ---

BottomCompatReply BottomCompatOrchestrator::claw_execute(std::size_t index, ClawState target) {
  const std::lock_guard<std::mutex> lock(claw_mutex_);
  if (selfclean_emergency_) {
    return failed("tools_claw rejected: selfclean_board in emergency");
  }
  const Move& move = move_to(target);
  const std::string device = claw_device_name(index);
  if (claw_states_[index] == target) {
    debug_log(text("tools_claw idempotent: ", device, " already ", move.result));
    return succeeded();
  }
  debug_log(text("tools_claw execute: ", device, " op=", move.op));

  const std::int64_t motor = config_.claw_motor_ids[index];
  // Unsigned: one more than the largest retry count does not fit the signed type.
  const std::uint64_t attempts =
      static_cast<std::uint64_t>(std::max<std::int64_t>(config_.claw_retry_count, 0)) + 1;
  for (std::uint64_t attempt = 1;; ++attempt) {
    if (selfclean_emergency_) {
      claw_states_[index] = move.incomplete;
      return aborted_by_emergency();
    }
    BottomCompatReply reply = claw_try_once(index, target);
    if (reply.success) {
      claw_states_[index] = target;
      debug_log(text("tools_claw ok: ", device, " ", move.result));
      log_info(text("工具", motor, move.verb, "成功"));
      return reply;
    }
    debug_log(text("tools_claw attempt ", attempt, "/", attempts, " failed: ", reply.message));
    log_warn(text("工具", motor, move.verb, "第 ", attempt, "/", attempts, " 次尝试失败：",
                  reply.message));
    if (attempt == attempts) {
      claw_states_[index] = move.incomplete;
      BottomCompatReply given_up = failed(
          text("tools_claw ", move.op, " failed after ", attempts, " attempts: ", reply.message));
      log_warn(text("工具", motor, move.verb, "失败：", given_up.message));
      return given_up;
    }
    wait_for_ms(config_.claw_retry_backoff_ms);
  }
}

// --- The claw's share of a procter request ---

BottomCompatReply BottomCompatOrchestrator::handle_tools_claw(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  debug_log(text("CMD_PROCTER tools_claw: cmd=", request.tools_claw_cmd,
                 " duty=", request.tools_claw_duty, " select=", request.tools_claw_select));
  // Comes before the enable test: a procter request without a claw command succeeds also
  // on a robot whose claws are disabled.
  if (request.tools_claw_cmd == 0 && request.tools_claw_duty == 0) {
    debug_log("tools_claw skipped: empty command");
    return succeeded();
  }
  if (!config_.claw_enabled) {
    return failed("tools_claw disabled");
  }
  if (request.tools_claw_cmd != 1 && request.tools_claw_cmd != 3) {
    return failed(text("unsupported tools_claw cmd: ", request.tools_claw_cmd));
  }
  const ClawState target = request.tools_claw_cmd == 1 ? ClawState::Raised : ClawState::Lowered;
  const std::size_t index = claw_motor_index(request.tools_claw_select);
  if (index >= config_.claw_motor_ids.size()) {
    return failed(text("tools_claw select out of range: ", request.tools_claw_select));
  }
  log_info(text("收到爪子控制请求 工具", config_.claw_motor_ids[index], " ", move_to(target).verb,
                " cmd=", request.tools_claw_cmd, " duty=", request.tools_claw_duty));
  return claw_execute(index, target);
}

// --- Emergency stop ---

void BottomCompatOrchestrator::on_emergency_active() {
  selfclean_emergency_.exchange(true);
  bool need_lower = true;  // whatever moves right now may be stopped anywhere
  if (const std::unique_lock<std::mutex> lock(claw_mutex_, std::try_to_lock); lock.owns_lock()) {
    need_lower = std::any_of(claw_states_.begin(), claw_states_.end(),
                             [](ClawState state) { return state != ClawState::Lowered; });
  }
  need_lower_.exchange(need_lower);
  debug_log(text("tools_claw emergency active (selfclean_board): need_lower=", need_lower));
}

void BottomCompatOrchestrator::on_emergency_recovered() {
  selfclean_emergency_.exchange(false);
  const bool need_lower = need_lower_.exchange(false);
  if (!need_lower || !config_.claw_emergency_recovery) {
    debug_log("tools_claw emergency recovered: no lower needed");
    return;
  }
  debug_log("tools_claw emergency recovered: recovering non-lowered motors");
  const std::int64_t budget_ms = std::max<std::int64_t>(config_.claw_recovery_budget_ms, 1);
  const Deadline deadline(budget_ms);

  const std::lock_guard<std::mutex> lock(claw_mutex_);
  Recovery outcome = Recovery::Continue;
  for (std::size_t index = 0; index < claw_states_.size() && outcome == Recovery::Continue;
       ++index) {
    if (claw_states_[index] != ClawState::Lowered) {
      outcome = recover_claw(index, deadline);
    }
  }
  if (outcome == Recovery::NewEmergency) {
    need_lower_.exchange(true);
    log_warn("工具爪恢复期间再次收到急停，中止恢复。");
  } else if (outcome == Recovery::BudgetExceeded) {
    need_lower_.exchange(true);
    log_warn(text("工具爪恢复超过总预算 ", budget_ms, "ms，剩余电机保持待恢复。"));
  }
}

BottomCompatOrchestrator::Recovery BottomCompatOrchestrator::recover_claw(
    std::size_t index, const Deadline& deadline) {
  if (selfclean_emergency_) {
    return Recovery::NewEmergency;
  }
  if (deadline.reached()) {
    return Recovery::BudgetExceeded;
  }
  // A claw that stands anywhere between its ends is raised first, so that it is lowered
  // from a known position; one that cannot be raised is left where it is.
  if (claw_states_[index] != ClawState::Raised) {
    const BottomCompatReply raised = claw_try_once(index, ClawState::Raised);
    if (selfclean_emergency_) {
      return Recovery::NewEmergency;
    }
    if (!raised.success) {
      debug_log(text("tools_claw recovery raise failed for ", claw_device_name(index), ": ",
                     raised.message));
      return deadline.reached() ? Recovery::BudgetExceeded : Recovery::Continue;
    }
    claw_states_[index] = ClawState::Raised;
  }
  if (deadline.reached()) {
    return Recovery::BudgetExceeded;
  }
  const BottomCompatReply lowered = claw_try_once(index, ClawState::Lowered);
  if (selfclean_emergency_) {
    return Recovery::NewEmergency;
  }
  if (lowered.success) {
    claw_states_[index] = ClawState::Lowered;
  } else {
    debug_log(text("tools_claw recovery lower failed for ", claw_device_name(index), ": ",
                   lowered.message));
  }
  // Also after the last claw: a recovery that ends too late is reported, even if every
  // claw is lowered by now.
  return deadline.reached() ? Recovery::BudgetExceeded : Recovery::Continue;
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
