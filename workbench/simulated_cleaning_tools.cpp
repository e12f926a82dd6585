#include "workbench/simulated_cleaning_tools.hpp"

#include <fmt/format.h>

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::uint8_t kVelocityMode = 3;

}  // namespace

std::vector<DeviceOperation> SimulatedPumps::operations() {
  return {{"set_duty", 3, "channel 1..5, duty 0..100, 0",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             if (payload[0] < 1 || payload[0] > duty_percent_.size()) {
               return {{}, fmt::format("channel {}", payload[0])};
             }
             if (payload[1] > 100) {
               return {{}, fmt::format("duty {}", payload[1])};
             }
             if (payload[2] != 0) {
               return {{}, fmt::format("third byte {}", payload[2])};
             }
             duty_percent_[payload[0] - 1U] = payload[1];
             return {};
           }}};
}

std::vector<DeviceOperation> SimulatedValves::operations() {
  return {{"set_valves", 2, "mask of the valves concerned, those of them to be open",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             const unsigned mask = payload[0];
             const unsigned values = payload[1];
             if ((values & ~mask) != 0) {
               return {{}, fmt::format("open valves 0x{:02x} outside the mask", values & ~mask)};
             }
             open_ = static_cast<std::uint8_t>((open_ & ~mask) | values);
             return {};
           }}};
}

std::vector<DeviceOperation> SimulatedCleaningMotor::operations() {
  return {{"set_mode", 1, "mode 3 (velocity)",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             if (payload[0] != kVelocityMode) {
               return {{}, fmt::format("mode {}", payload[0])};
             }
             state_.mode = payload[0];
             return {};
           }},
          {"enable", 0, "",
           [this](const Bytes&, const OperationContext&) -> DeviceAnswer {
             state_.enabled = true;
             return {};
           }},
          {"set_target", 2, "signed 16-bit rpm, low byte first",
           [this](const Bytes& payload, const OperationContext&) -> DeviceAnswer {
             const auto rpm = static_cast<std::uint16_t>(payload[0] | payload[1] << 8);
             state_.target_rpm = static_cast<std::int16_t>(rpm);
             return {};
           }},
          {"disable", 0, "", [this](const Bytes&, const OperationContext&) -> DeviceAnswer {
             state_.enabled = false;
             return {};
           }}};
}

}  // namespace vantrel_can_bridge::workbench
