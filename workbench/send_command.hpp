#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "workbench/exit_code.hpp"

namespace vantrel_can_bridge::workbench {

/// `bottom-workbench send`: one request against boards fresh from power-on.
class SendCommand {
 public:
  /// Adds the subcommand to `app`.
  explicit SendCommand(CLI::App& app);

  [[nodiscard]] bool is_chosen() const { return command_->parsed(); }
  [[nodiscard]] ExitCode run() const;

 private:
  CLI::App* const command_;
  std::vector<std::string> fields_;
  std::string robot_;
  bool verbose_ = false;
};

}  // namespace vantrel_can_bridge::workbench
