#pragma once

#include <string>
#include <utility>

#include "compat/bottom_compat_reply.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

/// Everything was done, and there is nothing to say about it.
inline BottomCompatReply succeeded() { return {true, 0, {}}; }

inline BottomCompatReply failed(std::string message) { return {false, 1, std::move(message)}; }

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
