// The smallest service that embeds the orchestrator: a gateway, a configuration, a place
// for log lines, and one request of an old client.

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"

using vantrel_can_bridge::OperateResult;
using vantrel_can_bridge::business_layer::IBridgeGateway;
namespace bottom_compat = vantrel_can_bridge::business_layer::bottom_compat;

/// A bridge sends the operation over the CAN bus here and waits for the board's answer.
class PrintingGateway : public IBridgeGateway {
 public:
  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    std::cout << "gateway: " << board << ' ' << device << ' ' << op << ' '
              << bottom_compat::BottomCompatOrchestrator::payload_to_hex(payload) << '\n';
    return {true, {}, "acknowledged"};
  }
};

int main() {
  bottom_compat::BottomCompatConfig config;
  config.bottom_board = "bottom_board";

  const auto log = [](const std::string& line) { std::cout << "log: " << line << '\n'; };
  bottom_compat::BottomCompatOrchestrator orchestrator(std::make_shared<PrintingGateway>(), config,
                                                       log, log, log);

  vantrel_protocol::srv::BottomInteractSrv_Request request;
  request.cmd = 9;  // fill light
  request.rgb = 80;
  const bottom_compat::BottomCompatReply reply = orchestrator.handle(request);
  std::cout << "reply: " << (reply.success ? "success" : "failure") << ", code " << reply.code
            << ", " << reply.message << '\n';
  return reply.success ? 0 : 1;
}
