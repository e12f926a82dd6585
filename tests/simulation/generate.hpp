#pragma once

#include <cstdint>

#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::test::simulation {

/// The case of a seed: always the same one, on every machine.
Case generate(std::uint64_t seed);

}  // namespace vantrel_can_bridge::test::simulation
