// Plays any bytes as the life of a robot: configuration, requests, direct calls, answers and
// latencies of the gateway, stops, exceptions. Beside the crashes that the sanitizers see,
// every difference from the simulation's model and every broken invariant is a finding.
//
// A finding is printed as a case that `simulation_test --replay FILE` plays again.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string_view>

#include "tests/simulation/case_text.hpp"
#include "tests/simulation/generate.hpp"
#include "tests/simulation/play.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace simulation = vantrel_can_bridge::test::simulation;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const simulation::Case script = simulation::generate_from(bytes);
  if (const auto failure = simulation::play(script)) {
    std::cerr << "Step " << failure->step + 1 << " fails:\n"
              << failure->report << "\n"
              << simulation::to_text(script);
    std::abort();
  }
  return 0;
}
