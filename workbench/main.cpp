#include <unistd.h>

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "workbench/cleaning_round.hpp"
#include "workbench/terminal.hpp"

namespace {

namespace workbench = vantrel_can_bridge::workbench;

// Exit codes of every subcommand.
constexpr int kHeld = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;

int play_demo(bool verbose) {
  workbench::RoundOptions options;
  options.view = {workbench::wants_colour(STDOUT_FILENO), verbose};
  const bool held = workbench::play_cleaning_round(std::cout, options);
  if (!std::cout.flush()) {
    std::cerr << "bottom-workbench: standard output: cannot be written\n";
    return kFailed;
  }
  return held ? kHeld : kFailed;
}

int run(int argc, char** argv) {
  CLI::App app{"Runs the bottom-board compatibility layer without a robot.", "bottom-workbench"};
  app.require_subcommand(0, 1);  // none is answered below: CLI11 would not name a wrong one
  app.footer("Example: bottom-workbench demo");

  bool verbose = false;
  CLI::App* const demo =
      app.add_subcommand("demo", "Play a cleaning round on simulated boards, and check it");
  demo->add_flag("-v,--verbose", verbose,
                 "Show every debug line, also those that only repeat others");
  demo->footer(
      "Takes about five seconds. Exits with 0 when every reply and the final state of the\n"
      "boards are as they should be, else with 1. Coloured on a terminal; NO_COLOR=1 is\n"
      "honoured.\n"
      "Example: bottom-workbench demo --verbose | less");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kHeld : kUsage;
  }
  if (!demo->parsed()) {
    std::cerr << app.help();
    return kUsage;
  }
  return play_demo(verbose);
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
