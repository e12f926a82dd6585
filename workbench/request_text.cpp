#include "workbench/request_text.hpp"

#include <fmt/format.h>

#include <cstdint>
#include <string_view>
#include <variant>

namespace vantrel_can_bridge::workbench {
namespace {

using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// Where several fields are a group of which a request mostly uses a part, zeros are left
/// out; a field that is a command's only parameter is always shown.
enum class Zero { Hidden, Shown };

struct Field {
  std::int32_t cmd;
  std::string_view name;
  std::variant<std::int32_t Request::*, std::uint32_t Request::*> member;
  Zero zero;
};

constexpr Field kFields[] = {
    {0, "tools_cmd", &Request::tools_cmd, Zero::Hidden},
    {0, "tools_duty", &Request::tools_duty, Zero::Hidden},
    {0, "tools_select", &Request::tools_select, Zero::Hidden},
    {0, "clean_cmd", &Request::clean_cmd, Zero::Hidden},
    {0, "clean_duty", &Request::clean_duty, Zero::Hidden},
    {0, "clean_select", &Request::clean_select, Zero::Hidden},
    {0, "dirty_cmd", &Request::dirty_cmd, Zero::Hidden},
    {0, "dirty_duty", &Request::dirty_duty, Zero::Hidden},
    {0, "dirty_select", &Request::dirty_select, Zero::Hidden},
    {0, "tools_claw_cmd", &Request::tools_claw_cmd, Zero::Hidden},
    {0, "tools_claw_duty", &Request::tools_claw_duty, Zero::Hidden},
    {0, "tools_claw_select", &Request::tools_claw_select, Zero::Hidden},
    {2, "bottom_rgb", &Request::bottom_rgb, Zero::Hidden},
    {2, "bottom_level", &Request::bottom_level, Zero::Hidden},
    {2, "bottom_mode", &Request::bottom_mode, Zero::Hidden},
    {2, "left_rgb", &Request::left_rgb, Zero::Hidden},
    {2, "left_level", &Request::left_level, Zero::Hidden},
    {2, "left_mode", &Request::left_mode, Zero::Hidden},
    {2, "right_rgb", &Request::right_rgb, Zero::Hidden},
    {2, "right_level", &Request::right_level, Zero::Hidden},
    {2, "right_mode", &Request::right_mode, Zero::Hidden},
    {8, "wheel_cmd", &Request::wheel_cmd, Zero::Shown},
    {9, "rgb", &Request::rgb, Zero::Shown},
    {11, "rgb", &Request::rgb, Zero::Shown},
    {13, "pump_cmd", &Request::pump_cmd, Zero::Shown},
    {13, "pump_duty", &Request::pump_duty, Zero::Shown},
    {14, "front_rgb", &Request::front_rgb, Zero::Shown},
    {14, "rear_rgb", &Request::rear_rgb, Zero::Shown},
};

std::string_view command_name(std::int32_t cmd) {
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
  constexpr std::string_view kColour = "rgb";
  const bool is_colour = value > 100 && name.size() >= kColour.size() &&
                         name.substr(name.size() - kColour.size()) == kColour;
  return is_colour ? fmt::format("{}=0x{:06x}", name, value) : fmt::format("{}={}", name, value);
}

std::string request_text(const Request& request) {
  std::string text = fmt::format("cmd {}  {} ", request.cmd, command_name(request.cmd));
  for (const Field& field : kFields) {
    const std::int64_t value = std::visit(
        [&](auto member) { return static_cast<std::int64_t>(request.*member); }, field.member);
    if (field.cmd == request.cmd && (value != 0 || field.zero == Zero::Shown)) {
      text += " " + field_text(field.name, value);
    }
  }
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

}  // namespace vantrel_can_bridge::workbench
