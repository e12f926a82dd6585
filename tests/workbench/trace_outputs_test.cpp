#include "workbench/trace_outputs.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/run_program.hpp"
#include "workbench/yaml_document.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using vantrel_can_bridge::test::ProgramRun;
namespace fs = std::filesystem;

ProgramRun run(const std::vector<std::string>& arguments) {
  return vantrel_can_bridge::test::run_program(BOTTOM_WORKBENCH, arguments);
}

std::string content(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Plays scenarios in a folder of its own that goes with the test.
class Traces : public testing::Test {
 protected:
  Traces() : folder_(fs::temp_directory_path() / ("traces_test." + std::to_string(getpid()))) {
    fs::create_directories(folder_);
  }
  ~Traces() override { fs::remove_all(folder_); }

  [[nodiscard]] std::string path(const std::string& name) const { return folder_ / name; }

  [[nodiscard]] std::string scenario(const std::string& steps) const {
    std::ofstream(path("scenario.yaml"))
        << "title: T\nrobot: " SOURCE_DIR "/robots/reference.yaml\nsteps:\n" + steps;
    return path("scenario.yaml");
  }

  /// The arguments that play it into "t.jsonl", "p.json" and "t.html".
  [[nodiscard]] std::vector<std::string> all_traces(const std::string& file) const {
    return {"play",       "--quiet",      file,         "--trace",     path("t.jsonl"),
            "--perfetto", path("p.json"), "--timeline", path("t.html")};
  }

  void expect_complete_files() const {
    EXPECT_THAT(content(path("t.jsonl")), EndsWith("\"kind\":\"run_ended\"}\n"));
    EXPECT_TRUE(nlohmann::json::accept(content(path("p.json"))));
    EXPECT_THAT(content(path("t.html")), EndsWith("</html>\n"));
  }

  const fs::path folder_;
};

const std::string kPump = "  - request: {cmd: handle_pump, pump_cmd: 1, pump_duty: 80}\n";

TEST_F(Traces, AreWrittenAllAtOnce) {
  const ProgramRun played = run(all_traces(scenario(kPump)));
  EXPECT_EQ(played.exit_code, 0);
  EXPECT_EQ(played.out + played.err, "");
  expect_complete_files();
}

TEST_F(Traces, AreTheSameBytesInEveryRun) {
  for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/scenarios")) {
    std::vector<std::string> before;
    for (int round = 0; round < 2; ++round) {
      ASSERT_EQ(run(all_traces(entry.path())).exit_code, 0) << entry.path();
      const std::vector<std::string> written = {content(path("t.jsonl")), content(path("p.json")),
                                                content(path("t.html"))};
      if (round > 0) {
        EXPECT_EQ(written, before) << entry.path();
      }
      before = written;
    }
  }
}

TEST_F(Traces, AreThePictureAloneForSvg) {
  EXPECT_EQ(run({"play", scenario(kPump), "--timeline", path("t.svg")}).exit_code, 0);
  EXPECT_THAT(content(path("t.svg")), StartsWith("<svg "));
}

TEST_F(Traces, AreWhatTheDocumentsShow) {
  const std::string round = SOURCE_DIR "/scenarios/cleaning-round.yaml";
  EXPECT_EQ(run({"play", "-q", round, "--timeline", path("t.svg")}).exit_code, 0);
  EXPECT_EQ(content(path("t.svg")), content(SOURCE_DIR "/docs/images/timeline.svg"))
      << "draw it again, as docs/traces.md says";
}

TEST_F(Traces, AreCompleteWhenAnExpectationFails) {
  const ProgramRun played =
      run(all_traces(scenario("  - request: {cmd: 13}\n    expect: {reply: failure}\n")));
  EXPECT_EQ(played.exit_code, 1);
  expect_complete_files();
  EXPECT_THAT(content(path("t.html")), HasSubstr("expectation failed: reply"));
}

TEST_F(Traces, AreCompleteWhenTheRunIsInterrupted) {
  std::vector<std::string> arguments = all_traces(scenario(kPump + "  - wait: 10 h\n"));
  arguments[1] = "--realtime";  // and not quiet: how far it is, its output tells
  const ProgramRun played =
      vantrel_can_bridge::test::interrupt_program(BOTTOM_WORKBENCH, arguments, "◀ success");
  EXPECT_EQ(played.exit_code, 130);
  expect_complete_files();
  EXPECT_THAT(content(path("t.html")), HasSubstr("interrupted"));
}

class TracesOption : public Traces, public testing::WithParamInterface<const char*> {};

TEST_P(TracesOption, NamesAFileThatCannotBeOpened) {
  const ProgramRun played = run({"play", scenario(kPump), GetParam(), path("no/such/file")});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_EQ(played.out, "") << "nothing is played";
  EXPECT_EQ(played.err, path("no/such/file") + ": cannot be written: No such file or directory\n");
}

TEST_P(TracesOption, NamesAFileThatCannotBeWritten) {
  const ProgramRun played = run({"play", "--quiet", scenario(kPump), GetParam(), "/dev/full"});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_THAT(played.err, StartsWith("/dev/full: cannot be written"));
}

TEST_P(TracesOption, DoesNotOverwriteTheScenario) {
  const std::string file = scenario(kPump);
  const std::string before = content(file);
  const ProgramRun played = run({"play", file, GetParam(), path("./scenario.yaml")});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_THAT(played.err, HasSubstr("found for both the scenario and "));
  EXPECT_EQ(content(file), before);
}

TEST_P(TracesOption, NeedsAName) {
  const ProgramRun played = run({"play", scenario(kPump), GetParam(), ""});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_THAT(played.err, StartsWith(std::string(GetParam()) + ": found no name; expected that"));
}

TEST_P(TracesOption, TakesOneScenario) {
  const std::string file = scenario(kPump);
  const ProgramRun played = run({"play", file, file, GetParam(), path("t")});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_THAT(played.err, HasSubstr("found 2 scenarios; expected one\n"));
  EXPECT_FALSE(fs::exists(path("t")));
}

INSTANTIATE_TEST_SUITE_P(Options, TracesOption,
                         testing::Values("--trace", "--perfetto", "--timeline", "--record"),
                         [](const auto& option) { return std::string(option.param + 2); });

TEST_F(Traces, SayThatARecordingIsTooLargeToBePlayed) {
  OutputPaths paths;
  paths.recording = path("r.yaml");
  TraceOutputs largest(paths, "");
  largest.write_recording(std::string(kLargestYamlFile, '#'));
  EXPECT_EQ(largest.close(), "");

  TraceOutputs larger(paths, "");
  larger.write_recording(std::string(kLargestYamlFile + 1, '#'));
  EXPECT_EQ(larger.close(),
            path("r.yaml") +
                ": has 4194305 bytes, of which play reads at most 4194304; expected "
                "a run of fewer steps\n");
  EXPECT_EQ(fs::file_size(path("r.yaml")), 4194305U);
}

TEST_F(Traces, GoIntoAFileEach) {
  const auto clash = [this](const OutputPaths& paths) {
    return find_clash(paths, path("s"), path("r"));
  };
  EXPECT_EQ(clash({}), "");
  EXPECT_EQ(clash({path("a"), path("b"), path("c"), path("d")}), "");
  EXPECT_EQ(clash({"/dev/null", "/dev/null", {}, {}}), "");
  EXPECT_EQ(clash({path("a"), {}, path("x/../a"), {}}),
            path("x/../a") + ": found for both --trace and --timeline; expected two files\n");
  EXPECT_EQ(clash({{}, path("a"), {}, path("a")}),
            path("a") + ": found for both --perfetto and --record; expected two files\n");
  EXPECT_EQ(clash({"no such file", {}, "./no such file", {}}),
            "./no such file: found for both --trace and --timeline; expected two files\n");
  EXPECT_EQ(clash({{}, {}, {}, path("./r")}),
            path("./r") + ": found for both its robot and --record; expected two files\n");
  fs::create_symlink("not there yet", path("link"));
  EXPECT_EQ(
      clash({path("link"), {}, path("not there yet"), {}}),
      path("not there yet") + ": found for both --trace and --timeline; expected two files\n");
  EXPECT_EQ(clash({path("link"), {}, path("a"), {}}), "");
}

TEST_F(Traces, DoNotOverwriteTheScenarioByAnotherOfItsNames) {
  fs::create_hard_link(scenario(kPump), path("link"));
  EXPECT_THAT(find_clash({path("link"), {}, {}, {}}, path("scenario.yaml"), path("r")),
              HasSubstr("found for both the scenario and --trace"));
}

TEST_F(Traces, DoNotOverwriteTheRobot) {
  std::ofstream(path("robot.yaml")) << content(SOURCE_DIR "/robots/reference.yaml");
  std::ofstream(path("s.yaml")) << "title: T\nrobot: robot.yaml\nsteps:\n" + kPump;
  const ProgramRun played = run({"play", path("s.yaml"), "--record", path("robot.yaml")});
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_THAT(played.err, HasSubstr("found for both its robot and --record"));
  EXPECT_EQ(content(path("robot.yaml")), content(SOURCE_DIR "/robots/reference.yaml"));
}

/// Runs a shell's line with the program as $0 and a scenario as $1.
ProgramRun shell(const std::string& line, const std::string& file, const std::string& output) {
  return vantrel_can_bridge::test::run_program("/bin/sh",
                                               {"-c", line, BOTTOM_WORKBENCH, file, output});
}

TEST_F(Traces, DoNotGetWhatIsMeantForAClosedStandardOutput) {
  const ProgramRun played =
      shell("\"$0\" play \"$1\" --trace \"$2\" >&-", scenario(kPump), path("t.jsonl"));
  EXPECT_EQ(played.exit_code, 2);
  EXPECT_EQ(played.err, "bottom-workbench: standard output: cannot be written\n");
  EXPECT_THAT(content(path("t.jsonl")), StartsWith("{\"time_ns\":0,"));
  EXPECT_THAT(content(path("t.jsonl")), EndsWith("\"kind\":\"run_ended\"}\n"));
}

TEST_F(Traces, AreCompleteWhenNobodyReadsTheOutput) {
  ASSERT_EQ(mkfifo(path("t.jsonl.gone").c_str(), 0600), 0);
  // The reader has gone before the program begins.
  const ProgramRun played = shell(
      "{ read gone && \"$0\" play \"$1\" --trace \"$2\"; } <\"$2.gone\" | { exec <&-; echo "
      ">\"$2.gone\"; }",
      scenario(kPump), path("t.jsonl"));
  EXPECT_EQ(played.err, "bottom-workbench: standard output: cannot be written\n");
  EXPECT_THAT(content(path("t.jsonl")), EndsWith("\"kind\":\"run_ended\"}\n"));
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
