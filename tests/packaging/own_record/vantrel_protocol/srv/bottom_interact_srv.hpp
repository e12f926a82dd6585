#pragma once

#include <cstdint>
#include <memory>
#include <string>

// A record as a message generator writes it: a template over the allocator, with further
// fields in front of, between and behind those that the component reads.
namespace vantrel_protocol::srv {

template <typename Allocator>
struct BottomInteractSrv_Request_ {
  std::int64_t field_of_the_package{};
  std::int32_t cmd{};
  std::string comment;
  std::int32_t tools_cmd{};
  std::int32_t tools_duty{};
  std::int32_t tools_select{};
  std::int32_t tools_claw_cmd{};
  std::int32_t tools_claw_duty{};
  std::int32_t tools_claw_select{};
  std::int32_t pump_cmd{};
  std::int32_t pump_duty{};
  std::int32_t clean_cmd{};
  std::int32_t clean_duty{};
  std::int32_t clean_select{};
  std::int32_t dirty_cmd{};
  std::int32_t dirty_duty{};
  std::int32_t dirty_select{};
  std::uint32_t bottom_rgb{};
  std::int32_t bottom_level{};
  std::uint32_t bottom_mode{};
  std::uint32_t left_rgb{};
  std::int32_t left_level{};
  std::uint32_t left_mode{};
  std::uint32_t right_rgb{};
  std::int32_t right_level{};
  std::uint32_t right_mode{};
  std::uint32_t rgb{};
  std::uint32_t front_rgb{};
  std::uint32_t rear_rgb{};
  std::int32_t wheel_cmd{};
  bool trailing{};
};

using BottomInteractSrv_Request = BottomInteractSrv_Request_<std::allocator<void>>;

}  // namespace vantrel_protocol::srv
