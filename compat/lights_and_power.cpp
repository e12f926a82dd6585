// Body board: side LEDs, fill light, and the power bits behind projection lights, wheel
// lock and bump unlock.

#include <algorithm>
#include <array>

#include "compat/bottom_compat_orchestrator.hpp"
#include "compat/reply.hpp"
#include "compat/text.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

namespace {

struct Colour {
  std::uint8_t red;
  std::uint8_t green;
  std::uint8_t blue;
};

Colour colour_of(std::uint32_t rgb) {
  return {static_cast<std::uint8_t>((rgb >> 16U) & 0xFFU),
          static_cast<std::uint8_t>((rgb >> 8U) & 0xFFU), static_cast<std::uint8_t>(rgb & 0xFFU)};
}

/// Percent, 0 to 100, of the brightest channel: the fill light has no colours.
std::uint32_t fill_light_brightness(std::uint32_t rgb) {
  const Colour colour = colour_of(rgb);
  return std::uint32_t{std::max({colour.red, colour.green, colour.blue})} * 100U / 255U;
}

}  // namespace

std::vector<std::uint8_t> BottomCompatOrchestrator::encode_led(std::uint32_t rgb,
                                                               std::int32_t level,
                                                               std::uint32_t mode) {
  const Colour colour = colour_of(rgb);
  return {colour.red,
          colour.green,
          colour.blue,
          static_cast<std::uint8_t>(std::clamp(level, 0, 255)),
          static_cast<std::uint8_t>(mode & 0xFFU),
          static_cast<std::uint8_t>((mode >> 8U) & 0xFFU)};
}

BottomCompatReply BottomCompatOrchestrator::operate_led(const std::string& device,
                                                        std::uint32_t rgb, std::int32_t level,
                                                        std::uint32_t mode) {
  return from_operate(operate_gateway(config_.bottom_board, device, "set_led",
                                      encode_led(rgb, level, mode), text("led rgb=", rgb)));
}

BottomCompatReply BottomCompatOrchestrator::handle_operate_light(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(light_mutex_);
  debug_log(text("CMD_OPERATE_LIGHT: bottom_rgb=", request.bottom_rgb,
                 " left_rgb=", request.left_rgb, " right_rgb=", request.right_rgb));

  struct Group {
    const char* device;
    std::uint32_t rgb;
    std::int32_t level;
    std::uint32_t mode;
  };
  // A side's own colour comes after the colour of both, so that it is the one that stays.
  const std::array<Group, 4> groups{{
      {"left_light", request.bottom_rgb, request.bottom_level, request.bottom_mode},
      {"right_light", request.bottom_rgb, request.bottom_level, request.bottom_mode},
      {"left_light", request.left_rgb, request.left_level, request.left_mode},
      {"right_light", request.right_rgb, request.right_level, request.right_mode},
  }};
  for (const Group& group : groups) {
    if (group.rgb == 0) {
      continue;
    }
    BottomCompatReply reply = operate_led(group.device, group.rgb, group.level, group.mode);
    if (!reply.success) {
      return reply;
    }
  }
  return succeeded();
}

BottomCompatReply BottomCompatOrchestrator::operate_fill_light(std::uint32_t value) {
  const std::uint32_t brightness = value <= 100 ? value : fill_light_brightness(value);
  return from_operate(operate_gateway(config_.bottom_board, "fill_light", "set_brightness",
                                      encode_u16_le(static_cast<std::uint16_t>(brightness)),
                                      text("fill_light brightness=", brightness)));
}

BottomCompatReply BottomCompatOrchestrator::handle_fill_light(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(light_mutex_);
  debug_log(text("CMD_FILL_LIGHT: rgb=", request.rgb));
  return operate_fill_light(request.rgb);
}

BottomCompatReply BottomCompatOrchestrator::operate_power_bit(std::uint8_t sub, std::uint8_t bit,
                                                              bool value) {
  const std::uint8_t value_bit = value ? 1 : 0;
  return from_operate(
      operate_gateway(config_.bottom_board, "power_control", "set_bit", {sub, bit, value_bit},
                      text("power_bit sub=", sub, " bit=", bit, " value=", value_bit)));
}

BottomCompatReply BottomCompatOrchestrator::handle_projection_light(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(light_mutex_);
  debug_log(
      text("CMD_PROJECTION_LIGHT: front_rgb=", request.front_rgb, " rear_rgb=", request.rear_rgb));

  BottomCompatReply front = operate_power_bit(config_.front_projection_sub,
                                              config_.front_projection_bit, request.front_rgb != 0);
  if (!front.success) {
    return front;
  }
  BottomCompatReply rear = operate_power_bit(config_.rear_projection_sub,
                                             config_.rear_projection_bit, request.rear_rgb != 0);
  if (!rear.success) {
    return rear;
  }
  return succeeded();
}

BottomCompatReply BottomCompatOrchestrator::handle_wheel_control(
    const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(actuator_mutex_);
  const bool is_lock = request.wheel_cmd != 0;
  // The bit number in this line is fixed text: it does not follow `wheel_power_bit`.
  debug_log(text("CMD_WHEEL_CONTROL: wheel_cmd=", request.wheel_cmd,
                 " mapped_value=", is_lock ? "lock" : "unlock", " bottom_motor_stop_bit=5"));
  return operate_power_bit(config_.wheel_power_sub, config_.wheel_power_bit,
                           is_lock ? config_.wheel_lock_value : config_.wheel_unlock_value);
}

BottomCompatReply BottomCompatOrchestrator::handle_bump_unlock() {
  const std::lock_guard<std::mutex> lock(actuator_mutex_);
  // Like the wheel's, this text does not follow the configured bit.
  debug_log("CMD_UNLOCK_BUMP: dispatching power_control bit7");
  return operate_power_bit(config_.bump_unlock_sub, config_.bump_unlock_bit, true);
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
