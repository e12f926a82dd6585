#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"
#include "gateway/i_bridge_gateway.hpp"

/// The robot that all measurements run on: boards that answer at once, so that what is
/// measured is the orchestrator.
namespace vantrel_can_bridge::bench {

using business_layer::IBridgeGateway;
using business_layer::bottom_compat::BottomCompatConfig;
using business_layer::bottom_compat::BottomCompatOrchestrator;
using business_layer::bottom_compat::BottomCompatReply;
using business_layer::bottom_compat::ClawState;
using business_layer::bottom_compat::LogCallback;
using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// Answers every operation at once with success and nothing to say. Its claws have
/// arrived by the first query. Any thread; claw moves one at a time.
class InstantGateway : public IBridgeGateway {
 public:
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override;

  /// How many operations the calling thread has sent through gateways of this kind.
  static std::uint64_t operations() noexcept;

 private:
  bool extended_ = false;  // where the claw that moved last has gone
};

/// How many of each a robot has.
struct Fittings {
  std::size_t motors = 3;
  std::size_t valves = 4;
  std::size_t claws = 4;
};

/// A configuration without pauses: no valve delay, claws polled at the shortest interval.
BottomCompatConfig config_of(const Fittings& fittings);

/// Takes a line and does nothing with it, out of the optimiser's sight.
void discard(const std::string& line);

/// An orchestrator over an `InstantGateway`, with callbacks that discard their lines, or
/// with none.
std::unique_ptr<BottomCompatOrchestrator> make_orchestrator(const Fittings& fittings,
                                                            bool callbacks);

/// A command as its benchmark sends it: the requests in turn, over and over. More than one
/// where the second would find nothing left to do.
struct Command {
  const char* name;
  std::vector<Request> requests;
};

/// Every command code, and every branch of it that sends something else.
const std::vector<Command>& commands();

// Requests that more than one measurement sends.
Request led_request();
Request pump_request();

}  // namespace vantrel_can_bridge::bench
