#pragma once

#include <chrono>

#include "compat/bottom_compat_config.hpp"

namespace vantrel_can_bridge::workbench {

/// A robot with everything that the orchestrator can drive: three cleaning motors, clean
/// and dirty pump, end-tool pump, and two claws that are polled eighteen times on their
/// way from one end to the other.
[[nodiscard]] business_layer::bottom_compat::BottomCompatConfig reference_robot(
    std::chrono::milliseconds claw_travel_time);

}  // namespace vantrel_can_bridge::workbench
