// Reads any bytes as a robot file, and does with it all that `bottom-workbench check` does.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "workbench/blocking_times.hpp"
#include "workbench/findings.hpp"
#include "workbench/robot_file.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;

void require(bool condition) {
  if (!condition) {
    std::abort();
  }
}

/// Whether `place` is in the text: what a person is told to look at must exist.
bool is_inside(const workbench::Place& place, std::size_t size) {
  return place.line <= size + 1 && place.column <= size + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  workbench::InputErrors errors;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto document = workbench::read_yaml_text(text, "robot.yaml", errors);
  const auto robot = document ? workbench::read_robot(*document, errors) : std::nullopt;
  require(robot.has_value() || !errors.empty());
  (void)errors.lines();
  if (robot) {
    for (const workbench::Finding& finding : workbench::find_findings(*robot)) {
      require(is_inside(finding.place, size) && !finding.text.empty());
    }
    const workbench::BlockingTimes times = workbench::blocking_times(*robot);
    require(times.attempt_ms >= 20 && times.claw_move_ms >= times.attempt_ms);
    require(times.request_ms >= 0 && times.recovery_ms >= 0);
  }
  return 0;
}
