#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <sstream>
#include <string>

#include "tests/support/run_program.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using vantrel_can_bridge::test::ProgramRun;

ProgramRun run(const std::vector<std::string>& arguments) {
  return vantrel_can_bridge::test::run_program(BOTTOM_WORKBENCH, arguments);
}

/// Whether a line begins with a time: "  0.207 ".
bool has_time(const std::string& line) {
  return line.size() > 8 && line[3] == '.' && std::isdigit(line[2]) != 0 &&
         std::isdigit(line[4]) != 0 && line[7] == ' ';
}

/// The output without what the machine's speed decides: times, and how often a claw is
/// polled on its way.
std::string normalised(const std::string& output) {
  std::istringstream lines(output);
  std::string text;
  for (std::string line; std::getline(lines, line);) {
    if (has_time(line)) {
      line.replace(0, 7, "  T.TTT");
    }
    if (const std::size_t polls = line.find("… claw_query_state "); polls != std::string::npos) {
      line = "          … claw_query_state N more times, same answer";
    }
    text += line + "\n";
  }
  return text;
}

std::string content(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(Demo, PlaysTheCleaningRound) {
  const ProgramRun demo = run({"demo"});

  EXPECT_EQ(demo.exit_code, 0);
  EXPECT_EQ(demo.err, "");
  EXPECT_EQ(normalised(demo.out), content(DEMO_OUTPUT));
}

constexpr const char* kUsage =
    "Runs the bottom-board compatibility layer without a robot.\n"
    "Usage: bottom-workbench [OPTIONS] [SUBCOMMAND]\n"
    "\n"
    "Options:\n"
    "  -h,--help                   Print this help message and exit\n"
    "\n"
    "Subcommands:\n"
    "  demo                        Play a cleaning round on simulated boards, and check it\n"
    "  check                       Check robot files: errors, and values that a robot dislikes\n"
    "\n"
    "Example: bottom-workbench demo\n";

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

TEST(Program, PrintsTheHelpOfTheDemo) {
  const ProgramRun program = run({"demo", "--help"});
  EXPECT_EQ(program.exit_code, 0);
  EXPECT_THAT(program.out, StartsWith("Play a cleaning round on simulated boards, and check it\n"
                                      "Usage: bottom-workbench demo [OPTIONS]\n"));
  EXPECT_THAT(program.out, HasSubstr("-v,--verbose"));
  EXPECT_THAT(program.out, HasSubstr("Example: bottom-workbench demo --verbose | less\n"));
}

TEST(Program, RefusesArgumentsThatItDoesNotKnow) {
  const std::pair<std::vector<std::string>, std::string> rows[] = {
      {{"dmo"}, "dmo"}, {{"--fast"}, "--fast"}, {{"demo", "now"}, "now"}, {{"demo", "--x"}, "--x"}};
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
