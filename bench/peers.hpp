#pragma once

#include <mutex>
#include <string>
#include <vector>

#include "bench/robot.hpp"
#include "bench/texts.hpp"

namespace vantrel_can_bridge::bench {

/// What cannot be saved: each text is a copy, made in one piece, of one that was built
/// before. A request of its own for each `Which`, because the first texts stay.
template <int Which>
struct Copied {};

/// The path of an LED and of an end-tool pump request, step for step as the orchestrator
/// takes it (same checks, locks, gateway calls, callbacks, records), but for its texts:
/// those come from `Texts<Technology>`.
template <typename Technology>
class PeerOrchestrator {
 public:
  PeerOrchestrator(std::shared_ptr<IBridgeGateway> gateway, BottomCompatConfig config,
                   LogCallback debug);

  /// `request.cmd` is 2 or 13.
  BottomCompatReply handle(const Request& request);

 private:
  BottomCompatReply handle_operate_light(const Request& request);
  BottomCompatReply operate_led(const std::string& device, std::uint32_t rgb, std::int32_t level,
                                std::uint32_t mode);
  BottomCompatReply handle_end_tool_pump(const Request& request);
  OperateResult operate_gateway(const std::string& board, const std::string& device,
                                const std::string& op, const std::vector<std::uint8_t>& payload,
                                const std::string& label);
  void debug_log(const std::string& line) const;

  const std::shared_ptr<IBridgeGateway> gateway_;
  const BottomCompatConfig config_;
  const LogCallback debug_;
  std::mutex actuator_mutex_;
  std::mutex light_mutex_;
};

extern template class PeerOrchestrator<Ours>;
extern template class PeerOrchestrator<StringStreams>;
extern template class PeerOrchestrator<Fmt>;
extern template class PeerOrchestrator<Absl>;
extern template class PeerOrchestrator<ToString>;
extern template class PeerOrchestrator<Copied<2>>;
extern template class PeerOrchestrator<Copied<13>>;

/// Sends requests through the orchestrator and through every peer. The first difference
/// in a log line, a device operation or a reply is described; "" when there is none.
std::string difference_between_peers();

}  // namespace vantrel_can_bridge::bench
