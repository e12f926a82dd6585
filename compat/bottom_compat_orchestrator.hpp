#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "compat/bottom_compat_reply.hpp"
#include "compat/claw_state.hpp"
#include "gateway/i_bridge_gateway.hpp"
#include "gateway/operate_result.hpp"
#include "vantrel_protocol/srv/bottom_interact_srv.hpp"

/// Keeps old clients of the robot's bottom board working; begin with
/// `BottomCompatOrchestrator`.
namespace vantrel_can_bridge::business_layer::bottom_compat {

class Deadline;

/// Receives one log line, without newline, level or time. May be empty: the line is
/// dropped. Called on the thread that logs, from several threads at once, mostly with a
/// mutex of the orchestrator held: it must not call back. What it throws passes through.
using LogCallback = std::function<void(const std::string&)>;

/// Keeps old clients of the robot's bottom board working: turns each of their requests
/// into named operations on the body board and the self-cleaning board, sends them one
/// by one through a gateway, and answers success, code and message.
///
/// It owns no thread, timer or queue: everything runs on the caller's thread, which
/// blocks while a claw moves or a valve settles. All waits are on the monotonic clock and
/// go on after a signal.
///
/// Requests of different groups run side by side, those of one group one after the other:
///
/// | mutex             | place in the order      | held for                                     |
/// |-------------------|-------------------------|----------------------------------------------|
/// | `light_mutex_`    | alone                   | a whole light request                        |
/// | `actuator_mutex_` | outermost               | a whole wheel, bump, pump or procter request |
/// | `claw_mutex_`     | after `actuator_mutex_` | a whole claw move or recovery                |
///
/// The gateway and the log callbacks are called with these held and must not call back.
///
/// Failures are values: bad input, an unknown command and a failed device operation come
/// back in the reply. Exceptions leave only when memory runs out, when a mutex cannot be
/// locked (`std::system_error` with the error number; nothing that needs that mutex is
/// then done), and when the gateway or a callback throws; every lock is free again by then.
///
/// A request of several operations ends at the first that fails, with that operation's
/// reply; nothing later is sent and nothing earlier is undone.
class BottomCompatOrchestrator {
 public:
  /// Takes over `gateway`, which must not be null, `config`, and the callbacks, each of
  /// which may be empty. All claws start `Unknown`, no emergency is active. Nothing is
  /// checked: what a request cannot work with fails that request.
  BottomCompatOrchestrator(std::shared_ptr<IBridgeGateway> gateway, BottomCompatConfig config,
                           LogCallback debug, LogCallback info, LogCallback warn);

  BottomCompatOrchestrator(const BottomCompatOrchestrator&) = delete;
  BottomCompatOrchestrator& operator=(const BottomCompatOrchestrator&) = delete;
  BottomCompatOrchestrator(BottomCompatOrchestrator&&) = delete;
  BottomCompatOrchestrator& operator=(BottomCompatOrchestrator&&) = delete;
  ~BottomCompatOrchestrator() = default;

  // --- The service's interface: any thread, no mutex held ---

  /// Carries out one request, by its `cmd`:
  ///
  /// | cmd                | handler                                          |
  /// |--------------------|--------------------------------------------------|
  /// | 0                  | `handle_procter`                                 |
  /// | 2                  | `handle_operate_light`                           |
  /// | 7                  | `handle_bump_unlock`                             |
  /// | 8                  | `handle_wheel_control`                           |
  /// | 9, 11              | `handle_fill_light`                              |
  /// | 13                 | `handle_end_tool_pump`                           |
  /// | 14                 | `handle_projection_light`                        |
  /// | 3, 4, 5, 6, 10, 12 | none: "cmd N unsupported after bottom migration" |
  /// | any other          | none: "cmd N unknown bottom command"             |
  ///
  /// Takes no mutex itself; the handler waits for its group's. A procter request blocks
  /// for its valve delays and its claw move on top of the gateway's own time, the others
  /// for the gateway's time alone.
  [[nodiscard]] BottomCompatReply handle(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// The self-cleaning board has entered its emergency stop: no claw attempt starts from
  /// now on, but for one that is already past its check, and a running attempt ends
  /// within one poll interval plus one gateway call. Its request ends with it, or after
  /// the pause between attempts where one is due.
  ///
  /// Sends nothing. Waits for nothing but the debug callback: `claw_mutex_` is only
  /// tried, and where it is busy, some claw counts as not lowered.
  ///
  /// May be called again while the stop lasts, and best is: see `on_emergency_recovered`.
  void on_emergency_active();

  /// The emergency stop has cleared: lowers every claw that is not lowered, one after the
  /// other, raising it first unless it is `Raised`. Moves nothing, but lets claws move again,
  /// when all were lowered when the stop came, or when `claw_emergency_recovery` is false.
  ///
  /// Forgets the stop first: one that another thread reports at that very moment may be
  /// forgotten with the old one, until it is reported again.
  ///
  /// The budget runs from the call: waiting for `claw_mutex_` uses it up too. Blocks for
  /// that wait, or for `claw_recovery_budget_ms` plus the move that is running when it
  /// ends: the budget is looked at between moves only. Each move is a single attempt. A
  /// new stop ends the recovery as it ends a move. Claws that are left keep their state
  /// and are tried again when the next stop clears. Outcomes are only logged.
  void on_emergency_recovered();

  /// The recorded state of claw `index`; `Unknown` where there is no such claw. Takes
  /// `claw_mutex_`: a running claw move or recovery is waited for.
  [[nodiscard]] ClawState claw_state(std::size_t index) const;

  /// The claw of a one-hot select: 1, 2, 4, 8 give 0, 1, 2, 3, also where the robot has
  /// fewer claws; any other select gives the number of claws. Takes no lock.
  [[nodiscard]] std::size_t claw_motor_index(std::int32_t select) const;

  // --- Command handlers: any thread, no mutex held ---
  //
  // Each takes its group's mutex for the whole request and logs a summary line on the
  // debug channel.

  /// cmd 2, under `light_mutex_`: colours for both LEDs, then the left, then the right one.
  /// A colour of 0 leaves its group as it is, so this command cannot switch an LED off.
  [[nodiscard]] BottomCompatReply handle_operate_light(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// cmd 9 and 11, under `light_mutex_`: `rgb` as brightness or colour, one write.
  [[nodiscard]] BottomCompatReply handle_fill_light(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// cmd 14, under `light_mutex_`: writes front, then rear, each on unless its colour is 0.
  [[nodiscard]] BottomCompatReply handle_projection_light(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// cmd 8, under `actuator_mutex_`: locks the wheels unless `wheel_cmd` is 0.
  [[nodiscard]] BottomCompatReply handle_wheel_control(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// cmd 7, under `actuator_mutex_`: sets the bump unlock bit. Nothing here clears it.
  [[nodiscard]] BottomCompatReply handle_bump_unlock();

  /// cmd 13, under `actuator_mutex_`: drives `end_tool_pump_channel`.
  [[nodiscard]] BottomCompatReply handle_end_tool_pump(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// cmd 0, under `actuator_mutex_`: cleaning motors, clean pump (one valve), dirty pump
  /// (a mask of valves), claw, in this order. A motor or pump whose three fields are all
  /// 0 is left alone. Success has an empty message.
  [[nodiscard]] BottomCompatReply handle_procter(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  /// The claw's share of cmd 0, called by `handle_procter` under `actuator_mutex_`; takes
  /// no group's mutex itself, and `claw_mutex_` only once the request is found good.
  /// Checks in this order: nothing to do, claws disabled, command, select.
  [[nodiscard]] BottomCompatReply handle_tools_claw(
      const vantrel_protocol::srv::BottomInteractSrv_Request& request);

  // --- Device operations: take no lock; the caller holds its group's mutex ---

  /// The one way to the boards: logs "operate begin: ", calls the gateway, logs
  /// "operate end: ", both on the debug channel, and returns what the gateway returned.
  /// `label` says in the log what the operation is for; the gateway does not see it.
  /// When the gateway throws there is no end line.
  [[nodiscard]] OperateResult operate_gateway(const std::string& board, const std::string& device,
                                              const std::string& op,
                                              const std::vector<std::uint8_t>& payload,
                                              const std::string& label);

  /// One colour for one LED ("left_light", "right_light"); see `encode_led`.
  [[nodiscard]] BottomCompatReply operate_led(const std::string& device, std::uint32_t rgb,
                                              std::int32_t level, std::uint32_t mode);

  /// Up to 100, `value` is a brightness in percent; above, a colour 0xRRGGBB of which the
  /// brightest channel counts. The border is the value itself: 101 is a dark blue.
  [[nodiscard]] BottomCompatReply operate_fill_light(std::uint32_t value);

  /// Sets one output of the body board's power controller; no other bit changes.
  [[nodiscard]] BottomCompatReply operate_power_bit(std::uint8_t sub, std::uint8_t bit, bool value);

  /// Sets the duty of one pump: `duty` percent up to 100 while `command_is_on`, else 0.
  /// Fails with "pump channel out of range", nothing sent, for channels outside 1 to 5.
  [[nodiscard]] BottomCompatReply operate_pump_channel(std::int64_t channel, std::int32_t cmd,
                                                       std::int32_t duty);

  /// Opens or closes the valves of `mask`, bit n being valve n; others are not touched.
  [[nodiscard]] BottomCompatReply operate_valve_mask(std::uint8_t mask, bool open);

  /// Opens or closes valves of the list `valves` (bit numbers): all valid ones for a
  /// `select` of 0 or less, even if that is none; entry 0, 1, 2, 3 for 1, 2, 4, 8. Fails,
  /// nothing sent, for any other select and an entry that the list does not have
  /// ("unsupported valve select: N"), and where the entry is no valve ("valve bit out of
  /// range").
  [[nodiscard]] BottomCompatReply operate_valves(const std::vector<std::int64_t>& valves,
                                                 std::int32_t select, bool open);

  /// Sets valves by `operate_valves`, then drives the selected entry of `pumps` (channels),
  /// or all of them for a `select` of 0 or less. Valves come first also when switching
  /// off. Fails with "unsupported pump select: N" after the valves were set where only
  /// the valve list has that entry.
  [[nodiscard]] BottomCompatReply operate_pump_select(const std::vector<std::int64_t>& pumps,
                                                      const std::vector<std::int64_t>& valves,
                                                      std::int32_t select, std::int32_t cmd,
                                                      std::int32_t duty);

  /// Switches one pump behind its valve group: on (`duty` not 0) it opens the selected
  /// valves, waits `valve_switch_delay_ms`, starts the pump; off (`duty` 0) it stops the
  /// pump, waits, closes the whole group. `bitmask` says how `select` names valves: as
  /// bits, or one-hot. Blocks for the delay.
  ///
  /// Fails, nothing sent, with "pump valve group has no valid valve bits" (also when
  /// switching off: the pump then keeps running) and "pump select has no valid valve
  /// bit". When a later step fails, what was switched before stays as it is.
  [[nodiscard]] BottomCompatReply operate_multiplex_pump(std::int64_t channel,
                                                         const std::vector<std::int64_t>& valves,
                                                         std::int32_t select, std::int32_t cmd,
                                                         std::int32_t duty, bool bitmask);

  /// Cleaning motors by the one-hot `select` 1, 2, 4 (not a slot number): while
  /// `command_is_on` starts that motor in velocity mode at `motor_target_rpm`, clamped to
  /// 16 bits; otherwise stops that motor, or every motor for any other select. Starting
  /// select 8 succeeds and does nothing; other selects fail with "unsupported tools_clean
  /// select: N", a motor that is not configured with "tools_clean select out of range".
  [[nodiscard]] BottomCompatReply operate_motor_slot(std::int64_t select, std::int32_t cmd,
                                                     std::int32_t duty);

  // --- Claw: the index is below the number of claws, which the caller has checked ---

  /// Moves a claw to `target`, up to 1 + `claw_retry_count` attempts with
  /// `claw_retry_backoff_ms` between them, and records where it ended. Refuses during an
  /// emergency; succeeds without a move where the recorded state is `target`.
  ///
  /// Takes `claw_mutex_` and holds it to the end, at most attempts × (time-out + poll
  /// interval + gateway calls) + pauses. A claw that was not confirmed is recorded as
  /// `RaiseIncomplete` or `LowerIncomplete`; when something throws, as before.
  [[nodiscard]] BottomCompatReply claw_execute(std::size_t index, ClawState target);

  /// One attempt: sends the move, then polls every `claw_poll_interval_ms` (at least
  /// 10 ms) until the claw confirms it, reports failure, `claw_timeout_ms` (at least one
  /// interval) have passed since the write, or an emergency stop is seen after a wait.
  ///
  /// Caller holds `claw_mutex_`. Changes no recorded state. A failed query is logged and
  /// repeated at the next poll.
  [[nodiscard]] BottomCompatReply claw_try_once(std::size_t index, ClawState target);

  /// Reads the two status bytes of a claw; leaves them untouched on failure ("tools_claw
  /// query failed: ...", "tools_claw query result too short: bytes=N"). Takes no lock.
  [[nodiscard]] BottomCompatReply claw_query(std::size_t index, std::uint8_t& action_state,
                                             std::uint8_t& position_state);

  /// The device of a claw: "motor" and its motor number. Takes no lock.
  [[nodiscard]] std::string claw_device_name(std::size_t index) const;

  // --- Logging and replies: any thread; take no lock ---

  /// Hands `line` as it stands to the debug callback; does nothing where that is empty.
  void debug_log(const std::string& line) const;
  /// The same for the info callback.
  void log_info(const std::string& line) const;
  /// The same for the warn callback.
  void log_warn(const std::string& line) const;

  /// The reply to a command that no board carries out any more, or never did:
  /// "cmd N " and the reason. Logged on the debug channel.
  [[nodiscard]] BottomCompatReply unsupported(std::int32_t cmd, const std::string& reason) const;

  /// The reply that passes on the outcome of one operation, message included.
  [[nodiscard]] BottomCompatReply from_operate(const OperateResult& result) const;

  // --- Pure ---

  /// "[]", or the bytes as "[0x01 0xab]".
  static std::string payload_to_hex(const std::vector<std::uint8_t>& bytes);

  /// The two bytes of `value` in two's complement, low byte first.
  static std::vector<std::uint8_t> encode_i16_le(std::int16_t value);
  /// The two bytes of `value`, low byte first.
  static std::vector<std::uint8_t> encode_u16_le(std::uint16_t value);

  /// Six bytes: red, green, blue, level clamped to 0..255, low 16 bits of mode low byte
  /// first. The top byte of `rgb` is dropped.
  static std::vector<std::uint8_t> encode_led(std::uint32_t rgb, std::int32_t level,
                                              std::uint32_t mode);

  /// Whether a device is to run: `cmd` not 0 and `duty` above 0.
  static bool command_is_on(std::int32_t cmd, std::int32_t duty);

  /// Whether a part of a procter request asks for nothing: all three fields 0.
  static bool multiplex_command_is_empty(std::int32_t select, std::int32_t cmd, std::int32_t duty);

  /// The list position of a one-hot select: 0, 1, 2, 3 for 1, 2, 4, 8, else -1.
  static std::int64_t multiplex_select_to_index(std::int32_t select);

  /// `duty` × `rpm_per_duty`, negated for cmd 3. A product beyond 64 bits stops at the
  /// end of the range on its own side, and so does the negation: a motor never turns the
  /// other way.
  static std::int64_t motor_target_rpm(std::int32_t cmd, std::int32_t duty,
                                       std::int64_t rpm_per_duty);

  /// The valve mask of a list of valve bit numbers; entries outside 0 to 7 contribute nothing.
  static std::uint8_t valve_group_mask(const std::vector<std::int64_t>& valves);
  /// The same of the one entry that a one-hot select names; 0 where there is none.
  static std::uint8_t single_select_to_valve_mask(const std::vector<std::int64_t>& valves,
                                                  std::int32_t select);
  /// The same of every entry i whose bit i is set in `select`; positions from 32 on have no bit.
  static std::uint8_t bitmask_select_to_valve_mask(const std::vector<std::int64_t>& valves,
                                                   std::int32_t select);

 private:
  /// Sets the valves of `mask` to the bits of `values`, set meaning open. Takes no lock.
  [[nodiscard]] OperateResult write_valves(std::uint8_t mask, std::uint8_t values,
                                           const std::string& label);

  /// One operation on the cleaning motor of `slot`. Takes no lock.
  [[nodiscard]] OperateResult operate_motor(std::int64_t slot, const std::string& op,
                                            const std::vector<std::uint8_t>& payload,
                                            const std::string& label);

  // The sequences of `operate_motor_slot`; take no lock.
  [[nodiscard]] BottomCompatReply start_motor(std::int64_t slot, std::int64_t rpm);
  [[nodiscard]] BottomCompatReply stop_motor(std::int64_t slot);
  [[nodiscard]] BottomCompatReply stop_all_motors(std::int64_t select, std::int32_t cmd,
                                                  std::int32_t duty);

  enum class Recovery;
  /// One claw's turn in a recovery: raises it unless it is `Raised`, then lowers it, and
  /// records both. Caller holds `claw_mutex_`.
  [[nodiscard]] Recovery recover_claw(std::size_t index, const Deadline& deadline);

  const std::shared_ptr<IBridgeGateway> gateway_;  // fixed at construction, as are:
  const BottomCompatConfig config_;
  const LogCallback debug_;
  const LogCallback info_;
  const LogCallback warn_;

  std::mutex actuator_mutex_;      // outermost; serialises actuator requests; guards no data
  std::mutex light_mutex_;         // never with another; serialises light requests; no data
  mutable std::mutex claw_mutex_;  // after actuator_mutex_; serialises claw moves

  std::vector<ClawState> claw_states_;  // one a claw; guarded by claw_mutex_
  // Atomic: written by the two emergency entry points, which a move must not hold up,
  // and polled by moves under claw_mutex_.
  std::atomic<bool> selfclean_emergency_{false};
  // Atomic: some claw is to be lowered when the stop clears. Written and read by the
  // emergency entry points alone, with and without claw_mutex_.
  std::atomic<bool> need_lower_{false};

  // Fixed: every poll of every move needs these two, which are too long for the
  // small-string buffer.
  const std::string claw_query_op_ = "claw_query_state";
  const std::string claw_query_label_ = "tools_claw query_state";
};

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
