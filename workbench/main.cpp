#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "workbench/check.hpp"
#include "workbench/exit_code.hpp"
#include "workbench/play_command.hpp"
#include "workbench/send_command.hpp"
#include "workbench/sweep_command.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;
using workbench::ExitCode;

struct CheckArguments {
  std::vector<std::string> robots;
  workbench::CheckOptions options;
};

CLI::App* add_check(CLI::App& app, CheckArguments& arguments) {
  CLI::App* const check =
      app.add_subcommand("check", "Check robot files: errors, and values that a robot dislikes");
  check
      ->add_option("ROBOT.yaml", arguments.robots,
                   "Robot files; robots/reference.yaml explains one")
      ->required()
      ->type_name("");
  check->add_flag("--strict", arguments.options.strict, "Exit with 1 when there are findings");
  check->footer(
      "Errors are what cannot be read, findings what the robot accepts and you will regret;\n"
      "both are shown with file, line and column, all of them in one run. A file without\n"
      "errors also shows for how long a request and a recovery can keep their caller waiting.\n"
      "Exits with 2 on errors, with 1 on findings and --strict, else with 0.\n"
      "Example: bottom-workbench check --strict robots/reference.yaml robots/two-claws.yaml");
  return check;
}

/// Keeps the numbers of standard streams that came closed: the next file to be opened would
/// take one, and get what is meant for the stream. What is written to them still fails.
void occupy_standard_streams() {
  for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(number, F_GETFD) == -1) {
      (void)open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

/// `exit_code`, unless the output that it stands for was lost.
int flush_output(int exit_code) {
  if (!std::cout.flush()) {
    std::cerr << "bottom-workbench: standard output: cannot be written\n";
    return static_cast<int>(ExitCode::Usage);
  }
  return exit_code;
}

int run(int argc, char** argv) {
  CLI::App app{"Runs the bottom-board compatibility layer without a robot.", "bottom-workbench"};
  app.get_formatter()->label("TEXT", "FILE");  // every option that takes a text takes a file
  app.get_formatter()->label("UINT", "NUMBER");
  app.set_version_flag("--version", "bottom-workbench " BOTTOM_WORKBENCH_VERSION,
                       "Print the version and exit");
  app.require_subcommand(0, 1);  // none is answered below: CLI11 would not name a wrong one
  app.footer(
      "Each subcommand tells more with --help.\n"
      "Example: bottom-workbench play scenarios/cleaning-round.yaml");

  CheckArguments check_arguments;
  const CLI::App* const check = add_check(app, check_arguments);
  const workbench::SendCommand send(app);
  const workbench::PlayCommand play(app);
  const workbench::SweepCommand sweep(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return flush_output(app.exit(error) == 0 ? 0 : static_cast<int>(ExitCode::Usage));
  }
  if (check->parsed()) {
    return flush_output(
        workbench::check_robots(check_arguments.robots, check_arguments.options, std::cout));
  }
  if (send.is_chosen()) {
    return flush_output(static_cast<int>(send.run()));
  }
  if (play.is_chosen()) {
    return flush_output(static_cast<int>(play.run()));
  }
  if (sweep.is_chosen()) {
    return flush_output(static_cast<int>(sweep.run()));
  }
  std::cerr << app.help();
  return static_cast<int>(ExitCode::Usage);
}

}  // namespace

int main(int argc, char** argv) {
  occupy_standard_streams();
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "bottom-workbench: " << error.what() << '\n';
    return static_cast<int>(ExitCode::Failed);
  }
}
