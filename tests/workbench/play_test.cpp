#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
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

TEST_F(Program, NoticesWhenARecordingNoLongerHolds) {
  const std::string file = write_scenario("on.yaml", kPumpOn);
  ASSERT_EQ(run({"play", "-q", file, "--record", path("recorded.yaml")}).exit_code, 0);
  std::string text = content(path("recorded.yaml"));
  text.replace(text.find("pump_duty: 80"), 13, "pump_duty: 70");
  write("recorded.yaml", text);
  EXPECT_EQ(run({"play", "-q", path("recorded.yaml")}).exit_code, 1);
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
  EXPECT_EQ(run({"play", file, "--seed", "x"}).exit_code, 2);
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

TEST_F(Program, EndsCleanlyWhenItIsInterrupted) {
  const std::string file = write_scenario(
      "long.yaml", "  - note: begun\n  - request: {cmd: 13}\n  - wait: 10 h\n  - note: never\n");
  int output[2];
  ASSERT_EQ(pipe(output), 0);
  const std::string recorded = path("recorded.yaml");
  const pid_t child = fork();
  if (child == 0) {
    dup2(output[1], STDOUT_FILENO);
    execl(BOTTOM_WORKBENCH, BOTTOM_WORKBENCH, "play", "--realtime", file.c_str(), "--record",
          recorded.c_str(), nullptr);
    _exit(127);
  }
  close(output[1]);
  std::string out;
  char buffer[4096];
  const auto read_some = [&] {
    const ssize_t count = read(output[0], buffer, sizeof buffer);
    out.append(buffer, count > 0 ? static_cast<std::size_t>(count) : 0);
    return count > 0;
  };
  while (out.find("◀ success") == std::string::npos && read_some()) {
  }
  kill(child, SIGINT);
  while (read_some()) {
  }
  close(output[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 130);
  EXPECT_THAT(out, HasSubstr("interrupted"));
  EXPECT_THAT(content(recorded), HasSubstr("operations:\n        - [selfclean_board, pump, "
                                           "set_duty, \"03 00 00\"]\n"));
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
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
