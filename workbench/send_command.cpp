#include "workbench/send_command.hpp"

#include <unistd.h>

#include <iostream>

#include "workbench/console_view.hpp"
#include "workbench/player.hpp"
#include "workbench/request_arguments.hpp"
#include "workbench/scenario_reader.hpp"
#include "workbench/simulated_time.hpp"
#include "workbench/terminal.hpp"

namespace vantrel_can_bridge::workbench {

SendCommand::SendCommand(CLI::App& app)
    : command_(app.add_subcommand("send", "Send one request to simulated boards")) {
  command_->add_option("FIELD=VALUE", fields_, "Fields of the request; those left out are 0")
      ->required()
      ->type_name("");
  command_->add_option("--robot", robot_, "Robot file")->required();
  command_->add_flag("-v,--verbose", verbose_,
                     "Show every debug line, also those that only repeat others");
  command_->footer(
      "Shows every device operation and the reply, on simulated time. Exits with 0 when the\n"
      "request succeeded, with 1 when it failed, with 2 when an argument or the robot file is\n"
      "wrong.\n"
      "Example: bottom-workbench send cmd=13 pump_cmd=1 pump_duty=80 --robot "
      "robots/reference.yaml");
}

ExitCode SendCommand::run() const {
  std::vector<std::string> wrong_arguments;
  const std::optional<Request> request = parse_request(fields_, wrong_arguments);
  for (const std::string& error : wrong_arguments) {
    std::cerr << "bottom-workbench send: " << error << '\n';
  }
  InputErrors errors;
  std::optional<Scenario> scenario = empty_scenario(robot_, errors);
  std::cerr << errors.lines();
  if (!request || !scenario) {
    return ExitCode::Usage;
  }
  scenario->steps.push_back({0, SendRequest{*request, {}, {}}, {}});
  bool success = false;
  ConsoleView console(std::cout, {{wants_colour(STDOUT_FILENO), verbose_}, false});
  SimulatedTime time;
  const PlayResult result = play(*scenario, time, console, {{}, [&](const StepRecord& record) {
                                                              success =
                                                                  record.outcome->thrown.empty() &&
                                                                  record.outcome->reply.success;
                                                            }});
  return success && result.is_good() ? ExitCode::Held : ExitCode::Failed;
}

}  // namespace vantrel_can_bridge::workbench
