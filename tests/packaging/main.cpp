// Uses the component as a service would, against the installed or included headers alone.
// Exits with 0 when the request arrived at the gateway as it should.

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"

namespace bottom_compat = vantrel_can_bridge::business_layer::bottom_compat;

class Gateway : public vantrel_can_bridge::business_layer::IBridgeGateway {
 public:
  vantrel_can_bridge::OperateResult operate(const std::string& board, const std::string& device,
                                            const std::string& op,
                                            const std::vector<std::uint8_t>& payload) override {
    arrived = board == "clean" && device == "pump" && op == "set_duty" &&
              payload == std::vector<std::uint8_t>{2, 80, 0};
    return {true, {}, "done"};
  }

  bool arrived = false;
};

int main() {
  auto gateway = std::make_shared<Gateway>();
  bottom_compat::BottomCompatConfig config;
  config.selfclean_board = "clean";
  config.end_tool_pump_channel = 2;
  bottom_compat::BottomCompatOrchestrator orchestrator(gateway, config, nullptr, nullptr, nullptr);

  vantrel_protocol::srv::BottomInteractSrv_Request request;
#ifdef OWN_RECORD
  request.field_of_the_package = 1;  // proof that the package's record is the one in use
#endif
  request.cmd = 13;
  request.pump_cmd = 1;
  request.pump_duty = 80;
  const bottom_compat::BottomCompatReply reply = orchestrator.handle(request);
  return reply.success && reply.message == "done" && gateway->arrived ? 0 : 1;
}
