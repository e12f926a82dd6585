#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/robot.hpp"

/// The texts of an LED and of a pump request, once as the orchestrator builds them and
/// once with each of the usual means, written as someone would who uses these well.
namespace vantrel_can_bridge::bench {

struct Ours {};           ///< `text` of compat/text.hpp
struct StringStreams {};  ///< std::ostringstream
struct Fmt {};            ///< fmt::format
struct Absl {};           ///< absl::StrCat
struct ToString {};       ///< std::to_string and +

template <typename Technology>
struct Texts {
  static std::string dispatch(std::int32_t cmd);
  static std::string light_summary(const Request& request);
  static std::string led_label(std::uint32_t rgb);
  static std::string pump_summary(std::int64_t channel, const Request& request);
  static std::string pump_label(std::int64_t channel, std::int32_t target);
  static std::string hex(const std::vector<std::uint8_t>& payload);
  static std::string begin(const std::string& label, const std::string& board,
                           const std::string& device, const std::string& op,
                           const std::vector<std::uint8_t>& payload);
  /// `line` held the text of `begin`, and is free to be written over.
  static void end(std::string& line, const std::string& label, bool success,
                  const std::string& message);
};

}  // namespace vantrel_can_bridge::bench
