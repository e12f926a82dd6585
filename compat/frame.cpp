// Construction, dispatch, logging, and the one way to the gateway.

#include <utility>

#include "compat/bottom_compat_orchestrator.hpp"
#include "compat/reply.hpp"
#include "compat/text.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

BottomCompatOrchestrator::BottomCompatOrchestrator(std::shared_ptr<IBridgeGateway> gateway,
                                                   BottomCompatConfig config, LogCallback debug,
                                                   LogCallback info, LogCallback warn)
    : gateway_(std::move(gateway)),
      config_(std::move(config)),
      debug_(std::move(debug)),
      info_(std::move(info)),
      warn_(std::move(warn)),
      claw_states_(config_.claw_motor_ids.size(), ClawState::Unknown) {}

BottomCompatReply BottomCompatOrchestrator::handle(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  debug_log(text("dispatch cmd=", request.cmd));
  switch (request.cmd) {
    case 0:
      return handle_procter(request);
    case 2:
      return handle_operate_light(request);
    case 7:
      return handle_bump_unlock();
    case 8:
      return handle_wheel_control(request);
    case 9:
    case 11:  // both codes are the same command
      return handle_fill_light(request);
    case 13:
      return handle_end_tool_pump(request);
    case 14:
      return handle_projection_light(request);
    case 3:
    case 4:
    case 5:
    case 6:
    case 10:
    case 12:
      return unsupported(request.cmd, "unsupported after bottom migration");
    default:
      return unsupported(request.cmd, "unknown bottom command");
  }
}

BottomCompatReply BottomCompatOrchestrator::unsupported(std::int32_t cmd,
                                                        const std::string& reason) const {
  debug_log(text("unsupported cmd=", cmd, " reason=", reason));
  return failed(text("cmd ", cmd, " ", reason));
}

OperateResult BottomCompatOrchestrator::operate_gateway(const std::string& board,
                                                        const std::string& device,
                                                        const std::string& op,
                                                        const std::vector<std::uint8_t>& payload,
                                                        const std::string& label) {
  std::string line = text("operate begin: ", label, " board=", board, " device=", device,
                          " op=", op, " payload=", HexBytes{payload});
  debug_log(line);
  OperateResult result = gateway_->operate(board, device, op, payload);
  // Over the begin line, which is longer than this one but for a long message.
  rewrite(line, "operate end: ", label, " success=", result.success, " message=", result.message);
  debug_log(line);
  return result;
}

BottomCompatReply BottomCompatOrchestrator::from_operate(const OperateResult& result) const {
  return {result.success, result.success ? 0 : 1, result.message};
}

void BottomCompatOrchestrator::debug_log(const std::string& line) const {
  if (debug_) {
    debug_(line);
  }
}

void BottomCompatOrchestrator::log_info(const std::string& line) const {
  if (info_) {
    info_(line);
  }
}

void BottomCompatOrchestrator::log_warn(const std::string& line) const {
  if (warn_) {
    warn_(line);
  }
}

std::string BottomCompatOrchestrator::payload_to_hex(const std::vector<std::uint8_t>& bytes) {
  return text(HexBytes{bytes});
}

std::vector<std::uint8_t> BottomCompatOrchestrator::encode_i16_le(std::int16_t value) {
  return encode_u16_le(static_cast<std::uint16_t>(value));
}

std::vector<std::uint8_t> BottomCompatOrchestrator::encode_u16_le(std::uint16_t value) {
  return {static_cast<std::uint8_t>(value & 0xFFU), static_cast<std::uint8_t>(value >> 8U)};
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
