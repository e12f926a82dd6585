// The wall clock is set by hours, forth and back, at every look at it: no move, time-out or
// recovery may notice. In real time; the monotonic clock is the system's.

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "tests/support/healthy_board.hpp"
#include "tests/support/orchestrator_fixture.hpp"

namespace {

std::atomic<bool> jumping{false};
std::atomic<int> looks{0};

/// Hours to be added at this look: 5 ahead, 7 behind, 5 ahead, ...
std::time_t jump() {
  if (!jumping) {
    return 0;
  }
  return (++looks % 2 == 0 ? -7 : 5) * std::time_t{3600};
}

}  // namespace

// The C library's own names: defined in the executable, they serve every caller.

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  const auto error = static_cast<int>(syscall(SYS_clock_gettime, clock, now));
  if (error == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
    now->tv_sec += jump();
  }
  return error;
}

extern "C" int gettimeofday(timeval* now, void* /*zone*/) noexcept {
  timespec precise{};
  const int error = clock_gettime(CLOCK_REALTIME, &precise);
  *now = {precise.tv_sec, precise.tv_nsec / 1000};
  return error;
}

extern "C" std::time_t time(std::time_t* now) noexcept {
  timespec precise{};
  clock_gettime(CLOCK_REALTIME, &precise);
  if (now != nullptr) {
    *now = precise.tv_sec;
  }
  return precise.tv_sec;
}

namespace vantrel_can_bridge::test {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

class JumpingWallClock : public OrchestratorTest {
 protected:
  JumpingWallClock() {
    config.claw_motor_ids = {11};
    config.claw_poll_interval_ms = 20;
    config.claw_timeout_ms = 60;
    config.claw_retry_count = 0;
    gateway->otherwise([this](const Operation& operation) { return boards.answer(operation); });
    jumping = true;
  }
  ~JumpingWallClock() override { jumping = false; }

  std::ptrdiff_t queries() {
    const Lines lines = journal.lines();
    return std::count(lines.begin(), lines.end(), "gateway: clean motor11 claw_query_state []");
  }

  HealthyBoard boards;
};

// Without this the others would prove nothing.
TEST_F(JumpingWallClock, JumpsByHoursForEachWayToReadIt) {
  const auto before = std::chrono::system_clock::now();
  const auto after = std::chrono::system_clock::now();
  EXPECT_GT(std::chrono::abs(after - before), std::chrono::hours(11));

  EXPECT_GT(std::abs(std::time(nullptr) - std::time(nullptr)), 11 * 3600);

  timeval first{};
  timeval second{};
  gettimeofday(&first, nullptr);
  gettimeofday(&second, nullptr);
  EXPECT_GT(std::abs(second.tv_sec - first.tv_sec), 11 * 3600);
}

TEST_F(JumpingWallClock, LeavesAMoveItsTwoPolls) {
  const auto begin = steady_clock::now();
  config.claw_timeout_ms = 60'000;

  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised), success());

  EXPECT_GE(steady_clock::now() - begin, milliseconds(2 * 20));
  EXPECT_EQ(queries(), 2);
}

TEST_F(JumpingWallClock, LeavesATimeOutItsLength) {
  gateway->otherwise([](const Operation&) { return OperateResult{true, kMoving, {}}; });
  const auto begin = steady_clock::now();

  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised),
            failure("tools_claw claw_extend failed after 1 attempts: tools_claw claw_extend "
                    "timeout after 60ms"));

  EXPECT_GE(steady_clock::now() - begin, milliseconds(60));
  EXPECT_LE(queries(), 3);
}

TEST_F(JumpingWallClock, LeavesARecoveryItsBudget) {
  config.claw_timeout_ms = 60'000;
  orchestrator().on_emergency_active();

  orchestrator().on_emergency_recovered();

  EXPECT_EQ(orchestrator().claw_state(0), ClawState::Lowered);
  for (const std::string& line : journal.lines()) {
    EXPECT_NE(line.compare(0, 5, "warn:"), 0) << line;
  }
}

TEST_F(JumpingWallClock, LeavesAValveDelayItsLength) {
  const auto begin = steady_clock::now();
  config.valve_switch_delay_ms = 50;
  Request request;
  request.clean_select = request.clean_cmd = request.clean_duty = 1;

  EXPECT_EQ(orchestrator().handle(request), success());

  EXPECT_GE(steady_clock::now() - begin, milliseconds(50));
}

TEST_F(JumpingWallClock, IsNotEvenLookedAt) {
  config.claw_timeout_ms = 60'000;
  orchestrator();
  looks = 0;

  EXPECT_EQ(orchestrator().claw_execute(0, ClawState::Raised), success());
  orchestrator().on_emergency_active();
  orchestrator().on_emergency_recovered();

  EXPECT_EQ(looks, 0);
}

}  // namespace
}  // namespace vantrel_can_bridge::test
