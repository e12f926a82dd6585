#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/run_program.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using vantrel_can_bridge::test::ProgramRun;

/// `bottom-workbench check` in the project's directory, where the paths of the expected
/// outputs begin.
ProgramRun check(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"-C", PROJECT_DIR, BOTTOM_WORKBENCH, "check"});
  return vantrel_can_bridge::test::run_program("/usr/bin/env", arguments);
}

std::string content(const fs::path& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// --- Every robot file that the project has ---

std::vector<std::string> robots_in(const std::string& directory) {
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(PROJECT_DIR "/" + directory)) {
    if (entry.path().extension() == ".yaml") {
      names.push_back(entry.path().stem());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string test_name(const testing::TestParamInfo<std::string>& info) {
  std::string name = info.param;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

class BadRobot : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Robots, BadRobot, testing::ValuesIn(robots_in("robots/bad")), test_name);

TEST_P(BadRobot, PrintsWhatStandsBesideIt) {
  const std::string expected = content(PROJECT_DIR "/robots/bad/" + GetParam() + ".expected");
  const bool has_errors = expected.find(" error") < expected.find('\n');
  ASSERT_TRUE(has_errors || expected.find(" finding") < expected.find('\n')) << expected;

  const std::string path = "robots/bad/" + GetParam() + ".yaml";
  const ProgramRun program = check({path});
  EXPECT_EQ(program.out, expected);
  EXPECT_EQ(program.err, "");
  EXPECT_EQ(program.exit_code, has_errors ? 2 : 0);
  EXPECT_EQ(check({"--strict", path}).exit_code, has_errors ? 2 : 1);
}

class GoodRobot : public testing::TestWithParam<std::string> {};
INSTANTIATE_TEST_SUITE_P(Robots, GoodRobot, testing::ValuesIn(robots_in("robots")), test_name);

TEST_P(GoodRobot, HasNeitherErrorsNorFindings) {
  const ProgramRun program = check({"--strict", "robots/" + GetParam() + ".yaml"});
  EXPECT_THAT(program.out, HasSubstr("robots/" + GetParam() + ".yaml: good\n"));
  EXPECT_EQ(program.exit_code, 0);
}

TEST(Check, ShowsTheLongestTimesOfTheReferenceRobot) {
  EXPECT_EQ(
      check({"robots/reference.yaml"}).out,
      "robots/reference.yaml: good\n"
      "  request   up to 31.771 s         cmd 0 with all that it can carry\n"
      "  claw move up to 31.321 s         3 attempts of up to 10.107 s, 500 ms between two\n"
      "  recovery  up to 80.856 s         4 claws raised and lowered once, with a budget of 90 s\n"
      "  with the gateway as slow as simulation.latency_ms, plus the wait for a request that is "
      "running\n");
}

TEST(Check, SumsSeveralFilesUp) {
  const ProgramRun program =
      check({"robots/no-claws.yaml", "robots/bad/wheel-values.yaml", "robots/bad/empty.yaml"});
  EXPECT_EQ(program.out, check({"robots/no-claws.yaml"}).out + "\n" +
                             content(PROJECT_DIR "/robots/bad/wheel-values.expected") + "\n" +
                             content(PROJECT_DIR "/robots/bad/empty.expected") +
                             "\n3 files: 1 good, 1 with findings, 1 with errors\n");
  EXPECT_EQ(program.exit_code, 2);
}

TEST(Check, FailsOnFindingsInAnyFileWhenStrict) {
  EXPECT_EQ(check({"--strict", "robots/bad/wheel-values.yaml", "robots/no-claws.yaml"}).exit_code,
            1);
}

TEST(Check, WantsAFile) {
  const ProgramRun program = check({});
  EXPECT_EQ(program.out, "");
  EXPECT_THAT(program.err, HasSubstr("ROBOT.yaml is required"));
  EXPECT_EQ(program.exit_code, 2);
}

TEST(Check, ShowsAnExampleInItsHelp) {
  const ProgramRun program = check({"--help"});
  EXPECT_THAT(program.out, HasSubstr("\nExample: bottom-workbench check --strict"));
  EXPECT_EQ(program.exit_code, 0);
}

// --- What is no robot file at all ---

/// A directory for the test's own files, gone with it.
class CheckFile : public testing::Test {
 protected:
  CheckFile() {
    std::string name = fs::temp_directory_path() / "check-test-XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  ~CheckFile() override { fs::remove_all(directory_); }

  [[nodiscard]] std::string path() const { return directory_ / "robot.yaml"; }

  void write(const std::string& text) { std::ofstream(path(), std::ios::binary) << text; }

  /// One error, without a place in the file.
  void expect_refused(const std::string& file, const std::string& text) {
    const ProgramRun program = check({file});
    EXPECT_EQ(program.out, file + ": 1 error\n" + file + ": " + text + "\n");
    EXPECT_EQ(program.err, "");
    EXPECT_EQ(program.exit_code, 2);
  }

  fs::path directory_;
};

TEST_F(CheckFile, RefusesAMissingFile) {
  expect_refused(path(), "cannot be opened: No such file or directory");
}

TEST_F(CheckFile, RefusesADirectory) {
  expect_refused(directory_, "is a directory; expected a YAML file");
}

TEST_F(CheckFile, RefusesTheNullDevice) {
  expect_refused("/dev/null", "is empty; expected a document");
}

TEST_F(CheckFile, ReadsNoMoreThanTheLimitOfAnEndlessFile) {
  expect_refused("/dev/zero", "has more than 4194304 bytes; expected at most that");
}

TEST_F(CheckFile, RefusesAHundredMegabytesByTheirSize) {
  write("");
  fs::resize_file(path(), 100'000'000);
  expect_refused(path(), "has 100000000 bytes; expected at most 4194304");
}

TEST_F(CheckFile, RefusesAFileThatCannotBeRead) {
  expect_refused("/proc/self/mem", "cannot be read: Input/output error");
}

TEST_F(CheckFile, RefusesAFileThatIsNotItsUsers) {
  write("");
  fs::permissions(path(), fs::perms::none);
  fs::permissions(directory_, fs::perms::all);
  // Root may read everything, so it looks as somebody else.
  const std::vector<std::string> as_user =
      geteuid() == 0 ? std::vector<std::string>{"--reuid=65534", "--clear-groups"}
                     : std::vector<std::string>{"--no-new-privs"};
  std::vector<std::string> arguments = as_user;
  arguments.insert(arguments.end(), {BOTTOM_WORKBENCH, "check", path()});
  const ProgramRun program = vantrel_can_bridge::test::run_program("/usr/bin/setpriv", arguments);
  EXPECT_EQ(program.out,
            path() + ": 1 error\n" + path() + ": cannot be opened: Permission denied\n");
  EXPECT_EQ(program.exit_code, 2);
}

TEST_F(CheckFile, RefusesAHundredThousandBrackets) {
  write("claw_motor_ids: " + std::string(100'000, '['));
  const ProgramRun program = check({path()});
  EXPECT_THAT(program.out, HasSubstr("found more than 64 levels of lists and mappings"));
  EXPECT_EQ(program.exit_code, 2);
}

TEST_F(CheckFile, ShowsTheFirstHundredOfManyErrors) {
  std::string text;
  for (int i = 0; i < 200; ++i) {
    text += "colour" + std::to_string(i) + ": red\n";
  }
  write(text);
  const ProgramRun program = check({path()});
  EXPECT_THAT(program.out, HasSubstr(": 228 errors\n"));
  EXPECT_THAT(program.out, HasSubstr("\n... and 128 more errors\n"));
  EXPECT_EQ(std::count(program.out.begin(), program.out.end(), '\n'), 102);
  EXPECT_EQ(program.exit_code, 2);
}

TEST_F(CheckFile, RefusesRandomBytes) {
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    std::string bytes(1000, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(random()); });
    write(bytes);
    const ProgramRun program = check({path()});
    EXPECT_THAT(program.out, HasSubstr("expected a text file"));
    EXPECT_EQ(program.exit_code, 2) << "round " << round;
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
