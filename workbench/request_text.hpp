#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "workbench/request_fields.hpp"

namespace vantrel_can_bridge::workbench {

/// A request for people: its command, what that is called, and of its fields those that
/// the command reads and that say something ("cmd 8  wheel control  wheel_cmd=1").
[[nodiscard]] std::string request_text(const Request& request);

/// A field of a request for people: "wheel_cmd=1"; colours in hexadecimal, but for values up
/// to 100, which are a brightness or an on and off.
[[nodiscard]] std::string field_text(std::string_view name, std::int64_t value);

}  // namespace vantrel_can_bridge::workbench
