#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/run_program.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::HasSubstr;
using vantrel_can_bridge::test::ProgramRun;

ProgramRun run(const std::vector<std::string>& arguments) {
  return vantrel_can_bridge::test::run_program(BOTTOM_WORKBENCH, arguments);
}

constexpr const char* kUsage =
    "Runs the bottom-board compatibility layer without a robot.\n"
    "Usage: bottom-workbench [OPTIONS] [SUBCOMMAND]\n"
    "\n"
    "Options:\n"
    "  -h,--help                   Print this help message and exit\n"
    "  --version                   Print the version and exit\n"
    "\n"
    "Subcommands:\n"
    "  check                       Check robot files: errors, and values that a robot dislikes\n"
    "  send                        Send one request to simulated boards\n"
    "  play                        Play scenario files and check what they expect\n"
    "  sweep                       Play a scenario with a stop or a failure at every point, and "
    "check rules\n"
    "\n"
    "Each subcommand tells more with --help.\n"
    "Example: bottom-workbench play scenarios/cleaning-round.yaml\n";

TEST(Program, PrintsItsUsageWhenNothingIsAsked) {
  const ProgramRun program = run({});
  EXPECT_EQ(program.exit_code, 2);
  EXPECT_EQ(program.out, "");
  EXPECT_EQ(program.err, kUsage);
}

TEST(Program, PrintsItsHelp) {
  const ProgramRun program = run({"--help"});
  EXPECT_EQ(program.exit_code, 0);
  EXPECT_EQ(program.out, kUsage);
  EXPECT_EQ(program.err, "");
}

TEST(Program, PrintsItsVersion) {
  const ProgramRun program = run({"--version"});
  EXPECT_EQ(program.exit_code, 0);
  EXPECT_EQ(program.out, "bottom-workbench " PROJECT_VERSION "\n");
  EXPECT_EQ(program.err, "");
}

TEST(Program, PrintsTheHelpOfEachSubcommandWithAnExample) {
  for (const std::string command : {"check", "send", "play", "sweep"}) {
    const ProgramRun program = run({command, "--help"});
    EXPECT_EQ(program.exit_code, 0);
    EXPECT_THAT(program.out, HasSubstr("Usage: bottom-workbench " + command + " [OPTIONS]"));
    EXPECT_THAT(program.out, HasSubstr("\nExample: bottom-workbench " + command + " "));
  }
}

/// What the help of `command` gives as its example, run in a shell in the project's folder.
ProgramRun run_example(const std::string& command) {
  const std::string help = run(command.empty() ? std::vector<std::string>{"--help"}
                                               : std::vector<std::string>{command, "--help"})
                               .out;
  const std::string line = "\nExample: ";
  const std::string example = help.substr(help.rfind(line) + line.size());
  return vantrel_can_bridge::test::run_program(
      "/bin/sh",
      {"-c", "cd " PROJECT_DIR " && PATH=\"${0%/*}:$PATH\" && " + example, BOTTOM_WORKBENCH});
}

TEST(Program, GivesExamplesThatWork) {
  for (const std::string command : {"", "check", "send", "play", "sweep"}) {
    const ProgramRun program = run_example(command);
    EXPECT_EQ(program.exit_code, 0) << command << program.out;
    EXPECT_EQ(program.err, "");
  }
}

TEST(Program, RefusesArgumentsThatItDoesNotKnow) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"ply"}, "ply"}, {{"--fast"}, "--fast"}, {{"play", "a.yaml", "--x"}, "--x"}};
  for (const auto& [arguments, unknown] : rows) {
    const ProgramRun program = run(arguments);
    EXPECT_EQ(program.exit_code, 2);
    EXPECT_EQ(program.out, "");
    EXPECT_EQ(program.err, "The following argument was not expected: " + unknown +
                               "\nRun with --help for more information.\n");
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
