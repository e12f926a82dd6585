#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "compat/bottom_compat_orchestrator.hpp"
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
/// after which a lock is left, their records differ, or an invariant is broken.
std::optional<Failure> play(const Case& script, const Distortion& distort = {},
                            const Observer& observe = {});

/// Whether no mutex of `robot` is held. A program without `tests/support/held_lock.cpp` waits
/// for one that is, and that for ever.
bool locks_are_free(business_layer::bottom_compat::BottomCompatOrchestrator& robot);

}  // namespace vantrel_can_bridge::test::simulation
