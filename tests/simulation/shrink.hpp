#pragma once

#include <functional>

#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::test::simulation {

/// The smallest case that can be had from `script` by leaving things out and setting
/// fields back to their defaults, one after the other, as long as `fails` holds; it holds
/// for `script`.
Case shrink(Case script, const std::function<bool(const Case&)>& fails);

}  // namespace vantrel_can_bridge::test::simulation
