#include "workbench/request_text.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>

namespace vantrel_can_bridge::workbench {
namespace {

/// Where several fields are a group of which a request mostly uses a part, zeros are left
/// out; a field that is a command's only parameter is always shown.
enum class Zero { Hidden, Shown };

struct Field {
  std::int32_t cmd;
  std::string_view name;
  Zero zero;
};

constexpr Field kFields[] = {
    {0, "tools_cmd", Zero::Hidden},
    {0, "tools_duty", Zero::Hidden},
    {0, "tools_select", Zero::Hidden},
    {0, "clean_cmd", Zero::Hidden},
    {0, "clean_duty", Zero::Hidden},
    {0, "clean_select", Zero::Hidden},
    {0, "dirty_cmd", Zero::Hidden},
    {0, "dirty_duty", Zero::Hidden},
    {0, "dirty_select", Zero::Hidden},
    {0, "tools_claw_cmd", Zero::Hidden},
    {0, "tools_claw_duty", Zero::Hidden},
    {0, "tools_claw_select", Zero::Hidden},
    {2, "bottom_rgb", Zero::Hidden},
    {2, "bottom_level", Zero::Hidden},
    {2, "bottom_mode", Zero::Hidden},
    {2, "left_rgb", Zero::Hidden},
    {2, "left_level", Zero::Hidden},
    {2, "left_mode", Zero::Hidden},
    {2, "right_rgb", Zero::Hidden},
    {2, "right_level", Zero::Hidden},
    {2, "right_mode", Zero::Hidden},
    {8, "wheel_cmd", Zero::Shown},
    {9, "rgb", Zero::Shown},
    {11, "rgb", Zero::Shown},
    {13, "pump_cmd", Zero::Shown},
    {13, "pump_duty", Zero::Shown},
    {14, "front_rgb", Zero::Shown},
    {14, "rear_rgb", Zero::Shown},
};

std::string_view command_title(std::int32_t cmd) {
  switch (cmd) {
    case 0:
      return "procter";
    case 2:
      return "side lights";
    case 7:
      return "bump unlock";
    case 8:
      return "wheel control";
    case 9:
    case 11:
      return "fill light";
    case 13:
      return "end-tool pump";
    case 14:
      return "projection light";
    case 3:
    case 4:
    case 5:
    case 6:
    case 10:
    case 12:
      return "retired";
    default:
      return "unknown";
  }
}

}  // namespace

std::string field_text(std::string_view name, std::int64_t value) {
  const RequestField* const field = find_request_field(name);
  const bool is_colour = value > 100 && field != nullptr && field->is_colour();
  return is_colour ? fmt::format("{}=0x{:06x}", name, value) : fmt::format("{}={}", name, value);
}

std::string request_text(const Request& request) {
  std::string text = fmt::format("cmd {}  {} ", request.cmd, command_title(request.cmd));
  for (const Field& field : kFields) {
    if (field.cmd != request.cmd) {
      continue;
    }
    const std::int64_t value = find_request_field(field.name)->get(request);
    if (value != 0 || field.zero == Zero::Shown) {
      text += " " + field_text(field.name, value);
    }
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace vantrel_can_bridge::workbench
