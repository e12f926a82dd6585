// Pins what each command takes from the heap between the service and the gateway: what the
// gateway and the callbacks allocate is not counted. A device operation needs a payload
// (unless it is empty) and one piece of memory for its two lines, and a label if that is
// longer than the 15 characters that a string holds without the heap; any other line or
// message needs one if it is.

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/heap_use.hpp"
#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

using Answers = std::vector<OperateResult>;

/// Gives the answers that were prepared before the count began, then successes. Raises an
/// emergency stop, from a thread of its own, during the operation of a given number.
class PreparedGateway : public business_layer::IBridgeGateway {
 public:
  explicit PreparedGateway(Answers answers) : answers_(std::move(answers)) {}

  void stop_during(std::size_t operation, BottomCompatOrchestrator& orchestrator) {
    stop_during_ = operation;
    orchestrator_ = &orchestrator;
  }

  OperateResult operate(const std::string& /*board*/, const std::string& /*device*/,
                        const std::string& /*op*/,
                        const std::vector<std::uint8_t>& /*payload*/) override {
    const std::size_t before = operations_++;
    if (operations_ == stop_during_) {
      const UncountedHeap of_the_thread;
      std::thread([this] { orchestrator_->on_emergency_active(); }).join();
    }
    return before < answers_.size() ? std::move(answers_[before]) : OperateResult{true, {}, {}};
  }

  [[nodiscard]] std::size_t operations() const { return operations_; }

 private:
  Answers answers_;
  std::size_t operations_ = 0;
  std::size_t stop_during_ = 0;
  BottomCompatOrchestrator* orchestrator_ = nullptr;
};

const OperateResult kDone{true, {}, {}};
const OperateResult kRaised{true, {3, 2}, {}};
const OperateResult kLowered{true, {4, 1}, {}};
const OperateResult kMoving{true, {1, 0}, {}};
const OperateResult kJammed{true, {5, 0}, {}};
const OperateResult kTimeout{false, {}, "timeout"};                  // fits into the string
const OperateResult kNoAnswer{false, {}, "no answer within 50 ms"};  // does not

using Call = std::function<void(BottomCompatOrchestrator&)>;

struct Row {
  const char* name;
  Call call;
  std::size_t operations;
  std::uint64_t allocations;
  Answers answers = {};
  Call before = [](BottomCompatOrchestrator&) {};
  std::function<void(BottomCompatConfig&)> adjust = [](BottomCompatConfig&) {};
  std::size_t stop_during = 0;  // number of an operation of the call; 0: of none
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

// The calls that send one request.

Call send(
    std::int32_t cmd, const std::function<void(Request&)>& fill = [](Request&) {}) {
  Request request;
  request.cmd = cmd;
  fill(request);
  return [request](BottomCompatOrchestrator& orchestrator) {
    static_cast<void>(orchestrator.handle(request));
  };
}

Call send_motors(std::int32_t select, std::int32_t cmd, std::int32_t duty) {
  return send(0, [=](Request& request) {
    request.tools_select = select;
    request.tools_cmd = cmd;
    request.tools_duty = duty;
  });
}

Call send_clean(std::int32_t select, std::int32_t duty) {
  return send(0, [=](Request& request) {
    request.clean_select = select;
    request.clean_cmd = 1;
    request.clean_duty = duty;
  });
}

Call send_dirty(std::int32_t select, std::int32_t duty) {
  return send(0, [=](Request& request) {
    request.dirty_select = select;
    request.dirty_cmd = 1;
    request.dirty_duty = duty;
  });
}

Call send_claw(std::int32_t select, std::int32_t cmd) {
  return send(0, [=](Request& request) {
    request.tools_claw_select = select;
    request.tools_claw_cmd = cmd;
  });
}

Call send_pump() {
  return send(13, [](Request& request) {
    request.pump_cmd = 1;
    request.pump_duty = 80;
  });
}

Call send_led(std::uint32_t left_rgb) {
  return send(2, [=](Request& request) { request.left_rgb = left_rgb; });
}

// Other calls.

void stop(BottomCompatOrchestrator& orchestrator) { orchestrator.on_emergency_active(); }
void recover(BottomCompatOrchestrator& orchestrator) { orchestrator.on_emergency_recovered(); }

/// A call whose result does not matter.
template <typename... Parameters, typename... Arguments>
Call call(BottomCompatReply (BottomCompatOrchestrator::*operation)(Parameters...),
          Arguments... arguments) {
  return [=](BottomCompatOrchestrator& orchestrator) {
    static_cast<void>((orchestrator.*operation)(arguments...));
  };
}

BottomCompatConfig config() {
  BottomCompatConfig config = reference_config();
  config.valve_switch_delay_ms = 0;
  config.claw_motor_ids = {11, 12};
  config.claw_poll_interval_ms = 0;  // polls every 10 ms
  config.claw_timeout_ms = 60'000;
  config.claw_retry_count = 1;
  config.claw_retry_backoff_ms = 0;
  return config;
}

class Allocations : public testing::TestWithParam<Row> {
 protected:
  static void expect_exact_count(const LogCallback& log) {
    const Row& row = GetParam();
    BottomCompatConfig adjusted = config();
    row.adjust(adjusted);
    const auto gateway = std::make_shared<PreparedGateway>(row.answers);
    BottomCompatOrchestrator orchestrator(gateway, adjusted, log, log, log);
    row.before(orchestrator);
    const std::size_t operations_before = gateway->operations();
    if (row.stop_during != 0) {
      gateway->stop_during(operations_before + row.stop_during, orchestrator);
    }

    const HeapUse at_start = heap_use();
    row.call(orchestrator);
    const HeapUse used = heap_use() - at_start;

    EXPECT_EQ(gateway->operations() - operations_before, row.operations);
    EXPECT_EQ(used.allocations, row.allocations);
  }
};

TEST_P(Allocations, AreExactlyAsManyWithCallbacks) {
  expect_exact_count([](const std::string&) {});
}

TEST_P(Allocations, AreAsManyWithoutCallbacks) { expect_exact_count(nullptr); }

std::string name_of(const testing::TestParamInfo<Row>& row) { return row.param.name; }

using B = BottomCompatOrchestrator;
using Valves = std::vector<std::int64_t>;

// A line and the reply, and the reason that both quote.
INSTANTIATE_TEST_SUITE_P(NoDevice, Allocations,
                         testing::Values(Row{"RetiredCode", send(3), 0, 3},
                                         Row{"UnknownCode", send(99), 0, 3}),
                         name_of);

// A summary, and for each write a payload, the memory of its two lines and, where it is
// long, the label.
INSTANTIATE_TEST_SUITE_P(
    LightsAndPower, Allocations,
    testing::Values(Row{"NoLed", send_led(0), 0, 1}, Row{"OneLed", send_led(255), 1, 1 + 2},
                    Row{"OneLedWithLongLabel", send_led(0xFF8000), 1, 1 + 3},
                    Row{"EveryLed",
                        send(2,
                             [](Request& request) {
                               request.bottom_rgb = request.left_rgb = request.right_rgb = 1;
                             }),
                        4, 1 + 4 * 2},
                    Row{"LedFailsBriefly", send_led(255), 1, 1 + 2, {kTimeout}},
                    Row{"LedFailsAtLength", send_led(255), 1, 1 + 2 + 1, {kNoAnswer}},
                    Row{"FillLight", send(9), 1, 1 + 3},
                    Row{"ProjectionLight", send(14), 2, 1 + 2 * 3},
                    Row{"WheelControl", send(8), 1, 1 + 3}, Row{"BumpUnlock", send(7), 1, 1 + 3}),
    name_of);

INSTANTIATE_TEST_SUITE_P(
    PumpsAndValves, Allocations,
    testing::Values(
        Row{"EndToolPump", send_pump(), 1, 1 + 3},
        Row{"EndToolPumpOnNoChannel",
            send_pump(),
            0,
            1 + 1,
            {},
            [](B&) {},
            [](BottomCompatConfig& robot) { robot.end_tool_pump_channel = 6; }},
        Row{"ValveMask", call(&B::operate_valve_mask, std::uint8_t{3}, true), 1, 3},
        Row{"Valves", call(&B::operate_valves, Valves{0, 1}, 0, true), 1, 3},
        Row{"ValveSelectRefused", call(&B::operate_valves, Valves{0, 1}, 3, true), 0, 1},
        Row{"ValveBitRefused", call(&B::operate_valves, Valves{9}, 1, true), 0, 1},
        Row{"OnePumpSelect", call(&B::operate_pump_select, Valves{1}, Valves{0}, 1, 1, 50), 2,
            1 + 3 + 3},
        Row{"EveryPumpSelect", call(&B::operate_pump_select, Valves{1, 2}, Valves{0}, 0, 1, 50), 3,
            1 + 3 + 2 * 3},
        Row{"PumpSelectRefused", call(&B::operate_pump_select, Valves{}, Valves{0}, 1, 1, 50), 1,
            1 + 3 + 1}),
    name_of);

// A procter request has a summary, a line for each part that is empty, and for the claw
// part a line and, when that is empty, another.
constexpr std::uint64_t kOnePart = 1 + 2 + 2;

INSTANTIATE_TEST_SUITE_P(
    Procter, Allocations,
    testing::Values(
        Row{"Empty", send(0), 0, 1 + 3 + 2},
        Row{"MotorStart", send_motors(1, 1, 60), 3, kOnePart + 1 + 3 + 1 + 2},
        Row{"MotorStartFails", send_motors(1, 1, 60), 1, 1 + 1 + 3, {kTimeout}},
        Row{"MotorStop", send_motors(1, 0, 0), 2, kOnePart + 1 + 3 + 1},
        Row{"MotorStopFails", send_motors(1, 0, 0), 2, 1 + 1 + 3 + 1, {kDone, kTimeout}},
        Row{"EveryMotorStop", send_motors(3, 0, 0), 6, kOnePart + 1 + 3 * (3 + 1)},
        Row{"FourthMotorStart", send_motors(8, 1, 60), 0, kOnePart},
        Row{"MotorSelectRefused", send_motors(3, 1, 60), 0, 1 + 1},
        Row{"MotorNotConfigured",
            send_motors(4, 1, 60),
            0,
            1 + 1,
            {},
            [](B&) {},
            [](BottomCompatConfig& robot) { robot.tools_clean_motor_slots = {5}; }},
        Row{"CleanPumpOn", send_clean(1, 80), 2, kOnePart + 1 + 3 + 3},
        Row{"CleanPumpOff", send_clean(1, 0), 2, kOnePart + 1 + 3 + 3},
        Row{"CleanPumpSelectRefused", send_clean(3, 80), 0, 1 + 1 + 1 + 1},
        Row{"CleanPumpWithoutValves",
            send_clean(1, 80),
            0,
            1 + 1 + 1 + 1,
            {},
            [](B&) {},
            [](BottomCompatConfig& robot) { robot.clean_pump_valves = {}; }},
        Row{"CleanPumpValveFails", send_clean(1, 80), 1, 1 + 1 + 1 + 3, {kTimeout}},
        Row{"DirtyPumpOn", send_dirty(3, 70), 2, kOnePart + 1 + 3 + 3},
        Row{"DirtyPumpOff", send_dirty(3, 0), 2, kOnePart + 1 + 3 + 3},
        Row{"DirtyPumpSelectRefused", send_dirty(8, 70), 0, 1 + 2 + 1 + 1}),
    name_of);

// Up to the move: the procter request's summary, three empty parts, the claw part's line,
// the line for the robot's user, and the execute line, which a refused request has not.
constexpr std::uint64_t kAsked = 1 + 3 + 1;
constexpr std::uint64_t kBegun = kAsked + 1 + 1;
constexpr std::uint64_t kWrite = 2;  // its lines and a label
constexpr std::uint64_t kQuery = 1;  // its lines
constexpr std::uint64_t kLost = 3;   // a query's message, and its two lines
constexpr std::uint64_t kConfirmed = 2;
constexpr std::uint64_t kAttemptFailed = 3;  // its message, and two lines
constexpr std::uint64_t kGivenUp = 2;        // the reply, and a line
constexpr std::uint64_t kMove = kWrite + kQuery + kConfirmed;

INSTANTIATE_TEST_SUITE_P(
    ClawMove, Allocations,
    testing::Values(
        Row{"Raise", send_claw(1, 1), 2, kBegun + kMove, {kDone, kRaised}},
        Row{"Lower", send_claw(2, 3), 2, kBegun + kMove, {kDone, kLowered}},
        Row{"Progress", send_claw(1, 1), 3, kBegun + kMove + kQuery + 1, {kDone, kMoving, kRaised}},
        Row{"NoProgress",
            send_claw(1, 1),
            4,
            kBegun + kMove + kQuery + 1 + kQuery,
            {kDone, kMoving, kMoving, kRaised}},
        Row{"QueryFails",
            send_claw(1, 1),
            3,
            kBegun + kMove + kQuery + kLost,
            {kDone, kTimeout, kRaised}},
        Row{"QueryTooShort",
            send_claw(1, 1),
            3,
            kBegun + kMove + kQuery + kLost,
            {kDone, kDone, kRaised}},
        Row{"WriteRetried",
            send_claw(1, 1),
            3,
            kBegun + kWrite + kAttemptFailed + kMove,
            {kTimeout, kDone, kRaised}},
        Row{"JamRetried",
            send_claw(1, 1),
            4,
            kBegun + kWrite + kQuery + kAttemptFailed + kMove,
            {kDone, kJammed, kDone, kRaised}},
        Row{"JamGivenUp",
            send_claw(1, 1),
            4,
            kBegun + 2 * (kWrite + kQuery + kAttemptFailed) + kGivenUp,
            {kDone, kJammed, kDone, kJammed}},
        Row{"TimedOut",
            send_claw(1, 1),
            2,
            kBegun + kWrite + kQuery + 1 + kAttemptFailed + kGivenUp,
            {kDone, kMoving},
            [](B&) {},
            [](BottomCompatConfig& robot) {
              robot.claw_timeout_ms = 0;
              robot.claw_retry_count = 0;
            }},
        Row{"Stopped",
            send_claw(1, 1),
            1,
            kBegun + kWrite + kAttemptFailed + 1,
            {},
            [](B&) {},
            [](BottomCompatConfig&) {},
            1},
        Row{"AlreadyThere", send_claw(1, 1), 0, kAsked + 1 + 1, {kDone, kRaised}, send_claw(1, 1)},
        Row{"CommandRefused", send_claw(1, 2), 0, kAsked + 1},
        Row{"SelectRefused", send_claw(3, 1), 0, kAsked + 1},
        Row{"RefusedDuringStop", send_claw(1, 1), 0, kAsked + 1 + 1, {}, stop},
        Row{"Disabled",
            send_claw(1, 1),
            0,
            kAsked + 1,
            {},
            [](B&) {},
            [](BottomCompatConfig& robot) { robot.claw_enabled = false; }}),
    name_of);

// Raising and lowering one claw in a recovery; it logs only what fails, in one line.
constexpr std::uint64_t kRaise = kWrite + kQuery;
constexpr std::uint64_t kLower = kWrite + kQuery;
constexpr std::uint64_t kMoveFailed = 2;  // its message, and a line

INSTANTIATE_TEST_SUITE_P(
    Emergency, Allocations,
    testing::Values(Row{"Stop", stop, 0, 1}, Row{"NothingToLower", recover, 0, 1},
                    Row{"Recovery",
                        recover,
                        8,
                        1 + 2 * (kRaise + kLower),
                        {kDone, kRaised, kDone, kLowered, kDone, kRaised, kDone, kLowered},
                        stop},
                    Row{"RaiseFails",
                        recover,
                        4,
                        1 + 2 * (kRaise + kMoveFailed),
                        {kDone, kJammed, kDone, kJammed},
                        stop},
                    Row{"LowerFails",
                        recover,
                        8,
                        1 + 2 * (kRaise + kLower) + kMoveFailed,
                        {kDone, kRaised, kDone, kJammed, kDone, kRaised, kDone, kLowered},
                        stop},
                    Row{"BudgetExceeded",
                        recover,
                        2,
                        1 + kRaise + 1,
                        {kDone, kRaised},
                        stop,
                        [](BottomCompatConfig& robot) { robot.claw_recovery_budget_ms = 0; }},
                    Row{"StoppedAgain",
                        recover,
                        1,
                        1 + kWrite + 1 + 1,
                        {},
                        stop,
                        [](BottomCompatConfig&) {},
                        1}),
    name_of);

}  // namespace
}  // namespace vantrel_can_bridge::test
