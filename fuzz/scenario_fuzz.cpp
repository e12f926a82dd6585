// Reads any bytes as a scenario file beside those of this project, and plays what is one. The
// scenarios themselves are the corpus to begin with: `scenario_fuzz CORPUS scenarios`.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "workbench/player.hpp"
#include "workbench/scenario_reader.hpp"
#include "workbench/simulated_time.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

class NoSink final : public workbench::IEventSink {
 public:
  void on_event(const workbench::Event& /*event*/) override {}
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  workbench::InputErrors errors;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto scenario = workbench::read_scenario_text(text, SOURCE_DIR "/scenarios/fuzz.yaml", errors);
  require(scenario.has_value() == errors.empty());
  (void)errors.lines();
  if (scenario) {
    scenario->time_limit = std::chrono::seconds(10);  // a sleep of hours has nothing to add
    workbench::SimulatedTime time;
    NoSink sink;
    (void)workbench::play(*scenario, time, sink);
    require(time.error().empty());
  }
  return 0;
}
