#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gateway/operate_result.hpp"

namespace vantrel_can_bridge::business_layer {

/// The way to the boards of the CAN bus. The bridge implements it; the
/// orchestrator holds it by shared pointer and calls it, nothing else.
class IBridgeGateway {
 public:
  virtual ~IBridgeGateway() = default;

  /// Carries out `op` on `device` of `board` with the bytes of `payload`, and
  /// returns once it is acknowledged, answered, or has failed.
  ///
  /// Called from any thread that calls the orchestrator, from several at once (a
  /// light and a pump request run side by side), each time with a mutex of the
  /// orchestrator held: an implementation must be safe for that and must not call
  /// back into the orchestrator. How long a call blocks is the gateway's business;
  /// a claw notices an emergency stop only between calls.
  ///
  /// A failure is a result with `success` false and a message. An exception is
  /// passed on to whoever sent the request; every lock is free again by then.
  virtual OperateResult operate(const std::string& board, const std::string& device,
                                const std::string& op,
                                const std::vector<std::uint8_t>& payload) = 0;
};

}  // namespace vantrel_can_bridge::business_layer
