#pragma once

#include <cstdint>
#include <string_view>

#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::test::simulation {

/// The case of a seed: always the same one, on every machine.
Case generate(std::uint64_t seed);

/// The case whose choices are `bytes`, one byte each. Its steps end where they end.
Case generate_from(std::string_view bytes);

}  // namespace vantrel_can_bridge::test::simulation
