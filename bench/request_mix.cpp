// A fixed mix of requests, for counting instructions: every command the same number of
// times, then an emergency stop and the recovery of every claw.

#include "bench/robot.hpp"

int main() {
  using namespace vantrel_can_bridge::bench;
  constexpr int kRounds = 50;
  const auto orchestrator = make_orchestrator({}, true);
  bool success = true;
  for (int round = 0; round < kRounds; ++round) {
    for (const Command& command : commands()) {
      for (const Request& request : command.requests) {
        success = orchestrator->handle(request).success && success;
      }
    }
    for (std::size_t claw = 0; claw < Fittings().claws; ++claw) {
      success = orchestrator->claw_execute(claw, ClawState::Raised).success && success;
    }
    orchestrator->on_emergency_active();
    orchestrator->on_emergency_recovered();
  }
  return success ? 1 : 0;  // the mix has requests that are refused
}
