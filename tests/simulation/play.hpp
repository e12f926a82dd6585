#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "tests/simulation/case.hpp"
#include "tests/simulation/stage.hpp"

namespace vantrel_can_bridge::test::simulation {

/// Where a case came out other than it should.
struct Failure {
  std::size_t step = 0;  ///< counted from 0
  std::string report;    ///< for people, several lines
};

/// Looks at, or changes, one expected entry before it is compared: a test of the
/// simulation itself plants a fault with it.
using Distortion = std::function<void(Entry&)>;

/// Called with what each step really did.
using Observer = std::function<void(const Step&, const Record&)>;

/// Plays `script` on a new orchestrator and on a new model, and ends at the first step
/// after which their records differ or an invariant is broken.
///
/// The claw states are read, and a light and an actuator request made, after every step:
/// a mutex that the step left locked hangs there.
std::optional<Failure> play(const Case& script, const Distortion& distort = {},
                            const Observer& observe = {});

}  // namespace vantrel_can_bridge::test::simulation
