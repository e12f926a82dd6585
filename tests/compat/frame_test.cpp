#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/expected_record.hpp"
#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/sequence_test.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::int32_t kInt32Min = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kInt32Max = std::numeric_limits<std::int32_t>::max();

// --- Construction ---

static_assert(!std::is_copy_constructible_v<BottomCompatOrchestrator>);
static_assert(!std::is_copy_assignable_v<BottomCompatOrchestrator>);
static_assert(!std::is_move_constructible_v<BottomCompatOrchestrator>);
static_assert(!std::is_move_assignable_v<BottomCompatOrchestrator>);

TEST(Construction, AcceptsWhatNoRequestCouldWorkWith) {
  BottomCompatOrchestrator orchestrator(nullptr, {}, {}, {}, {});

  Request unknown;
  unknown.cmd = 1;
  EXPECT_EQ(orchestrator.handle(unknown), failure("cmd 1 unknown bottom command"));
  EXPECT_EQ(orchestrator.claw_motor_index(3), 0U);
}

/// A callback that counts how often it is copied.
class CountingCallback {
 public:
  explicit CountingCallback(int& copies) : copies_(&copies) {}
  CountingCallback(const CountingCallback& other) : copies_(other.copies_) { ++*copies_; }
  CountingCallback(CountingCallback&&) noexcept = default;
  CountingCallback& operator=(const CountingCallback&) = delete;
  CountingCallback& operator=(CountingCallback&&) = delete;
  ~CountingCallback() = default;
  void operator()(const std::string&) const {}

 private:
  int* copies_;
};

TEST(Construction, TakesCallbacksOverWithoutCopyingThem) {
  int copies = 0;
  const auto callback = [&copies] { return LogCallback(CountingCallback(copies)); };

  const BottomCompatOrchestrator orchestrator(nullptr, {}, callback(), callback(), callback());

  EXPECT_EQ(copies, 0);
}

TEST(Construction, LeavesTheCallersPointerEmptyAndIsItsOnlyOtherOwner) {
  Journal journal;
  auto gateway = std::make_shared<RecordingGateway>(journal);
  const std::weak_ptr<RecordingGateway> watch = gateway;
  {
    const BottomCompatOrchestrator orchestrator(std::move(gateway), {}, {}, {}, {});
    EXPECT_EQ(watch.use_count(), 1);
  }
  EXPECT_TRUE(watch.expired());
}

TEST(Construction, IsUndoneByDestructionCallbacksIncluded) {
  const auto held = std::make_shared<int>(0);
  const LogCallback callback = [held](const std::string&) {};
  const long before = held.use_count();
  {
    const BottomCompatOrchestrator orchestrator(nullptr, reference_config(), callback, callback,
                                                callback);
    EXPECT_EQ(held.use_count(), before + 3);
  }
  EXPECT_EQ(held.use_count(), before);
}

class Frame : public OrchestratorTest {};

TEST_F(Frame, KnowsOneClawForEachMotorId) {
  config.claw_motor_ids = {21, 22, 23};

  EXPECT_EQ(orchestrator().claw_motor_index(0), 3U);  // what no claw has: their number
  for (std::size_t index = 0; index < 5; ++index) {
    EXPECT_EQ(orchestrator().claw_state(index), ClawState::Unknown) << index;
  }
}

// The number of recorded states is told by whether any claw counts as not lowered.
TEST_F(Frame, RecordsNoStateWithoutClaws) {
  config.claw_motor_ids = {};

  orchestrator().on_emergency_active();

  EXPECT_EQ(journal.take(),
            (Lines{"debug: tools_claw emergency active (selfclean_board): need_lower=false"}));
}

TEST_F(Frame, RecordsAStateForASingleClaw) {
  config.claw_motor_ids = {21};

  orchestrator().on_emergency_active();

  EXPECT_EQ(journal.take(),
            (Lines{"debug: tools_claw emergency active (selfclean_board): need_lower=true"}));
}

TEST_F(Frame, StartsWithoutAnEmergencyAndWithoutClawsToLower) {
  orchestrator().on_emergency_recovered();

  EXPECT_EQ(journal.take(), (Lines{"debug: tools_claw emergency recovered: no lower needed"}));
}

// --- Logging ---

TEST_F(Frame, LogsEachChannelUnchangedToItsOwnCallback) {
  const std::string with_nul("a\0b", 3);
  for (const std::string& line :
       {std::string(), std::string("x"), std::string(" two \n lines %s {}\t"),
        std::string("工具1伸出成功"), with_nul, std::string(5000, 'y')}) {
    orchestrator().debug_log(line);
    orchestrator().log_info(line);
    orchestrator().log_warn(line);

    EXPECT_EQ(journal.take(), (Lines{"debug: " + line, "info: " + line, "warn: " + line}));
  }
}

TEST_F(Frame, DropsTheLinesOfAnEmptyCallbackAlone) {
  const LogCallback none;
  const LogCallback log = log_to(journal, "log");
  for (std::size_t empty = 0; empty < 3; ++empty) {
    const BottomCompatOrchestrator robot(gateway, config, empty == 0 ? none : log,
                                         empty == 1 ? none : log, empty == 2 ? none : log);
    robot.debug_log("0");
    robot.log_info("1");
    robot.log_warn("2");

    Lines expected = {"log: 0", "log: 1", "log: 2"};
    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(empty));
    EXPECT_EQ(journal.take(), expected);
  }
}

TEST_F(Frame, PassesOnWhatALogCallbackThrows) {
  const LogCallback full = [](const std::string&) { throw std::length_error("log is full"); };
  const BottomCompatOrchestrator robot(gateway, config, full, full, full);

  EXPECT_THROW(robot.debug_log("line"), std::length_error);
  EXPECT_THROW(robot.log_info("line"), std::length_error);
  EXPECT_THROW(robot.log_warn("line"), std::length_error);
  EXPECT_THROW(static_cast<void>(robot.unsupported(1, "line")), std::length_error);
}

// --- Dispatch ---

/// A request in which every field is set to a value of its own; lights, pumps, motors and
/// claw (motor 12 extends) all have something to do.
Request full_request(std::int32_t cmd) {
  Request request;
  request.cmd = cmd;
  request.tools_cmd = 3;
  request.tools_duty = 40;
  request.tools_select = 2;
  request.tools_claw_cmd = 1;
  request.tools_claw_duty = 9;
  request.tools_claw_select = 2;
  request.pump_cmd = 6;
  request.pump_duty = 70;
  request.clean_cmd = 7;
  request.clean_duty = 50;
  request.clean_select = 1;
  request.dirty_cmd = 8;
  request.dirty_duty = 60;
  request.dirty_select = 5;
  request.bottom_rgb = 0x010203;
  request.bottom_level = 11;
  request.bottom_mode = 12;
  request.left_rgb = 0x040506;
  request.left_level = 13;
  request.left_mode = 14;
  request.right_rgb = 0x070809;
  request.right_level = 15;
  request.right_mode = 16;
  request.rgb = 45;
  request.front_rgb = 1;
  request.rear_rgb = 2;
  request.wheel_cmd = 4;
  return request;
}

Sequence dispatched(const char* name, const Request& request, Steps steps, ExpectedReply reply) {
  return {name, [request](auto& robot) { return robot.handle(request); },
          Steps{"debug: dispatch cmd=" + std::to_string(request.cmd)} + steps, std::move(reply)};
}

class Dispatch : public SequenceTest {};
TEST_P(Dispatch, DoesEveryStepInOrder) { expect_every_step_in_order(); }
TEST_P(Dispatch, EndsAtWhicheverOperationFails) { expect_end_at_whichever_operation_fails(); }
TEST_P(Dispatch, PassesOnWhatTheGatewayThrows) { expect_gateway_exceptions_to_pass(); }

Step brightness_45() {
  return on_body("fill_light", "set_brightness", "[0x2d 0x00]", "fill_light brightness=45");
}

Request full_request_without_claw() {
  Request request = full_request(0);
  request.tools_claw_cmd = request.tools_claw_duty = 0;
  return request;
}

INSTANTIATE_TEST_SUITE_P(
    Codes, Dispatch,
    testing::Values(
        dispatched("Procter", full_request_without_claw(),
                   {"debug: CMD_PROCTER: tools_select=2 tools_cmd=3 tools_duty=40 clean_select=1 "
                    "clean_duty=50 dirty_select=5 dirty_duty=60",
                    "debug: tools_clean motor select=2 mapped_slot=6 duty=40",
                    on_clean("motor6", "set_mode", "[0x03]", "motor velocity mode"),
                    on_clean("motor6", "enable", "[]", "motor enable"),
                    on_clean("motor6", "set_target", "[0x50 0xfb]", "motor rpm=-1200"),
                    "debug: multiplex_pump: channel=1 select=1 cmd=7 duty=50 valve_select=single "
                    "open=true",
                    on_clean("valve", "set_valves", "[0x03 0x01]", "valve_group open values=1"),
                    "wait: 200ms",
                    on_clean("pump", "set_duty", "[0x01 0x32 0x00]", "pump channel=1 target=50"),
                    "debug: multiplex_pump: channel=2 select=5 cmd=8 duty=60 valve_select=bitmask "
                    "open=true",
                    on_clean("valve", "set_valves", "[0x1c 0x14]", "valve_group open values=20"),
                    "wait: 200ms",
                    on_clean("pump", "set_duty", "[0x02 0x3c 0x00]", "pump channel=2 target=60"),
                    "debug: CMD_PROCTER tools_claw: cmd=0 duty=0 select=2",
                    "debug: tools_claw skipped: empty command"},
                   message_dropped),
        dispatched(
            "OperateLight", full_request(2),
            {"debug: CMD_OPERATE_LIGHT: bottom_rgb=66051 left_rgb=263430 right_rgb=460809",
             on_body("left_light", "set_led", "[0x01 0x02 0x03 0x0b 0x0c 0x00]", "led rgb=66051"),
             on_body("right_light", "set_led", "[0x01 0x02 0x03 0x0b 0x0c 0x00]", "led rgb=66051"),
             on_body("left_light", "set_led", "[0x04 0x05 0x06 0x0d 0x0e 0x00]", "led rgb=263430"),
             on_body("right_light", "set_led", "[0x07 0x08 0x09 0x0f 0x10 0x00]",
                     "led rgb=460809")},
            message_dropped),
        dispatched("BumpUnlock", full_request(7),
                   {"debug: CMD_UNLOCK_BUMP: dispatching power_control bit7",
                    on_body("power_control", "set_bit", "[0x02 0x07 0x01]",
                            "power_bit sub=2 bit=7 value=1")},
                   message_passed_on),
        dispatched("WheelControl", full_request(8),
                   {"debug: CMD_WHEEL_CONTROL: wheel_cmd=4 mapped_value=lock "
                    "bottom_motor_stop_bit=5",
                    on_body("power_control", "set_bit", "[0x01 0x05 0x01]",
                            "power_bit sub=1 bit=5 value=1")},
                   message_passed_on),
        dispatched("FillLight", full_request(9), {"debug: CMD_FILL_LIGHT: rgb=45", brightness_45()},
                   message_passed_on),
        dispatched("FillLightByItsOtherCode", full_request(11),
                   {"debug: CMD_FILL_LIGHT: rgb=45", brightness_45()}, message_passed_on),
        dispatched("EndToolPump", full_request(13),
                   {"debug: CMD_HANDLE_PUMP: channel=3 cmd=6 duty=70",
                    on_clean("pump", "set_duty", "[0x03 0x46 0x00]", "pump channel=3 target=70")},
                   message_passed_on),
        dispatched("ProjectionLight", full_request(14),
                   {"debug: CMD_PROJECTION_LIGHT: front_rgb=1 rear_rgb=2",
                    on_body("power_control", "set_bit", "[0x03 0x04 0x01]",
                            "power_bit sub=3 bit=4 value=1"),
                    on_body("power_control", "set_bit", "[0x06 0x08 0x01]",
                            "power_bit sub=6 bit=8 value=1")},
                   message_dropped)),
    sequence_name);

constexpr char kRetired[] = "unsupported after bottom migration";
constexpr char kUnknown[] = "unknown bottom command";

bool is_one_of(std::int32_t cmd, const std::vector<std::int32_t>& codes) {
  return std::find(codes.begin(), codes.end(), cmd) != codes.end();
}

TEST_F(Frame, AnswersEveryOtherCodeWithoutADeviceOperation) {
  std::vector<std::int32_t> codes = {kInt32Min, kInt32Min + 2, -65'536, 65'538, 1 << 30, kInt32Max};
  for (std::int32_t cmd = -300; cmd <= 300; ++cmd) {
    codes.push_back(cmd);
  }
  for (const std::int32_t cmd : codes) {
    if (is_one_of(cmd, {0, 2, 7, 8, 9, 11, 13, 14})) {
      continue;
    }
    const std::string number = std::to_string(cmd);
    const std::string reason = is_one_of(cmd, {3, 4, 5, 6, 10, 12}) ? kRetired : kUnknown;

    EXPECT_EQ(orchestrator().handle(full_request(cmd)), failure("cmd " + number + " " + reason));
    EXPECT_EQ(journal.take(), (Lines{"debug: dispatch cmd=" + number,
                                     "debug: unsupported cmd=" + number + " reason=" + reason}));
  }
}

struct UnsupportedRow {
  const char* name;
  std::int32_t cmd;
  const char* reason;
  const char* message;
  const char* line;
};
void PrintTo(const UnsupportedRow& row, std::ostream* out) { *out << row.name; }
class Unsupported : public OrchestratorTest, public testing::WithParamInterface<UnsupportedRow> {};

TEST_P(Unsupported, SaysWhichCodeAndWhy) {
  const UnsupportedRow& row = GetParam();

  EXPECT_EQ(orchestrator().unsupported(row.cmd, row.reason), failure(row.message));
  EXPECT_EQ(journal.take(), (Lines{row.line}));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, Unsupported,
    testing::Values(
        UnsupportedRow{"Retired", 5, kRetired, "cmd 5 unsupported after bottom migration",
                       "debug: unsupported cmd=5 reason=unsupported after bottom "
                       "migration"},
        UnsupportedRow{"Unknown", 42, kUnknown, "cmd 42 unknown bottom command",
                       "debug: unsupported cmd=42 reason=unknown bottom command"},
        UnsupportedRow{"Negative", -3, kUnknown, "cmd -3 unknown bottom command",
                       "debug: unsupported cmd=-3 reason=unknown bottom command"},
        UnsupportedRow{"Lowest", kInt32Min, "why", "cmd -2147483648 why",
                       "debug: unsupported cmd=-2147483648 reason=why"},
        UnsupportedRow{"WithoutAReason", 0, "", "cmd 0 ", "debug: unsupported cmd=0 reason="}),
    [](const auto& row) { return row.param.name; });

// --- The way to the gateway ---

struct OperateRow {
  const char* name;
  Bytes payload;
  OperateResult result;
  Lines lines;
};
void PrintTo(const OperateRow& row, std::ostream* out) { *out << row.name; }
class OperateGateway : public OrchestratorTest, public testing::WithParamInterface<OperateRow> {};

TEST_P(OperateGateway, LogsBeforeAndAfterAndReturnsWhatItGot) {
  const OperateRow& row = GetParam();
  gateway->then([&](const Operation& operation) {
    EXPECT_EQ(operation.payload, row.payload);
    return row.result;
  });

  const OperateResult result =
      orchestrator().operate_gateway("BOARD", "DEVICE", "OP", row.payload, "the label");

  EXPECT_EQ(result.success, row.result.success);
  EXPECT_EQ(result.data, row.result.data);
  EXPECT_EQ(result.message, row.result.message);
  EXPECT_EQ(journal.take(), row.lines);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, OperateGateway,
    testing::Values(
        OperateRow{
            "SucceedsSilently",
            {},
            {true, {}, ""},
            {"debug: operate begin: the label board=BOARD device=DEVICE op=OP payload=[]",
             "gateway: BOARD DEVICE OP []", "debug: operate end: the label success=true message="}},
        OperateRow{"SucceedsWithDataAndMessage",
                   {5},
                   {true, {1, 2, 3}, "all done"},
                   {"debug: operate begin: the label board=BOARD device=DEVICE op=OP "
                    "payload=[0x05]",
                    "gateway: BOARD DEVICE OP [0x05]",
                    "debug: operate end: the label success=true message=all done"}},
        OperateRow{"Fails",
                   {171, 0},
                   {false, {9}, "timeout"},
                   {"debug: operate begin: the label board=BOARD device=DEVICE op=OP "
                    "payload=[0xab 0x00]",
                    "gateway: BOARD DEVICE OP [0xab 0x00]",
                    "debug: operate end: the label success=false message=timeout"}},
        OperateRow{"FailsSilently",
                   {1, 171, 0},
                   {false, {}, ""},
                   {"debug: operate begin: the label board=BOARD device=DEVICE op=OP "
                    "payload=[0x01 0xab 0x00]",
                    "gateway: BOARD DEVICE OP [0x01 0xab 0x00]",
                    "debug: operate end: the label success=false message="}}),
    [](const auto& row) { return row.param.name; });

TEST_F(Frame, HandsEmptyNamesToTheGatewayAsTheyAre) {
  EXPECT_TRUE(orchestrator().operate_gateway("", "", "", {}, "").success);

  EXPECT_EQ(journal.take(),
            (Lines{"debug: operate begin:  board= device= op= payload=[]", "gateway:    []",
                   "debug: operate end:  success=true message="}));
}

// --- Replies ---

TEST_F(Frame, TurnsAnOutcomeIntoAReplyWithItsMessage) {
  EXPECT_EQ(orchestrator().from_operate({true, {}, ""}), success());
  EXPECT_EQ(orchestrator().from_operate({true, {1, 2}, "moved"}), success("moved"));
  EXPECT_EQ(orchestrator().from_operate({false, {}, "timeout"}), failure("timeout"));
  EXPECT_EQ(orchestrator().from_operate({false, {3}, ""}), failure(""));
  EXPECT_EQ(journal.take(), Lines{});
}

// --- Bytes ---

TEST(PayloadToHex, WritesTwoLowerCaseDigitsEach) {
  EXPECT_EQ(BottomCompatOrchestrator::payload_to_hex({}), "[]");
  EXPECT_EQ(BottomCompatOrchestrator::payload_to_hex({1, 171, 0}), "[0x01 0xab 0x00]");
  for (unsigned byte = 0; byte <= 255; ++byte) {
    char expected[8];
    std::snprintf(expected, sizeof expected, "[0x%02x]", byte);
    EXPECT_EQ(BottomCompatOrchestrator::payload_to_hex({static_cast<std::uint8_t>(byte)}),
              expected);
  }
}

TEST(EncodeLittleEndian, PutsTheLowByteFirst) {
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(-1), (Bytes{0xFF, 0xFF}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(-1000), (Bytes{0x18, 0xFC}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(1000), (Bytes{0xE8, 0x03}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(256), (Bytes{0x00, 0x01}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(-32768), (Bytes{0x00, 0x80}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_i16_le(32767), (Bytes{0xFF, 0x7F}));
  EXPECT_EQ(BottomCompatOrchestrator::encode_u16_le(0xABCD), (Bytes{0xCD, 0xAB}));
}

TEST(EncodeLittleEndian, HoldsEveryValue) {
  for (int value = 0; value <= 0xFFFF; ++value) {
    const Bytes expected = {static_cast<std::uint8_t>(value % 256),
                            static_cast<std::uint8_t>(value / 256)};
    // The signed values follow the unsigned ones up to 32767 and go on from -32768.
    const int as_signed = value <= 32767 ? value : value - 65536;
    ASSERT_EQ(BottomCompatOrchestrator::encode_u16_le(static_cast<std::uint16_t>(value)), expected);
    ASSERT_EQ(BottomCompatOrchestrator::encode_i16_le(static_cast<std::int16_t>(as_signed)),
              expected);
  }
}

// --- Every command, with callbacks that throw or are missing ---

enum class Board { Works, LosesItsClaws };

struct CommandRow {
  std::string name;
  Request request;
  Board board;
};
void PrintTo(const CommandRow& row, std::ostream* out) { *out << row.name; }

/// Runs a command on a robot of its own, and keeps what it did. One at a time: each has
/// its own virtual time.
class CommandRun {
 public:
  enum Channel { Debug, Info, Warn };

  explicit CommandRun(const CommandRow& row) : row_(row) {
    gateway_->otherwise([board = row.board](const Operation& operation) -> OperateResult {
      if (board == Board::LosesItsClaws && operation.op == "claw_extend") {
        return {false, {}, "no claw"};
      }
      return {true, {3, 2}, {}};  // extended, to those who ask
    });
  }

  /// The `n`-th line that is logged from now on is thrown instead.
  void throw_in_log_line(std::size_t n) { lines_before_throw_ = n; }
  void leave_empty(Channel channel) { callbacks_[channel] = nullptr; }

  BottomCompatReply handle() {
    if (!orchestrator_) {
      orchestrator_ = std::make_unique<BottomCompatOrchestrator>(
          gateway_, reference_config(), callbacks_[Debug], callbacks_[Info], callbacks_[Warn]);
    }
    return orchestrator_->handle(row_.request);
  }
  Lines lines() { return journal_.take(); }

 private:
  LogCallback log_or_throw(const std::string& channel) {
    return [this, log = log_to(journal_, channel)](const std::string& line) {
      if (lines_before_throw_-- == 0) {
        throw std::length_error("log is full");
      }
      log(line);
    };
  }

  const CommandRow& row_;
  Journal journal_;
  VirtualTime time_{journal_};
  std::size_t lines_before_throw_ = std::numeric_limits<std::size_t>::max();
  std::shared_ptr<RecordingGateway> gateway_ = std::make_shared<RecordingGateway>(journal_);
  LogCallback callbacks_[3] = {log_or_throw("debug"), log_or_throw("info"), log_or_throw("warn")};
  std::unique_ptr<BottomCompatOrchestrator> orchestrator_;
};

bool is_on(const std::string& channel, const std::string& line) {
  return line.rfind(channel + ": ", 0) == 0;
}

bool is_log_line(const std::string& line) {
  return is_on("debug", line) || is_on("info", line) || is_on("warn", line);
}

class EveryCommand : public testing::TestWithParam<CommandRow> {
 protected:
  Lines all_lines() {
    CommandRun run(GetParam());
    static_cast<void>(run.handle());
    return run.lines();
  }
  BottomCompatReply usual_reply() { return CommandRun(GetParam()).handle(); }
};

TEST_P(EveryCommand, PassesOnWhatACallbackThrowsAndServesTheNextRequest) {
  const Lines all = all_lines();
  const BottomCompatReply usual = usual_reply();
  std::size_t log_lines_before = 0;
  for (std::size_t at = 0; at < all.size(); ++at) {
    if (!is_log_line(all[at])) {
      continue;
    }
    SCOPED_TRACE("thrown in " + all[at]);
    CommandRun run(GetParam());
    run.throw_in_log_line(log_lines_before++);

    EXPECT_THROW(static_cast<void>(run.handle()), std::length_error);

    EXPECT_EQ(run.lines(), Lines(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(at)));
    EXPECT_EQ(run.handle(), usual);
  }
}

TEST_P(EveryCommand, DoesTheSameWithoutOneOfItsCallbacks) {
  const Lines all = all_lines();
  const BottomCompatReply usual = usual_reply();
  const std::pair<CommandRun::Channel, const char*> channels[] = {
      {CommandRun::Debug, "debug"}, {CommandRun::Info, "info"}, {CommandRun::Warn, "warn"}};
  for (const auto& [channel, prefix] : channels) {
    SCOPED_TRACE(prefix);
    CommandRun run(GetParam());
    run.leave_empty(channel);
    Lines expected;
    std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
                 [prefix = std::string(prefix)](const auto& line) { return !is_on(prefix, line); });

    EXPECT_EQ(run.handle(), usual);
    EXPECT_EQ(run.lines(), expected);
  }
}

TEST_P(EveryCommand, DoesTheSameWithoutAnyCallback) {
  const Lines all = all_lines();
  const BottomCompatReply usual = usual_reply();
  CommandRun run(GetParam());
  for (const auto channel : {CommandRun::Debug, CommandRun::Info, CommandRun::Warn}) {
    run.leave_empty(channel);
  }
  Lines expected;
  std::copy_if(all.begin(), all.end(), std::back_inserter(expected),
               [](const auto& line) { return !is_log_line(line); });

  EXPECT_EQ(run.handle(), usual);
  EXPECT_EQ(run.lines(), expected);
}

std::vector<CommandRow> every_command() {
  std::vector<CommandRow> rows = {{"OfAFailingClaw", full_request(0), Board::LosesItsClaws}};
  for (std::int32_t cmd = 0; cmd <= 15; ++cmd) {
    rows.push_back({"Code" + std::to_string(cmd), full_request(cmd), Board::Works});
  }
  return rows;
}

INSTANTIATE_TEST_SUITE_P(Rows, EveryCommand, testing::ValuesIn(every_command()),
                         [](const auto& row) { return row.param.name; });

}  // namespace
}  // namespace vantrel_can_bridge::test
