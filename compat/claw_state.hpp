#pragma once

#include <cstdint>

namespace vantrel_can_bridge::business_layer::bottom_compat {

/// Where a tool claw was last known to be; `Raised` and `Lowered` are also the
/// targets of a move. Wherever a target is looked at, `Raised` means extend and every
/// other value means home.
enum class ClawState : std::int32_t {
  Unknown = 0,          ///< not moved since construction
  Raised = 1,           ///< confirmed extended
  Lowered = 2,          ///< confirmed home
  RaiseIncomplete = 3,  ///< an extend was stopped by an emergency or ran out of attempts
  LowerIncomplete = 4,  ///< a home was stopped by an emergency or ran out of attempts
};

}  // namespace vantrel_can_bridge::business_layer::bottom_compat
