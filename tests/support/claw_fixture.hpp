#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/expected_record.hpp"
#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test {

/// The failure of whatever an emergency stop ended.
inline constexpr const char* kAborted = "tools_claw aborted: selfclean_board in emergency";

/// The line of an emergency stop that finds a claw not lowered, or one that moves.
inline constexpr const char* kStopped =
    "debug: tools_claw emergency active (selfclean_board): need_lower=true";

inline void append(Lines& lines, const std::string& line) { lines.push_back(line); }
inline void append(Lines& lines, const Lines& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

/// Lines and groups of lines, one after the other.
template <typename... Parts>
Lines record(const Parts&... parts) {
  Lines lines;
  (append(lines, parts), ...);
  return lines;
}

/// The answer of a gateway that did not carry an operation out.
inline OperateResult refusal(std::string message) { return {false, {}, std::move(message)}; }

/// What operations on one claw of `reference_config` leave in the journal, by the
/// gateway's answer; for a poll, behind the wait.
struct ClawLines {
  std::string device = "motor11";
  std::string wait = "wait: 50ms";

  [[nodiscard]] Lines write(const std::string& op, const OperateResult& answer = kDone) const {
    return operation(op, op, answer);
  }
  [[nodiscard]] Lines poll(const OperateResult& answer = kDone) const {
    return record(wait, query(answer));
  }
  [[nodiscard]] Lines query(const OperateResult& answer = kDone) const {
    return operation("claw_query_state", "query_state", answer);
  }
  /// A whole attempt that the first poll confirms.
  [[nodiscard]] Lines move(const std::string& op) const { return record(write(op), poll()); }

 private:
  static inline const OperateResult kDone{true, {}, {}};

  [[nodiscard]] Lines operation(const std::string& op, const std::string& label,
                                const OperateResult& answer) const {
    const ExpectedOperation expected{"clean", device, op, "[]", "tools_claw " + label};
    return {begin_line(expected), gateway_line(expected), end_line(expected, answer)};
  }
};

/// A board whose claws have arrived at the first query after every move; `journal` says
/// which move that was.
inline RecordingGateway::Answer obedient_claws(const Journal& journal) {
  return [&journal](const Operation& operation) {
    if (operation.op != "claw_query_state") {
      return OperateResult{true, {}, {}};
    }
    const Lines lines = journal.lines();
    const std::string extend = "gateway: clean " + operation.device + " claw_extend []";
    const std::string home = "gateway: clean " + operation.device + " claw_home []";
    const auto last = std::find_if(lines.rbegin(), lines.rend(), [&](const std::string& line) {
      return line == extend || line == home;
    });
    const bool extended = last != lines.rend() && *last == extend;
    return extended ? OperateResult{true, {3, 2}, {}} : OperateResult{true, {4, 1}, {}};
  };
}

/// Runs `action` to its end on a thread of its own: what another thread does while this
/// one stands in the middle of a move.
inline void on_another_thread(const std::function<void()>& action) { std::thread(action).join(); }

/// The reference robot's claws on virtual time. They obey, unless a test queues other
/// answers; a test that leaves queued answers over fails.
class ClawTest : public OrchestratorTest {
 protected:
  ClawTest() { gateway->otherwise(obedient_claws(journal)); }

  void TearDown() override { EXPECT_EQ(gateway->unused_answers(), 0U); }

  /// The emergency stop comes, or clears, whatever this thread is doing.
  void stop() {
    on_another_thread([this] { orchestrator().on_emergency_active(); });
  }
  void clear() {
    on_another_thread([this] { orchestrator().on_emergency_recovered(); });
  }

  /// Queues a query answer that moves virtual time on before it comes.
  void then_data_after(std::chrono::nanoseconds duration, std::vector<std::uint8_t> data) {
    gateway->then([this, duration, data = std::move(data)](const Operation&) {
      time.advance(duration);
      return OperateResult{true, data, {}};
    });
  }

  /// Queues the answers of a move whose every attempt is refused.
  void then_fail_all_attempts() {
    for (std::int64_t left = config.claw_retry_count; left >= 0; --left) {
      gateway->then_fail("jammed");
    }
  }

  /// Brings a claw into `state` by a request that leads there; the journal is empty after.
  void bring(std::size_t index, ClawState state) {
    const bool incomplete =
        state == ClawState::RaiseIncomplete || state == ClawState::LowerIncomplete;
    if (incomplete) {
      then_fail_all_attempts();
    }
    if (state != ClawState::Unknown) {
      const bool raise = state == ClawState::Raised || state == ClawState::RaiseIncomplete;
      const BottomCompatReply reply =
          orchestrator().claw_execute(index, raise ? ClawState::Raised : ClawState::Lowered);
      ASSERT_NE(reply.success, incomplete);
    }
    ASSERT_EQ(orchestrator().claw_state(index), state);
    journal.take();
  }

  /// Throws out of the log callback or gateway call of line number `at` from now on; counts
  /// from 0. Not for a line of a wait: nothing throws there.
  void throw_at_line(std::size_t at) {
    journal.watch([left = at](const std::string& line) mutable {
      if (left-- == 0) {
        throw std::runtime_error(line);
      }
    });
  }

  VirtualTime time{journal};
  ClawLines claw;
};

}  // namespace vantrel_can_bridge::test

namespace vantrel_can_bridge::business_layer::bottom_compat {

// Shown by a failing comparison instead of a number.
inline void PrintTo(ClawState state, std::ostream* out) {
  constexpr const char* kNames[] = {"Unknown", "Raised", "Lowered", "RaiseIncomplete",
                                    "LowerIncomplete"};
  *out << kNames[static_cast<std::int32_t>(state)];
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
