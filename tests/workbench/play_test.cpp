#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run_program.hpp"
#include "tests/workbench/scenario_fixture.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vantrel_can_bridge::test::ProgramRun;
namespace fs = std::filesystem;

ProgramRun run(const std::vector<std::string>& arguments) {
  return vantrel_can_bridge::test::run_program(BOTTOM_WORKBENCH, arguments);
}

ProgramRun interrupt(const std::vector<std::string>& arguments, const std::string& until) {
  return vantrel_can_bridge::test::interrupt_program(BOTTOM_WORKBENCH, arguments, until);
}

std::string content(const fs::path& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// A folder of its own that goes with the test.
class Program : public testing::Test {
 protected:
  Program() : folder_(fs::temp_directory_path() / ("play_test." + std::to_string(getpid()))) {
    fs::create_directories(folder_);
  }
  ~Program() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }

  std::string write(const std::string& name, const std::string& text) const {
    std::ofstream(path(name), std::ios::binary) << text;
    return path(name);
  }

  /// A scenario file on the reference robot.
  std::string write_scenario(const std::string& name, const std::string& steps,
                             const std::string& head = "") const {
    return write(name, "title: " + name + "\nrobot: " SOURCE_DIR "/robots/reference.yaml\n" + head +
                           "steps:\n" + steps);
  }

  const fs::path folder_;
};

constexpr const char* kPumpOn =
    "  - request: {cmd: 13, pump_cmd: 1, pump_duty: 80}\n"
    "    expect:\n"
    "      reply: success\n"
    "      operations: [[selfclean_board, pump, set_duty, 03 50 00]]\n";
constexpr const char* kPumpWrong =
    "  - request: {cmd: 13, pump_cmd: 1, pump_duty: 80}\n"
    "    expect:\n"
    "      reply: {success: true, message: 完成}\n"
    "      operations: [[selfclean_board, pump, set_duty, 03 46 00]]\n";

TEST_F(Program, PlaysAScenario) {
  const std::string file = write_scenario("on.yaml", std::string("  - note: The pump\n") + kPumpOn);
  const ProgramRun played = run({"play", file});
  EXPECT_EQ(played.exit_code, 0);
  EXPECT_EQ(played.err, "");
  EXPECT_EQ(played.out,
            "on.yaml\n\n"
            "── The pump ────────────────────────────────────────────────────────────"
            "────────────────────────────\n"
            "  0.000 ▶ cmd 13  end-tool pump  pump_cmd=1 pump_duty=80\n"
            "  0.005   selfclean_board/pump        set_duty 03 50 00           ✔ pump channel=3 "
            "target=80\n"
            "  0.005 ◀ success\n"
            "  0.005   ✔ reply, operations\n"
            "✔ " +
                file + ": 2 expectations held\n");
}

TEST_F(Program, ShowsFailedExpectationsSideBySide) {
  const std::string file = write_scenario("wrong.yaml", kPumpWrong);
  const ProgramRun played = run({"play", file, "--quiet"});
  EXPECT_EQ(played.exit_code, 1);
  EXPECT_EQ(played.err, "");
  EXPECT_EQ(
      played.out,
      "  0.005   ✘ " + file +
          ":6: reply\n"
          "            expected   actual\n"
          "            success    success\n"
          "            \"完成\"   ≠ \"\"\n"
          "  0.005   ✘ " +
          file +
          ":7: operations\n"
          "            expected                                   actual\n"
          "            selfclean_board pump set_duty [03 46 00] ≠ selfclean_board pump set_duty "
          "[03 50 00]\n"
          "✘ " +
          file + ": 2 of 2 expectations failed\n");
}

TEST_F(Program, ShowsWhyARequestFailedThatShouldHaveSucceeded) {
  const std::string file =
      write_scenario("wrong.yaml", "  - request: {cmd: 5}\n    expect: {reply: success}\n");
  EXPECT_THAT(run({"play", file, "--quiet"}).out,
              HasSubstr("            expected   actual\n"
                        "            success  ≠ failure: cmd 5 unsupported after bottom "
                        "migration\n"));
}

TEST_F(Program, SumsSeveralScenariosUp) {
  const std::string good = write_scenario("good.yaml", kPumpOn);
  const std::string wrong = write_scenario("wrong.yaml", kPumpWrong);
  const ProgramRun both = run({"play", good, wrong, good});
  EXPECT_EQ(both.exit_code, 1);
  EXPECT_THAT(both.out, testing::EndsWith("✘ 1 of 3 scenarios failed\n"));
  const ProgramRun held = run({"play", good, good});
  EXPECT_EQ(held.exit_code, 0);
  EXPECT_THAT(held.out, testing::EndsWith("✔ all 2 scenarios held\n"));
}

TEST_F(Program, SaysNothingWhenQuietAndAllHolds) {
  const ProgramRun played = run({"play", "-q", write_scenario("on.yaml", kPumpOn)});
  EXPECT_EQ(played.exit_code, 0);
  EXPECT_EQ(played.out + played.err, "");
}

TEST_F(Program, PlaysNothingWhileAnyFileIsWrong) {
  const std::string good = write_scenario("good.yaml", kPumpOn);
  const std::string bad = write("bad.yaml", "title: x\n");
  const ProgramRun played = run({"play", good, bad, path("none.yaml")});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_EQ(played.out, "");
  EXPECT_THAT(played.err, HasSubstr(bad + ":1:1: "));
  EXPECT_THAT(played.err, HasSubstr(path("none.yaml") + ": cannot be opened"));
}

TEST_F(Program, SurvivesEveryKindOfFile) {
  std::string deep = "steps: ";
  for (int level = 0; level < 100'000; ++level) {
    deep += '[';
  }
  std::string junk;
  for (unsigned byte = 0; byte < 4'096; ++byte) {
    junk += static_cast<char>(byte * 167U % 256U);
  }
  write("huge.yaml", "title: x\n");
  fs::resize_file(path("huge.yaml"), 100'000'000);
  const std::vector<std::string> files = {
      path("missing.yaml"),     folder_.string(),          write("empty.yaml", ""),
      write("junk.yaml", junk), path("huge.yaml"),         write("alias.yaml", "a: &a [*a]\n"),
      write("deep.yaml", deep), write("null.yaml", "~\n"), write("list.yaml", "- 1\n")};
  for (const std::string& file : files) {
    for (const char* command : {"play", "sweep"}) {
      const ProgramRun program = run({command, file});
      EXPECT_EQ(program.exit_code, 2) << command << ' ' << file;
      EXPECT_EQ(program.out, "");
      EXPECT_THAT(program.err, StartsWith(file));
    }
    const ProgramRun sent = run({"send", "cmd=1", "--robot", file});
    EXPECT_EQ(sent.exit_code, 2) << file;
    EXPECT_THAT(sent.err, StartsWith(file));
  }
}

TEST_F(Program, RecordsAScenarioThatHolds) {
  const std::string file = SOURCE_DIR "/scenarios/emergency-while-moving.yaml";
  ASSERT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).exit_code, 0);
  const ProgramRun replayed = run({"play", "-q", path("recorded.yaml")});
  EXPECT_EQ(replayed.exit_code, 0) << replayed.out << replayed.err;
  EXPECT_THAT(content(path("recorded.yaml")),
              HasSubstr("      reply: {success: false, message: \"tools_claw aborted: "
                        "selfclean_board in emergency\"}\n"
                        "      operations:\n"
                        "        - [selfclean_board, motor1, claw_extend]\n"));
  ASSERT_EQ(run({"play", "-q", path("recorded.yaml"), "--record", path("again.yaml")}).exit_code,
            0);
  EXPECT_EQ(content(path("again.yaml")), content(path("recorded.yaml")));
}

TEST_F(Program, RecordsEveryScenarioOfTheProject) {
  for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/scenarios")) {
    const std::string recorded = path("recorded.yaml");
    ASSERT_EQ(run({"play", "-q", entry.path(), "--record", recorded}).exit_code, 0) << entry.path();
    const ProgramRun replayed = run({"play", "-q", recorded});
    EXPECT_EQ(replayed.exit_code, 0) << entry.path() << '\n' << replayed.out << replayed.err;
  }
}

TEST_F(Program, RecordsNamesAndTextsThatNeedQuotes) {
  for (const std::string board : {"null", "7", "-5", "- a", "%a", "a, b", "\\uFEFF", "\\x80\\0"}) {
    const std::string file = write_scenario("quotes.yaml",
                                            "  - request: {cmd: 9}\n"
                                            "  - fault: {board: \"" +
                                                board + "\", throw: \"" + board +
                                                "\"}\n"
                                                "  - request: {cmd: 8, wheel_cmd: -5}\n",
                                            "with: {bottom_board: \"" + board + "\"}\n");
    ASSERT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).exit_code, 0) << board;
    const ProgramRun replayed = run({"play", "-q", path("recorded.yaml")});
    EXPECT_EQ(replayed.exit_code, 0) << board << replayed.out << replayed.err;
  }
}

TEST_F(Program, RecordsTheTimeThatAskingForAClawTakes) {
  const std::string file = write_scenario(
      "claws.yaml",
      "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
      "    background: lift\n"
      "  - expect: {claws: {motor1: lowered, motor2: unknown}}\n"  // it will be raised
      "  - emergency: raise\n"
      "  - wait_for: lift\n");
  ASSERT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).exit_code, 1);
  const ProgramRun replayed = run({"play", "-q", path("recorded.yaml")});
  EXPECT_EQ(replayed.exit_code, 0) << replayed.out << replayed.err;
  EXPECT_THAT(content(path("recorded.yaml")),
              HasSubstr("      claws: {motor1: raised, motor2: unknown}\n"));
}

TEST_F(Program, RecordsTheFirstOfTwoClawsOfOneMotor) {
  const std::string file =
      write_scenario("twice.yaml",
                     "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
                     "    expect: {claws: {motor2: raised}}\n",
                     "with: {claw_motor_ids: [2, 2]}\n");
  EXPECT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).out, "");
  const ProgramRun replayed = run({"play", "-q", path("recorded.yaml")});
  EXPECT_EQ(replayed.exit_code, 0) << replayed.out << replayed.err;
  EXPECT_THAT(content(path("recorded.yaml")), HasSubstr("      claws: {motor2: raised}\n"));
}

TEST_F(Program, RecordsIntoALinkedFolder) {
  fs::create_directories(path("far/away"));
  fs::create_directory_symlink(path("far/away"), path("link"));
  const std::string recorded = path("link/recorded.yaml");
  ASSERT_EQ(run({"play", "-q", write_scenario("on.yaml", kPumpOn), "--record", recorded}).exit_code,
            0);
  const ProgramRun replayed = run({"play", "-q", recorded});
  EXPECT_EQ(replayed.exit_code, 0) << replayed.err;
}

TEST_F(Program, NoticesWhenARecordingNoLongerHolds) {
  const std::string file = write_scenario("on.yaml", kPumpOn);
  ASSERT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).exit_code, 0);
  std::string text = content(path("recorded.yaml"));
  text.replace(text.find("pump_duty: 80"), 13, "pump_duty: 70");
  write("recorded.yaml", text);
  EXPECT_EQ(run({"play", "-q", path("recorded.yaml")}).exit_code, 1);
}

TEST_F(Program, SimulatesTheBoardsOfTheRobotFile) {
  const std::string reference = content(SOURCE_DIR "/robots/reference.yaml");
  const std::string robot =
      write("robot.yaml", reference.substr(0, reference.find("simulation:")) +
                              "simulation:\n"
                              "  claw_travel_ms: 700\n"
                              "  latency_ms: {default: 3, set_duty: 7, claw_extend: 11, "
                              "claw_query_state: 20}\n"
                              "  seed: 9\n");
  EXPECT_THAT(run({"check", robot}).out, HasSubstr("3 attempts of up to 10.131 s"))
      << "11 ms, a time-out of 10 s, a poll interval of 100 ms and a query of 20 ms";
  EXPECT_THAT(run({"send", "cmd=13", "--robot", robot}).out, HasSubstr("  0.007 ◀ success\n"));
  EXPECT_THAT(run({"send", "cmd=9", "--robot", robot}).out, HasSubstr("  0.003 ◀ success\n"));

  const std::string scenario =
      write("scenario.yaml",
            "title: x\nrobot: robot.yaml\nsteps:\n"
            "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n"
            "    during: [{after: 361 ms, emergency: raise}]\n"
            "    expect: {reply: failure, boards: {motor1 position: 50.0 %}}\n");
  EXPECT_EQ(run({"play", scenario}).exit_code, 0) << "half of 700 ms after the 11 ms of its start";
  EXPECT_THAT(run({"sweep", scenario}).out,
              HasSubstr("stop before operation 2    motor1 claw_query_state        620 ms  "))
      << "20 ms, a poll interval of 100 ms and a pause of 500 ms";

  const std::string chance =
      "  - fault: {device: pump, probability: 0.5, refuse: lost}\n"
      "  - request: {cmd: 13}\n  - request: {cmd: 13}\n  - request: {cmd: 13}\n"
      "  - request: {cmd: 13}\n  - request: {cmd: 13}\n  - request: {cmd: 13}\n";
  const std::string lots = write("lots.yaml", "title: x\nrobot: robot.yaml\nsteps:\n" + chance);
  const std::string own = run({"play", lots}).out;
  EXPECT_EQ(run({"play", lots, "--seed", "9"}).out, own);
  EXPECT_NE(run({"play", lots, "--seed", "1"}).out, own);
}

TEST_F(Program, TakesTheSeedFromTheCommandLine) {
  const std::string file =
      write_scenario("chance.yaml",
                     "  - fault: {device: pump, probability: 0.5, refuse: lost}\n"
                     "  - request: {cmd: 13}\n  - request: {cmd: 13}\n  - request: {cmd: 13}\n"
                     "  - request: {cmd: 13}\n  - request: {cmd: 13}\n  - request: {cmd: 13}\n");
  const std::string one = run({"play", file, "--seed", "1"}).out;
  EXPECT_EQ(run({"play", file, "--seed", "1"}).out, one);
  EXPECT_NE(run({"play", file, "--seed", "2"}).out, one);
  for (const std::string wrong : {"x", "", "-1", "+1", "010", "0x10", "9223372036854775808"}) {
    const ProgramRun played = run({"play", file, "--seed", wrong});
    EXPECT_EQ(played.exit_code, 2);
    EXPECT_THAT(played.err, StartsWith("--seed: found \"" + wrong + "\"; expected an integer"));
  }
  EXPECT_EQ(run({"play", file, "--seed", "9223372036854775807"}).exit_code, 0);
}

TEST_F(Program, ShowsTheBoardsAtTheEnd) {
  const ProgramRun played = run({"play", write_scenario("on.yaml", kPumpOn), "--boards"});
  EXPECT_THAT(played.out, HasSubstr("channels 1 to 5 at 0 0 80 0 0 %"));
}

TEST_F(Program, PlaysInRealTime) {
  const ProgramRun played = run({"play", write_scenario("on.yaml", kPumpOn), "--realtime"});
  EXPECT_EQ(played.exit_code, 0);
  EXPECT_THAT(played.out, HasSubstr("2 expectations held\n"));
}

/// A wait that takes minutes even where time is simulated.
constexpr const char* kEndless =
    "  - request: {cmd: 13}\n"
    "  - note: now it waits\n"
    "  - wait_until: {pump 3: 10 %}\n"
    "    at_most: 1000 h\n"
    "    expect: {boards: {pump 3: 10 %}}\n";

class InterruptedPlay : public Program, public testing::WithParamInterface<bool> {};
INSTANTIATE_TEST_SUITE_P(Times, InterruptedPlay, testing::Values(false, true),
                         [](const auto& time) { return time.param ? "Real" : "Simulated"; });

TEST_P(InterruptedPlay, EndsCleanlyWithARecordingOfWhatWas) {
  const std::string recorded = path("recorded.yaml");
  const std::string file = write_scenario("long.yaml", kEndless, "time_limit: 1000 h\n");
  std::vector<std::string> arguments = {"play", file, "--record", recorded};
  if (GetParam()) {
    arguments.emplace_back("--realtime");
  }
  const ProgramRun played = interrupt(arguments, "now it waits");
  EXPECT_EQ(played.exit_code, 130);
  EXPECT_THAT(played.out, testing::EndsWith("✘ " + file + ": 0 expectations held, interrupted\n"));
  EXPECT_THAT(content(recorded), HasSubstr("steps:\n"
                                           "  - request: {cmd: 13}\n"
                                           "    expect:\n"
                                           "      reply: {success: true, message: \"\"}\n"));
  EXPECT_THAT(content(recorded), testing::Not(HasSubstr("wait_until")));
}

TEST_F(Program, PlaysNoFurtherScenarioWhenItIsInterrupted) {
  const std::string endless = write_scenario("long.yaml", kEndless, "time_limit: 1000 h\n");
  const std::string pump = write_scenario("on.yaml", kPumpOn);
  const ProgramRun played = interrupt({"play", pump, endless, pump}, "now it waits");
  EXPECT_EQ(played.exit_code, 130);
  EXPECT_THAT(played.out, testing::EndsWith("✘ " + endless +
                                            ": 0 expectations held, interrupted\n"
                                            "✘ 0 of 3 scenarios failed, interrupted\n"));
}

TEST_F(Program, RecordsARunThatIsInterruptedInItsFirstStep) {
  const std::string recorded = path("recorded.yaml");
  const std::string file = write_scenario(
      "first.yaml", "  - request: {cmd: procter, tools_claw_cmd: 1, tools_claw_select: 1}\n",
      "with: {claw_timeout_ms: 3600000, simulation: {claw_travel_ms: 3600000}}\n");
  ASSERT_EQ(
      interrupt({"play", file, "--realtime", "--record", recorded}, "claw_query_state").exit_code,
      130);
  const ProgramRun replayed = run({"play", "-q", recorded});
  EXPECT_EQ(replayed.err, "");
  EXPECT_EQ(replayed.exit_code, 0);
}

TEST_F(Program, EndsASweepCleanlyWhenItIsInterrupted) {
  const std::string file =
      write_scenario("long.yaml", std::string("  - note: x\n") + kEndless, "time_limit: 1000 h\n");
  const ProgramRun swept = interrupt({"sweep", file}, "left");
  EXPECT_EQ(swept.exit_code, 130);
  EXPECT_THAT(swept.out, testing::EndsWith("✘ 0 runs, no rule broken, interrupted\n"));
}

TEST_F(Program, SendsOneRequest) {
  const std::string robot = SOURCE_DIR "/robots/reference.yaml";
  const ProgramRun sent = run({"send", "cmd=13", "pump_cmd=1", "pump_duty=80", "--robot", robot});
  EXPECT_EQ(sent.exit_code, 0);
  EXPECT_EQ(sent.err, "");
  EXPECT_EQ(sent.out,
            "  0.000 ▶ cmd 13  end-tool pump  pump_cmd=1 pump_duty=80\n"
            "  0.005   selfclean_board/pump        set_duty 03 50 00           ✔ pump channel=3 "
            "target=80\n"
            "  0.005 ◀ success\n");
  EXPECT_EQ(run({"send", "cmd=5", "--robot", robot}).exit_code, 1);
  const ProgramRun wrong = run({"send", "cmd=5", "pomp_cmd=1", "--robot", robot});
  EXPECT_EQ(wrong.exit_code, 2);
  EXPECT_EQ(wrong.err, "bottom-workbench send: no field \"pomp_cmd\"; did you mean pump_cmd?\n");
}

TEST_F(Program, SweepsAScenario) {
  const ProgramRun swept = run({"sweep", write_scenario("on.yaml", kPumpOn)});
  EXPECT_EQ(swept.exit_code, 0);
  EXPECT_EQ(swept.out,
            "disturbed by               at                        ended after  left\n"
            "undisturbed                -                                   -  pump 3 80 %\n"
            "stop before operation 1    pump set_duty                    5 ms  emergency active, "
            "pump 3 80 %\n"
            "stop after operation 1     pump set_duty                    0 ms  emergency active, "
            "pump 3 80 %\n"
            "operation 1 fails          pump set_duty                       -  everything at "
            "rest\n"
            "✔ 4 runs, no rule broken\n");
  EXPECT_THAT(
      run({"sweep", SOURCE_DIR "/scenarios/emergency-without-recovery.yaml"}).out,
      HasSubstr(
          "stop in wait 7             wait 100 ms                    550 ms  emergency active,\n"
          "                                                                  motor1 claw stopped,\n"
          "                                                                  motor1 position "
          "22.6 %\n"));
}

TEST_F(Program, SweepsAScenarioThatPlansItsOwnFailures) {
  const ProgramRun swept = run({"sweep", "-q", SOURCE_DIR "/scenarios/failures-of-pumps.yaml"});
  EXPECT_EQ(swept.exit_code, 0);
  EXPECT_EQ(swept.out, "✔ 49 runs, no rule broken\n");
}

TEST_F(Program, SweepsOutWhatBreaksARule) {
  // The end-tool pump on the clean pump's channel runs whatever that one's valves do.
  const std::string file =
      write_scenario("dry.yaml", kPumpOn, "with: {end_tool_pump_channel: 1}\n");
  const ProgramRun swept = run({"sweep", "--quiet", file});
  EXPECT_EQ(swept.exit_code, 1);
  EXPECT_EQ(swept.out,
            "undisturbed                -                                   -  pump 1 80 %\n"
            "  ✘ pump 1 runs with its valves shut\n"
            "stop before operation 1    pump set_duty                    5 ms  emergency active, "
            "pump 1 80 %\n"
            "  ✘ pump 1 runs with its valves shut\n"
            "stop after operation 1     pump set_duty                    0 ms  emergency active, "
            "pump 1 80 %\n"
            "  ✘ pump 1 runs with its valves shut\n"
            "✘ 3 of 4 runs broke a rule\n");
}

TEST_F(Program, FailsWhenItsOutputIsLost) {
  const std::string file = write_scenario("on.yaml", kPumpOn);
  const ProgramRun played = vantrel_can_bridge::test::run_program(
      "/bin/sh", {"-c", "\"$0\" play \"$1\" >/dev/full", BOTTOM_WORKBENCH, file});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_EQ(played.err, "bottom-workbench: standard output: cannot be written\n");
  const ProgramRun helped = vantrel_can_bridge::test::run_program(
      "/bin/sh", {"-c", "\"$0\" --help >/dev/full", BOTTOM_WORKBENCH});
  EXPECT_EQ(helped.exit_code, 2);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
