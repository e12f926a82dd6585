#include "workbench/play_command.hpp"

#include <fmt/format.h>
#include <unistd.h>

#include <charconv>
#include <chrono>
#include <csignal>
#include <iostream>
#include <limits>
#include <memory>

#include "workbench/console_view.hpp"
#include "workbench/interrupt.hpp"
#include "workbench/player.hpp"
#include "workbench/progress_line.hpp"
#include "workbench/real_time.hpp"
#include "workbench/scenario_reader.hpp"
#include "workbench/scenario_recording.hpp"
#include "workbench/simulated_time.hpp"
#include "workbench/state_table.hpp"
#include "workbench/terminal.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

/// `progress` is drawn while real time passes; null for none.
std::unique_ptr<IScheduler> make_scheduler(bool realtime, ProgressLine* progress) {
  if (!realtime) {
    return std::make_unique<SimulatedTime>();
  }
  if (progress == nullptr) {
    return std::make_unique<RealTime>();
  }
  return std::make_unique<RealTime>(
      [progress](std::chrono::nanoseconds now) { progress->tick(now); });
}

void show_waits(ProgressLine& progress, PlayHooks& hooks) {
  hooks.wait_begun = [&progress](auto now, auto total) { progress.begin(now, total); };
  hooks.wait_ended = [&progress] { progress.end(); };
}

std::string verdict(const PlayResult& result) {
  const std::uint64_t all = result.held + result.failed;
  std::string text =
      result.failed == 0
          ? fmt::format("{} expectation{} held", all, all == 1 ? "" : "s")
          : fmt::format("{} of {} expectation{} failed", result.failed, all, all == 1 ? "" : "s");
  return result.error.empty() ? text : text + ", " + result.error;
}

/// Every scenario, or nothing once all errors were printed.
std::optional<std::vector<Scenario>> read_all(const std::vector<std::string>& files) {
  std::vector<Scenario> scenarios;
  for (const std::string& file : files) {
    InputErrors of_file;
    if (std::optional<Scenario> scenario = read_scenario_file(file, of_file)) {
      scenarios.push_back(*std::move(scenario));
    }
    std::cerr << of_file.lines();
  }
  return scenarios.size() == files.size() ? std::optional(std::move(scenarios)) : std::nullopt;
}

/// What is wrong with a seed, empty where nothing is: one that a scenario file may have too.
/// Left to itself the option would also take -1 and 010, for other numbers.
std::string wrong_seed(const std::string& text) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
  std::int64_t seed = -1;
  (void)std::from_chars(text.data(), text.data() + text.size(), seed);
  return seed >= 0 && std::to_string(seed) == text
             ? std::string()
             : fmt::format("found \"{}\"; expected an integer from 0 to {}", printable(text),
                           kLargest);
}

/// The same of the file of an output.
std::string wrong_file(const std::string& path) {
  return path.empty() ? "found no name; expected that of a file" : "";
}

void print_verdict(bool is_good, const std::string& text) {
  std::cout << styled(is_good ? Style::Good : Style::Alarm, (is_good ? "✔ " : "✘ ") + text,
                      wants_colour(STDOUT_FILENO))
            << '\n';
}

}  // namespace

PlayCommand::PlayCommand(CLI::App& app)
    : command_(app.add_subcommand("play", "Play scenario files and check what they expect")) {
  command_->add_option("SCENARIO", files_, "Scenario files, played one after the other")
      ->required()
      ->type_name("");
  command_->add_flag("-q,--quiet", quiet_, "Print failures alone");
  command_->add_flag("-v,--verbose", verbose_,
                     "Show every debug line, also those that only repeat others");
  command_->add_flag("--realtime", realtime_,
                     "Let time pass as on the robot instead of simulating it");
  command_->add_flag("--boards", boards_, "Show the state of every device at the end");
  command_->add_option("--seed", seed_, "For what the scenarios leave to chance, instead of theirs")
      ->check(wrong_seed);
  command_
      ->add_option("--record", outputs_.recording,
                   "Write the scenario again to this file, expecting what has happened")
      ->check(wrong_file);
  command_
      ->add_option("--trace", outputs_.jsonl,
                   "Write everything that happens to this file, one JSON object a line")
      ->check(wrong_file);
  command_
      ->add_option("--perfetto", outputs_.perfetto,
                   "Write it for ui.perfetto.dev: open this JSON file there")
      ->check(wrong_file);
  command_
      ->add_option("--timeline", outputs_.timeline,
                   "Draw it: an HTML page, or the picture alone if the name ends in .svg")
      ->check(wrong_file);
  command_->footer(
      "Exits with 0 when every expectation held, with 1 when one failed, with 2 when a file\n"
      "is wrong, and with 130 when it was interrupted. Coloured on a terminal; NO_COLOR=1 is\n"
      "honoured.\n"
      "Example: bottom-workbench play scenarios/*.yaml --quiet");
}

ExitCode PlayCommand::run() const {
  std::optional<std::vector<Scenario>> scenarios = read_all(files_);
  if (!scenarios) {
    return ExitCode::Usage;
  }
  if (!outputs_.empty() && scenarios->size() != 1) {
    std::cerr << "--record, --trace, --perfetto and --timeline: found " << scenarios->size()
              << " scenarios; expected one\n";
    return ExitCode::Usage;
  }
  const Scenario& first = scenarios->front();
  if (const std::string clash = find_clash(outputs_, first.file, first.robot_path().string());
      !clash.empty()) {
    std::cerr << clash;
    return ExitCode::Usage;
  }
  if (!outputs_.empty()) {
    std::signal(SIGPIPE, SIG_IGN);  // files are complete also where nobody reads along any more
  }
  return play_all(*scenarios);
}

ExitCode PlayCommand::play_all(std::vector<Scenario>& scenarios) const {
  InterruptOnSignal interrupt;  // also between two scenarios
  std::size_t held = 0;
  std::size_t failed = 0;
  for (Scenario& scenario : scenarios) {
    if (interrupt.has_come()) {
      break;
    }
    scenario.seed = seed_.value_or(scenario.seed);
    const ExitCode exit_code = play_one(scenario, interrupt);
    if (exit_code == ExitCode::Usage) {
      return ExitCode::Usage;
    }
    held += exit_code == ExitCode::Held ? 1U : 0U;
    failed += exit_code == ExitCode::Failed ? 1U : 0U;
  }
  const std::string text = failed == 0 && held == scenarios.size()
                               ? fmt::format("all {} scenarios held", held)
                               : fmt::format("{} of {} scenarios failed", failed, scenarios.size());
  const bool is_good = failed == 0 && !interrupt.has_come();
  if (scenarios.size() > 1 && (!quiet_ || interrupt.has_come())) {
    print_verdict(is_good, interrupt.has_come() ? text + ", interrupted" : text);
  }
  if (interrupt.has_come()) {
    return ExitCode::Interrupted;
  }
  return is_good ? ExitCode::Held : ExitCode::Failed;
}

ExitCode PlayCommand::play_one(const Scenario& scenario, InterruptOnSignal& interrupt) const {
  TraceOutputs outputs(outputs_, scenario.title);
  if (const std::string errors = outputs.errors(); !errors.empty()) {
    std::cerr << errors;
    return ExitCode::Usage;
  }
  const ExitCode exit_code = play_into(outputs, scenario, interrupt);
  if (const std::string errors = outputs.close(); !errors.empty()) {
    std::cerr << errors;
    return ExitCode::Usage;
  }
  return exit_code;
}

ExitCode PlayCommand::play_into(TraceOutputs& outputs, const Scenario& scenario,
                                InterruptOnSignal& interrupt) const {
  const bool coloured = wants_colour(STDOUT_FILENO);
  if (!quiet_) {
    std::cout << styled(Style::Bold, scenario.title, coloured) << '\n';
  }
  std::optional<ProgressLine> progress;
  if (realtime_ && !quiet_ && is_live_terminal(STDOUT_FILENO)) {
    progress.emplace(std::cout);
  }
  ConsoleView console(progress ? progress->out() : std::cout, {{coloured, verbose_}, quiet_});
  EventFanOut sinks;
  sinks.add(console);
  outputs.add_to(sinks);
  ScenarioRecording recording(scenario);
  PlayHooks hooks;
  hooks.after_step = [&](const StepRecord& record) { recording.add(record); };
  if (boards_ && !quiet_) {
    hooks.finish = [&](Run& run) {
      std::cout << state_table(device_rows(run.boards().snapshot(), scenario.config), coloured);
    };
  }
  if (progress) {
    show_waits(*progress, hooks);
  }
  const std::unique_ptr<IScheduler> scheduler =
      make_scheduler(realtime_, progress ? &*progress : nullptr);
  interrupt.pass_to(scheduler.get());
  const PlayResult result = play(scenario, *scheduler, sinks, hooks);
  interrupt.pass_to(nullptr);
  if (!outputs_.recording.empty()) {
    outputs.write_recording(recording.text(outputs_.recording));
  }
  if (!quiet_ || !result.is_good()) {
    print_verdict(result.is_good(), fmt::format("{}: {}", scenario.file, verdict(result)));
  }
  if (scheduler->interrupted()) {
    return ExitCode::Interrupted;
  }
  return result.is_good() ? ExitCode::Held : ExitCode::Failed;
}

}  // namespace vantrel_can_bridge::workbench
