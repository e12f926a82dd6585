#include "workbench/simulated_lights_and_power.hpp"

#include <fmt/format.h>

namespace vantrel_can_bridge::workbench {

std::vector<DeviceOperation> SimulatedLed::operations() {
  return {{"set_led", 6, "red, green, blue, level, mode low, mode high",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             const auto mode = static_cast<std::uint16_t>(payload[4] | payload[5] << 8);
             state_ = {payload[0], payload[1], payload[2], payload[3], mode};
             return {};
           }}};
}

std::vector<DeviceOperation> SimulatedFillLight::operations() {
  return {{"set_brightness", 2, "brightness 0..100, 0",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             if (payload[0] > 100) {
               return {{}, fmt::format("brightness {}", payload[0])};
             }
             if (payload[1] != 0) {
               return {{}, fmt::format("second byte {}", payload[1])};
             }
             percent_ = payload[0];
             return {};
           }}};
}

std::vector<DeviceOperation> SimulatedPowerControl::operations() {
  return {{"set_bit", 3, "sub-address, bit, value 0 or 1",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             if (payload[2] > 1) {
               return {{}, fmt::format("value {}", payload[2])};
             }
             bits_[{payload[0], payload[1]}] = payload[2] == 1;
             return {};
           }}};
}

std::vector<PowerBitState> SimulatedPowerControl::state() const {
  std::vector<PowerBitState> state;
  state.reserve(bits_.size());
  for (const auto& [address, value] : bits_) {
    state.push_back({address.first, address.second, value});
  }
  return state;
}

}  // namespace vantrel_can_bridge::workbench
