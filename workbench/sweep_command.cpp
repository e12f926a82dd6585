#include "workbench/sweep_command.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <iostream>

#include "workbench/interrupt.hpp"
#include "workbench/scenario_reader.hpp"
#include "workbench/sweep.hpp"
#include "workbench/terminal.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::size_t kColumns = 100;
constexpr std::size_t kLeftColumn = 66;  // where what is left begins

std::string row(const std::string& disturbance, const std::string& place, const std::string& ended,
                const std::string& left) {
  return fmt::format("{:<26} {:<25} {:>11}  {}", disturbance, place, ended, left);
}

/// Listed, in as many lines as the column needs.
std::string list(const std::vector<std::string>& texts) {
  if (texts.empty()) {
    return "everything at rest";
  }
  std::string list;
  std::size_t column = kLeftColumn;
  for (std::size_t index = 0; index < texts.size(); ++index) {
    const std::string text = texts[index] + (index + 1 < texts.size() ? "," : "");
    if (index > 0 && column + 1 + text.size() > kColumns) {
      list += '\n' + std::string(kLeftColumn, ' ');
      column = kLeftColumn;
    } else if (index > 0) {
      list += ' ';
      ++column;
    }
    list += text;
    column += text.size();
  }
  return list;
}

std::string ended_text(const SweepRun& run) {
  if (!run.ended_after) {
    return "-";
  }
  const auto ended = std::chrono::duration<double, std::milli>(*run.ended_after).count();
  return fmt::format("{:.0f} ms", ended);
}

std::string verdict(std::size_t runs, std::size_t broken, bool interrupted) {
  const std::string text =
      broken == 0 ? fmt::format("{} run{}, no rule broken", runs, runs == 1 ? "" : "s")
                  : fmt::format("{} of {} run{} broke a rule", broken, runs, runs == 1 ? "" : "s");
  return interrupted ? text + ", interrupted" : text;
}

}  // namespace

SweepCommand::SweepCommand(CLI::App& app)
    : command_(app.add_subcommand(
          "sweep", "Play a scenario with a stop or a failure at every point, and check rules")) {
  command_->add_option("SCENARIO", file_, "Scenario file")->required()->type_name("");
  command_->add_flag("-q,--quiet", quiet_, "Print broken rules and the verdict alone");
  command_->footer(
      "Raises an emergency stop before and after every operation and inside every wait, and\n"
      "lets every operation fail once; shows how long the interrupted work went on after the\n"
      "stop, and what was left on. Broken is: a claw told to move during the stop, a request\n"
      "not answered, a pump running with its valves shut. The first run is undisturbed. Exits\n"
      "with 0 when nothing was broken, with 1 when something was, with 2 when the file is\n"
      "wrong, with 130 when interrupted.\n"
      "Example: bottom-workbench sweep scenarios/pumps-and-valves.yaml");
}

ExitCode SweepCommand::run() const {
  InputErrors errors;
  const std::optional<Scenario> scenario = read_scenario_file(file_, errors);
  if (!scenario) {
    std::cerr << errors.lines();
    return ExitCode::Usage;
  }
  InterruptOnSignal interrupt;
  const bool coloured = wants_colour(STDOUT_FILENO);
  if (!quiet_) {
    std::cout << styled(Style::Bold, row("disturbed by", "at", "ended after", "left"), coloured)
              << std::endl;
  }
  std::size_t runs = 0;
  std::size_t broken = 0;
  SweepHooks hooks;
  hooks.show = [&](const SweepRun& run) {
    ++runs;
    broken += run.broken.empty() ? 0U : 1U;
    if (!quiet_ || !run.broken.empty()) {
      std::cout << row(run.disturbance, run.place, ended_text(run), list(run.left)) << '\n';
    }
    for (const std::string& rule : run.broken) {
      std::cout << styled(Style::Alarm, "  ✘ " + rule, coloured) << '\n';
    }
    std::cout.flush();  // a sweep takes its time, and somebody reads along
  };
  hooks.is_over = [&] { return interrupt.has_come(); };
  hooks.running = [&](IScheduler* time) { interrupt.pass_to(time); };
  sweep(*scenario, hooks);
  const bool is_good = broken == 0 && !interrupt.has_come();
  std::cout << styled(is_good ? Style::Good : Style::Alarm,
                      (is_good ? "✔ " : "✘ ") + verdict(runs, broken, interrupt.has_come()),
                      coloured)
            << '\n';
  if (interrupt.has_come()) {
    return ExitCode::Interrupted;
  }
  return is_good ? ExitCode::Held : ExitCode::Failed;
}

}  // namespace vantrel_can_bridge::workbench
