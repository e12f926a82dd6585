// Reads any bytes as a scenario file beside those of this project, plays what is one, and plays
// the recording of that. The scenarios themselves are the corpus to begin with: `scenario_fuzz
// CORPUS scenarios`.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string_view>
#include <utility>

#include "workbench/player.hpp"
#include "workbench/scenario_reader.hpp"
#include "workbench/scenario_recording.hpp"
#include "workbench/simulated_time.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;

constexpr const char* kFile = SOURCE_DIR "/scenarios/fuzz.yaml";

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

class NoSink final : public workbench::IEventSink {
 public:
  void on_event(const workbench::Event& /*event*/) override {}
};

workbench::PlayResult play_briefly(workbench::Scenario& scenario,
                                   std::function<void(const workbench::StepRecord&)> after_step) {
  scenario.time_limit = std::chrono::seconds(10);  // a sleep of hours has nothing to add
  workbench::SimulatedTime time;
  NoSink sink;
  workbench::PlayHooks hooks;
  hooks.after_step = std::move(after_step);
  const workbench::PlayResult result = workbench::play(scenario, time, sink, hooks);
  require(time.error().empty());
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  workbench::InputErrors errors;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  auto scenario = workbench::read_scenario_text(text, kFile, errors);
  require(scenario.has_value() == errors.empty());
  (void)errors.lines();
  if (scenario) {
    workbench::ScenarioRecording recording(*scenario);
    const bool is_good = play_briefly(*scenario, [&](const workbench::StepRecord& record) {
                           recording.add(record);
                         }).is_good();
    // What was recorded is a scenario again, and holds.
    auto recorded = workbench::read_scenario_text(recording.text(kFile), kFile, errors);
    require(recorded.has_value());
    require(!is_good || play_briefly(*recorded, {}).is_good());
  }
  return 0;
}
