#include "workbench/cleaning_round.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "compat/bottom_compat_orchestrator.hpp"
#include "workbench/clock.hpp"
#include "workbench/i_boards_observer.hpp"
#include "workbench/reference_robot.hpp"
#include "workbench/simulated_boards.hpp"
#include "workbench/state_table.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using business_layer::bottom_compat::BottomCompatConfig;
using business_layer::bottom_compat::BottomCompatOrchestrator;
using business_layer::bottom_compat::BottomCompatReply;
using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// The claw that the round moves: the first, motor 1 of the reference robot.
constexpr std::int32_t kClawSelect = 1;
constexpr std::size_t kClaw = 0;
constexpr std::string_view kClawDevice = "motor1";

BottomCompatReply success() { return {true, 0, {}}; }

BottomCompatReply failure(std::string message) { return {false, 1, std::move(message)}; }

bool same(const BottomCompatReply& a, const BottomCompatReply& b) {
  return a.success == b.success && a.code == b.code && a.message == b.message;
}

std::string expectation(const BottomCompatReply& reply) {
  return fmt::format("expected: {}, code {}, message \"{}\"", reply.success ? "success" : "failure",
                     reply.code, reply.message);
}

class CleaningRound final : public IBoardsObserver {
 public:
  CleaningRound(std::ostream& out, const RoundOptions& options);

  bool play();

 private:
  // The steps, in their order.
  void introduce();
  void light_up();
  void lock_wheels();
  void start_cleaning();
  void stop_in_an_emergency();
  void ask_for_what_is_gone();
  void switch_everything_off();
  void show_the_boards();

  void send(const Request& request, const BottomCompatReply& expected);
  void check(bool held, std::string_view text);

  void on_operation(const OperationEvent& event) override;
  void on_emergency(bool active) override { view_.emergency(active); }

  /// Whether `event` is a status query that finds the claw on its way between its middle and
  /// home.
  [[nodiscard]] bool claw_is_past_its_middle(const OperationEvent& event) const;

  const RoundOptions options_;
  const BottomCompatConfig config_;
  RunView view_;
  std::shared_ptr<SimulatedBoards> boards_;
  BottomCompatOrchestrator orchestrator_;

  int failed_checks_ = 0;
  int checks_ = 0;
  std::atomic<int> lost_queries_{0};        // atomic: counted by whichever thread polls
  std::atomic<bool> stop_half_way_{false};  // atomic: taken by whichever thread polls
};

CleaningRound::CleaningRound(std::ostream& out, const RoundOptions& options)
    : options_(options),
      config_(reference_robot(options.claw_travel_time)),
      view_(out, options.view, std::make_shared<SteadyClock>()),
      // A move is then seen on its way nine times at least, however busy the machine.
      boards_(std::make_shared<SimulatedBoards>(
          describe_robot(config_, options.claw_travel_time),
          std::make_shared<PacedClock>(std::make_shared<SteadyClock>(),
                                       options.claw_travel_time / 9),
          this)),
      orchestrator_(
          boards_, config_, [this](const std::string& line) { view_.debug(line); },
          [this](const std::string& line) { view_.info(line); },
          [this](const std::string& line) { view_.warn(line); }) {
  for (const FaultRule& fault : options.faults) {
    boards_->add_fault(fault);
  }
}

bool CleaningRound::play() {
  introduce();
  light_up();
  lock_wheels();
  start_cleaning();
  stop_in_an_emergency();
  ask_for_what_is_gone();
  switch_everything_off();
  show_the_boards();
  return failed_checks_ == 0;
}

void CleaningRound::introduce() {
  view_.block(fmt::format(
      "A cleaning round on simulated boards: cleaning motors {}, claws on motors {}.\n"
      "▶ request   ◀ reply   ✔ carried out   ✘ failed   ■ □ emergency stop\n",
      fmt::join(config_.tools_clean_motor_slots, ", "), fmt::join(config_.claw_motor_ids, ", ")));
}

void CleaningRound::light_up() {
  view_.heading("1. Lights");
  Request sides;
  sides.cmd = 2;
  sides.bottom_rgb = 0x00ff80;
  sides.bottom_level = 200;
  sides.right_rgb = 0xff8000;
  sides.right_level = 80;
  send(sides, success());

  Request fill;
  fill.cmd = 9;
  fill.rgb = 0x808080;
  send(fill, success());

  Request projection;
  projection.cmd = 14;
  projection.front_rgb = 1;
  projection.rear_rgb = 1;
  send(projection, success());
}

void CleaningRound::lock_wheels() {
  view_.heading("2. The wheels are locked");
  Request lock;
  lock.cmd = 8;
  lock.wheel_cmd = 1;
  send(lock, success());
}

void CleaningRound::start_cleaning() {
  view_.heading("3. Cleaning starts; the claw's first status query gets no answer");
  Request end_tool;
  end_tool.cmd = 13;
  end_tool.pump_cmd = 1;
  end_tool.pump_duty = 80;
  send(end_tool, success());

  boards_->add_fault({config_.selfclean_board, std::string(kClawDevice), "claw_query_state", 1,
                      Refuse{"no answer in 20 ms"}});
  Request procter;
  procter.cmd = 0;
  procter.tools_cmd = 1;
  procter.tools_duty = 20;
  procter.tools_select = 1;
  procter.clean_cmd = 1;
  procter.clean_duty = 60;
  procter.clean_select = 2;
  procter.tools_claw_cmd = 1;
  procter.tools_claw_select = kClawSelect;
  send(procter, success());

  const BoardsSnapshot now = boards_->snapshot();
  check(now.cleaning_motors.front().rpm() == 600, "cleaning motor 5 turns at 600 rpm");
  check(now.open_valves == 0x02 && now.pump_duty_percent[0] == 60,
        "valve 1 is open, and the clean pump behind it runs at 60 %");
  check(now.claws[kClaw].action == ClawAction::Extended, "the claw is extended");
  check(lost_queries_ == 1, "the query that got no answer was asked again");
}

void CleaningRound::stop_in_an_emergency() {
  view_.heading("4. An emergency stop in the middle of a claw move, and the recovery");
  Request home;
  home.cmd = 0;
  home.tools_claw_cmd = 3;
  home.tools_claw_select = kClawSelect;

  stop_half_way_ = true;
  send(home, failure("tools_claw aborted: selfclean_board in emergency"));
  check(!stop_half_way_.exchange(false), "the stop came while the claw was on its way");
  check(boards_->snapshot().claws[kClaw].action == ClawAction::Stopped,
        "the claw stands still between its ends");
  send(home, failure("tools_claw rejected: selfclean_board in emergency"));

  boards_->clear_emergency();
  orchestrator_.on_emergency_recovered();
  const std::vector<ClawStatus> claws = boards_->snapshot().claws;
  check(std::all_of(claws.begin(), claws.end(),
                    [](const ClawStatus& claw) { return claw.action == ClawAction::Homed; }),
        "both claws were raised and lowered again");
}

void CleaningRound::ask_for_what_is_gone() {
  view_.heading("5. A retired and an unknown command");
  Request retired;
  retired.cmd = 5;
  send(retired, failure("cmd 5 unsupported after bottom migration"));
  Request unknown;
  unknown.cmd = 42;
  send(unknown, failure("cmd 42 unknown bottom command"));
}

void CleaningRound::switch_everything_off() {
  view_.heading("6. Everything is switched off");
  Request procter;
  procter.cmd = 0;
  procter.tools_select = 1;
  procter.clean_select = 2;
  procter.tools_claw_cmd = 3;
  procter.tools_claw_select = kClawSelect;
  send(procter, success());

  Request end_tool;
  end_tool.cmd = 13;
  send(end_tool, success());

  Request unlock;
  unlock.cmd = 8;
  send(unlock, success());

  Request projection;
  projection.cmd = 14;
  send(projection, success());

  Request fill;
  fill.cmd = 9;
  send(fill, success());

  Request sides;  // black would leave the LEDs as they are; level 0 darkens them
  sides.cmd = 2;
  sides.bottom_rgb = 0x00ff80;
  send(sides, success());
}

void CleaningRound::show_the_boards() {
  view_.heading("The boards at the end");
  const std::vector<DeviceRow> rows = device_rows(boards_->snapshot(), config_);
  view_.block(state_table(rows, options_.view.coloured));
  for (const DeviceRow& row : rows) {
    ++checks_;
    failed_checks_ += row.at_rest ? 0 : 1;
  }
  const bool held = failed_checks_ == 0;
  view_.block(
      "\n" +
      styled(held ? Style::Good : Style::Alarm,
             held ? fmt::format("✔ The round went as it should: all {} checks held.", checks_)
                  : fmt::format("✘ The round did not go as it should: {} of {} checks "
                                "failed.",
                                failed_checks_, checks_),
             options_.view.coloured) +
      "\n");
}

void CleaningRound::send(const Request& request, const BottomCompatReply& expected) {
  view_.request(request);
  const BottomCompatReply reply = orchestrator_.handle(request);
  view_.reply(reply);
  ++checks_;
  if (!same(reply, expected)) {
    ++failed_checks_;
    view_.check(false, expectation(expected));
  }
}

void CleaningRound::check(bool held, std::string_view text) {
  ++checks_;
  failed_checks_ += held ? 0 : 1;
  view_.check(held, text);
}

void CleaningRound::on_operation(const OperationEvent& event) {
  view_.operation(event);
  if (event.operation.op == "claw_query_state" && !event.result.success) {
    ++lost_queries_;
  }
  if (stop_half_way_ && claw_is_past_its_middle(event) && stop_half_way_.exchange(false)) {
    // The bridge reports a stop on a thread of its own, while the move goes on. This one
    // waits until it is reported, so that the move goes no further in any run.
    std::thread([this] {
      boards_->raise_emergency();
      orchestrator_.on_emergency_active();
    }).join();
  }
}

bool CleaningRound::claw_is_past_its_middle(const OperationEvent& event) const {
  if (event.operation.op != "claw_query_state" || event.operation.device != kClawDevice) {
    return false;
  }
  const ClawStatus claw = boards_->snapshot().claws[kClaw];
  return claw.action == ClawAction::Homing && claw.from_home * 2 < options_.claw_travel_time;
}

}  // namespace

bool play_cleaning_round(std::ostream& out, const RoundOptions& options) {
  return CleaningRound(out, options).play();
}

}  // namespace vantrel_can_bridge::workbench
