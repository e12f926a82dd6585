#pragma once

#include <string>

#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::test::simulation {

/// A case as lines of text: what differs from the default values, and nothing else.
///
///     channels info=0
///     config claw_enabled=1 claw_motor_ids=[11 12]
///     step handle
///       request tools_claw_cmd=1 tools_claw_select=2
///       answer success=0 message="no \x22ack\x22"
///       repeat
///       incident stop wait 2
std::string to_text(const Case& script);

/// The case that `text` describes. Throws `std::runtime_error` with the number of the line
/// that cannot be understood.
Case from_text(const std::string& text);

}  // namespace vantrel_can_bridge::test::simulation
