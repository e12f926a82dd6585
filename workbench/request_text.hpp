#pragma once

#include <string>

#include "vantrel_protocol/srv/bottom_interact_srv.hpp"

namespace vantrel_can_bridge::workbench {

/// A request for people: its command, what that is called, and of its fields those that
/// the command reads and that say something ("cmd 8  wheel control  wheel_cmd=1").
[[nodiscard]] std::string request_text(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request);

}  // namespace vantrel_can_bridge::workbench
