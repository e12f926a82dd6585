#pragma once

#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "workbench/boards_snapshot.hpp"

namespace vantrel_can_bridge::workbench {

/// One device of the boards, for people.
struct DeviceRow {
  std::string device;  ///< "selfclean_board/motor5"
  std::string state;   ///< "disabled, target 0 rpm"
  bool at_rest;        ///< off, shut, unlocked, disabled; a claw: homed and not moving
};

/// A row for each device, in the boards' order, and for each power bit that was ever
/// written, named after what it switches where `config` knows it.
[[nodiscard]] std::vector<DeviceRow> device_rows(
    const BoardsSnapshot& snapshot,
    const business_layer::bottom_compat::BottomCompatConfig& config);

/// The rows in aligned columns, those not at rest marked.
[[nodiscard]] std::string state_table(const std::vector<DeviceRow>& rows, bool coloured);

}  // namespace vantrel_can_bridge::workbench
