#pragma once

#include <CLI/CLI.hpp>
#include <string>

#include "workbench/exit_code.hpp"

namespace vantrel_can_bridge::workbench {

/// `bottom-workbench sweep`: disturbs a scenario everywhere, and checks that rules hold.
class SweepCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit SweepCommand(CLI::App& app);

  [[nodiscard]] bool is_chosen() const { return command_->parsed(); }
  [[nodiscard]] ExitCode run() const;

 private:
  CLI::App* const command_;
  std::string file_;
  bool quiet_ = false;
};

}  // namespace vantrel_can_bridge::workbench
