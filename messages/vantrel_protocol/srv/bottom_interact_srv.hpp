#pragma once

#include <cstdint>

namespace vantrel_protocol::srv {

/// One request of an old client: a command code and the parameters of every
/// command, of which a command reads its own and ignores the rest.
///
/// Stands in for the record of the generated message package. A bridge that has
/// that package compiles the component against the package's record instead, see
/// docs/embedding.md; only the names and the types of these fields matter to the
/// orchestrator, which reads them and no others.
struct BottomInteractSrv_Request {
  /// Command code, 0 to 14; see `BottomCompatOrchestrator::handle`.
  std::int32_t cmd = 0;

  // Cleaning motors (cmd 0).
  std::int32_t tools_cmd = 0;     ///< 0 stops, 3 runs in reverse, any other value runs forward
  std::int32_t tools_duty = 0;    ///< units of `tools_clean_rpm_per_duty`; 0 or less stops
  std::int32_t tools_select = 0;  ///< one-hot 1, 2, 4; else a stop stops all, a start fails

  // Tool claws (cmd 0).
  std::int32_t tools_claw_cmd = 0;     ///< 1 extends, 3 homes, 0 with duty 0 does nothing
  std::int32_t tools_claw_duty = 0;    ///< logged, and part of "does nothing"; else unused
  std::int32_t tools_claw_select = 0;  ///< one-hot: 1, 2, 4, 8 name claws 0 to 3

  // End-tool pump (cmd 13).
  std::int32_t pump_cmd = 0;   ///< 0 stops, any other value runs
  std::int32_t pump_duty = 0;  ///< percent; 0 or less stops, above 100 counts as 100

  // Clean pump behind its valves (cmd 0).
  std::int32_t clean_cmd = 0;     ///< 0 leaves the pump at 0 behind open valves
  std::int32_t clean_duty = 0;    ///< percent up to 100; 0 is off, negative is on at 0
  std::int32_t clean_select = 0;  ///< one-hot: the one valve of the group to open

  // Dirty pump behind its valves (cmd 0).
  std::int32_t dirty_cmd = 0;     ///< 0 leaves the pump at 0 behind open valves
  std::int32_t dirty_duty = 0;    ///< percent up to 100; 0 is off, negative is on at 0
  std::int32_t dirty_select = 0;  ///< bit mask: bit i opens valve i of the group

  // Side LEDs (cmd 2): colours are 0xRRGGBB, 0 leaves the group as it is; levels
  // are clamped to 0..255; of the modes the low 16 bits are sent.
  std::uint32_t bottom_rgb = 0;   ///< colour of both LEDs
  std::int32_t bottom_level = 0;  ///< level of both, sent with the colour only
  std::uint32_t bottom_mode = 0;  ///< mode of both, sent with the colour only
  std::uint32_t left_rgb = 0;     ///< colour of the left LED, sent after that of both
  std::int32_t left_level = 0;    ///< its level
  std::uint32_t left_mode = 0;    ///< its mode
  std::uint32_t right_rgb = 0;    ///< colour of the right LED, sent after that of both
  std::int32_t right_level = 0;   ///< its level
  std::uint32_t right_mode = 0;   ///< its mode

  /// Fill light (cmd 9 and 11): up to 100 a brightness in percent, above it a colour.
  std::uint32_t rgb = 0;

  // Projection lights (cmd 14): 0 is off, any other value is on.
  std::uint32_t front_rgb = 0;  ///< front light
  std::uint32_t rear_rgb = 0;   ///< rear light

  /// Wheel lock (cmd 8): 0 unlocks, any other value locks.
  std::int32_t wheel_cmd = 0;
};

}  // namespace vantrel_protocol::srv
