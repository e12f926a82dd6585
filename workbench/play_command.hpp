#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "workbench/exit_code.hpp"
#include "workbench/interrupt.hpp"
#include "workbench/scenario.hpp"
#include "workbench/trace_outputs.hpp"

namespace vantrel_can_bridge::workbench {

/// `bottom-workbench play`: plays scenario files and checks their expectations.
class PlayCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit PlayCommand(CLI::App& app);

  [[nodiscard]] bool is_chosen() const { return command_->parsed(); }
  [[nodiscard]] ExitCode run() const;

 private:
  [[nodiscard]] ExitCode play_all(std::vector<Scenario>& scenarios) const;
  [[nodiscard]] ExitCode play_one(const Scenario& scenario, InterruptOnSignal& interrupt) const;
  [[nodiscard]] ExitCode play_into(TraceOutputs& outputs, const Scenario& scenario,
                                   InterruptOnSignal& interrupt) const;

  CLI::App* const command_;
  std::vector<std::string> files_;
  bool quiet_ = false;
  bool verbose_ = false;
  bool realtime_ = false;
  bool boards_ = false;
  std::optional<std::uint64_t> seed_;
  OutputPaths outputs_;
};

}  // namespace vantrel_can_bridge::workbench
