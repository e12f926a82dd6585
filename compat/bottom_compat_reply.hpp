#pragma once

#include <cstdint>
#include <string>

namespace vantrel_can_bridge::business_layer::bottom_compat {

/// The answer to one request.
struct BottomCompatReply {
  /// The request was carried out.
  bool success = false;

  /// 0 exactly when `success`, else 1; there are no other codes.
  std::int32_t code = 1;

  /// What went wrong, in English; clients compare it byte by byte. With `success` it
  /// is empty, but for commands of a single device operation: those pass on what the
  /// gateway said.
  std::string message;
};

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
