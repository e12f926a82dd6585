#pragma once

#include <optional>
#include <string>
#include <vector>

#include "workbench/request_fields.hpp"

namespace vantrel_can_bridge::workbench {

/// The request of arguments "cmd=13 pump_cmd=1"; cmd may be a command's name. Nothing where
/// any is wrong, with a line for each in `errors`.
[[nodiscard]] std::optional<Request> parse_request(const std::vector<std::string>& arguments,
                                                   std::vector<std::string>& errors);

}  // namespace vantrel_can_bridge::workbench
