#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "workbench/check.hpp"
#include "workbench/cleaning_round.hpp"
#include "workbench/terminal.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;

// Exit codes of every subcommand.
constexpr int kHeld = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

/// What the arguments of all subcommands come to.
struct Arguments {
  bool verbose = false;
  std::vector<std::string> robots;
  workbench::CheckOptions check;
};

CLI::App* add_demo(CLI::App& app, Arguments& arguments) {
  CLI::App* const demo =
      app.add_subcommand("demo", "Play a cleaning round on simulated boards, and check it");
  demo->add_flag("-v,--verbose", arguments.verbose,
                 "Show every debug line, also those that only repeat others");
  demo->footer(
      "Takes about five seconds. Exits with 0 when every reply and the final state of the\n"
      "boards are as they should be, else with 1. Coloured on a terminal; NO_COLOR=1 is\n"
      "honoured.\n"
      "Example: bottom-workbench demo --verbose | less");
  return demo;
}

CLI::App* add_check(CLI::App& app, Arguments& arguments) {
  CLI::App* const check =
      app.add_subcommand("check", "Check robot files: errors, and values that a robot dislikes");
  check
      ->add_option("ROBOT.yaml", arguments.robots,
                   "Robot files; robots/reference.yaml explains one")
      ->required();
  check->add_flag("--strict", arguments.check.strict, "Exit with 1 when there are findings");
  check->footer(
      "Errors are what cannot be read, findings what the robot accepts and you will regret;\n"
      "both are shown with file, line and column, all of them in one run. A file without\n"
      "errors also shows for how long a request and a recovery can keep their caller waiting.\n"
      "Exits with 2 on errors, with 1 on findings and --strict, else with 0.\n"
      "Example: bottom-workbench check --strict robots/reference.yaml robots/two-claws.yaml");
  return check;
}

int flush_output(int exit_code) {
  if (!std::cout.flush()) {
    std::cerr << "bottom-workbench: standard output: cannot be written\n";
    return kFailed;
  }
  return exit_code;
}

int play_demo(const Arguments& arguments) {
  workbench::RoundOptions options;
  options.view = {workbench::wants_colour(STDOUT_FILENO), arguments.verbose};
  return workbench::play_cleaning_round(std::cout, options) ? kHeld : kFailed;
}

int run(int argc, char** argv) {
  CLI::App app{"Runs the bottom-board compatibility layer without a robot.", "bottom-workbench"};
  app.require_subcommand(0, 1);  // none is answered below: CLI11 would not name a wrong one
  app.footer("Example: bottom-workbench demo");

  Arguments arguments;
  const CLI::App* const demo = add_demo(app, arguments);
  const CLI::App* const check = add_check(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kHeld : kUsage;
  }
  if (demo->parsed()) {
    return flush_output(play_demo(arguments));
  }
  if (check->parsed()) {
    return flush_output(workbench::check_robots(arguments.robots, arguments.check, std::cout));
  }
  std::cerr << app.help();
  return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "bottom-workbench: " << error.what() << '\n';
    return kFailed;
  }
}
