#include "workbench/check.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <ostream>

#include "workbench/blocking_times.hpp"
#include "workbench/findings.hpp"
#include "workbench/robot_file.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

// Exit codes, and the verdict on one file.
constexpr int kGood = 0;
constexpr int kFindings = 1;
constexpr int kErrors = 2;

std::string count_of(std::size_t count, const char* what) {
  return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

std::string up_to(std::int64_t milliseconds) {
  const std::string duration = rounded_duration_text(milliseconds);
  return duration.rfind("over", 0) == 0 ? duration : "up to " + duration;
}

std::string attempts_text(const RobotFile& robot, const BlockingTimes& times) {
  std::string text = fmt::format(
      "{} of {}", times.attempts == 1 ? "1 attempt" : fmt::format("{} attempts", times.attempts),
      up_to(times.attempt_ms));
  if (times.attempts > 1 && robot.config.claw_retry_backoff_ms > 0) {
    text +=
        fmt::format(", {} between two", rounded_duration_text(robot.config.claw_retry_backoff_ms));
  }
  return text;
}

std::string recovery_text(const RobotFile& robot) {
  if (!robot.config.claw_emergency_recovery) {
    return "claw_emergency_recovery is false";
  }
  const std::size_t claws = robot.config.claw_motor_ids.size();
  return claws == 0 ? "no claws"
                    : fmt::format("{} raised and lowered once, with a budget of {}",
                                  count_of(claws, "claw"),
                                  rounded_duration_text(std::max<std::int64_t>(
                                      robot.config.claw_recovery_budget_ms, 1)));
}

/// How long callers can wait. The bounds mean little without what they leave out.
void write_times(const RobotFile& robot, std::ostream& out) {
  const BlockingTimes times = blocking_times(robot);
  const bool has_latency =
      robot.simulation.default_latency.count() > 0 || !robot.simulation.latencies.empty();
  const bool has_claws = robot.config.claw_enabled && !robot.config.claw_motor_ids.empty();
  const auto row = [&](const char* what, std::int64_t milliseconds, const std::string& how) {
    out << fmt::format("  {:<9} {:<22} {}\n", what,
                       milliseconds == 0 ? "no wait" : up_to(milliseconds), how);
  };
  row("request", times.request_ms, "cmd 0 with all that it can carry");
  if (has_claws) {
    row("claw move", times.claw_move_ms, attempts_text(robot, times));
  }
  row("recovery", times.recovery_ms, recovery_text(robot));
  out << (has_latency ? "  with the gateway as slow as simulation.latency_ms, plus"
                      : "  plus the gateway's own time for every operation, and")
      << " the wait for a request that is running\n";
}

int check_robot(const std::string& path, std::ostream& out) {
  InputErrors errors;
  const std::optional<RobotFile> robot = read_robot_file(path, errors);
  if (!robot) {
    out << path << ": " << count_of(errors.count(), "error") << '\n' << errors.lines();
    return kErrors;
  }
  const std::vector<Finding> findings = find_findings(*robot);
  out << path << ": " << (findings.empty() ? "good" : count_of(findings.size(), "finding")) << '\n';
  for (const Finding& finding : findings) {
    out << to_string(finding.place) << ": " << finding.text << '\n';
  }
  write_times(*robot, out);
  return findings.empty() ? kGood : kFindings;
}

}  // namespace

int check_robots(const std::vector<std::string>& paths, const CheckOptions& options,
                 std::ostream& out) {
  std::array<std::size_t, 3> verdicts{};
  for (const std::string& path : paths) {
    if (&path != &paths.front()) {
      out << '\n';
    }
    ++verdicts.at(static_cast<std::size_t>(check_robot(path, out)));
  }
  if (paths.size() > 1) {
    out << fmt::format("\n{}: {} good, {} with findings, {} with errors\n",
                       count_of(paths.size(), "file"), verdicts[kGood], verdicts[kFindings],
                       verdicts[kErrors]);
  }
  return verdicts[kErrors] > 0                       ? kErrors
         : options.strict && verdicts[kFindings] > 0 ? kFindings
                                                     : kGood;
}

}  // namespace vantrel_can_bridge::workbench
