#include "workbench/scenario_reader.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/workbench/scenario_fixture.hpp"

namespace vantrel_can_bridge::workbench::test {
namespace {

using testing::HasSubstr;

/// The errors of a scenario, without the name of its file.
std::string errors_of(const std::string& text) {
  const std::string name = SOURCE_DIR "/scenarios/test.yaml";
  InputErrors errors;
  EXPECT_FALSE(read_scenario_text(text, name, errors).has_value());
  std::string lines = errors.lines();
  for (std::size_t at = lines.find(name); at != std::string::npos; at = lines.find(name)) {
    lines.erase(at, name.size() + 1);
  }
  return lines;
}

struct Row {
  const char* name;
  const char* step;
  const char* error;  // of the scenario whose fourth line the step begins
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class WrongStep : public testing::TestWithParam<Row> {};

TEST_P(WrongStep, IsReportedWithItsPlace) {
  EXPECT_THAT(errors_of(scenario_text(GetParam().step)), HasSubstr(GetParam().error));
}

INSTANTIATE_TEST_SUITE_P(
    Steps, WrongStep,
    testing::Values(
        Row{"NoAction", "  - background: x\n",
            "4:5: the step does nothing; expected one of request"},
        Row{"TwoActions", "  - wait: 1 s\n    note: x\n",
            "5:11: note: a second action; expected one a step, beside wait"},
        Row{"UnknownField", "  - request: {cmd: 1, pump_dutty: 3}\n", "did you mean pump_duty?"},
        Row{"NoCmd", "  - request: {pump_duty: 3}\n", "a number or a command's name"},
        Row{"UnknownCommand", "  - request: {cmd: proctor}\n", "procter"},
        Row{"ColourOutOfRange", "  - request: {cmd: 9, rgb: 0x123456789}\n",
            "4:28: rgb: found 0x123456789; expected an integer from 0 to 4294967295, or 0x and 1 "
            "to 8 hexadecimal digits"},
        Row{"QuotedColour", "  - request: {cmd: 9, rgb: \"0xff\"}\n", "4:28: rgb: found"},
        Row{"ColourWithoutPrefix", "  - request: {cmd: 9, rgb: ff8000}\n",
            "did you mean 0xff8000?"},
        Row{"HexadecimalLevel", "  - request: {cmd: 2, left_level: 0x10}\n", "did you mean 16?"},
        Row{"FieldOutOfRange", "  - request: {cmd: 2147483648}\n", "4:20: "},
        Row{"NegativeColour", "  - request: {cmd: 9, rgb: -1}\n", "4:28: "},
        Row{"NoDuration", "  - wait: 5\n", "a length of time such as 500 ms, 1.5 s or 2 min"},
        Row{"LongerThanEveryRun", "  - wait: 3600001 s\n",
            "4:11: wait: found 3600001 s; expected at most 1000 h"},
        Row{"UnknownEdge", "  - emergency: rise\n", "raise or clear"},
        Row{"UnknownBackground", "  - wait_for: lift\n",
            "the name of background work that a step before this one starts"},
        Row{"NothingToWaitFor", "  - wait_until: {}\n",
            "4:17: wait_until: found none; expected a condition or more"},
        Row{"NothingToExpect", "  - expect: {}\n",
            "4:13: expect: found none; expected an expectation or more"},
        Row{"EveryFaultByNoName", "  - clear_faults: \"\"\n", "expected all, or the name"},
        Row{"RepeatedBackground",
            "  - request: {cmd: 0}\n    background: a\n  - request: {cmd: 0}\n    background: a\n",
            "7:17: "},
        Row{"ReplyOfAWait", "  - wait: 1 s\n    expect: {reply: success}\n",
            "5:21: reply: this step has none"},
        Row{"ReplyInTheBackground",
            "  - request: {cmd: 0}\n    background: a\n    expect: {reply: success}\n",
            "6:21: reply: this step has none"},
        Row{"UnknownValue", "  - expect: {boards: {pmup 3: 80 %}}\n", "did you mean pump 3?"},
        Row{"UnknownClaw", "  - expect: {claws: {motor9: raised}}\n", "motor9"},
        Row{"UnknownClawState", "  - expect: {claws: {motor1: up}}\n",
            "unknown, raised, lowered, raise_incomplete or lower_incomplete"},
        Row{"WrongComparison", "  - wait_until: {motor1 position: '>= half'}\n", "4:35: "},
        Row{"ShortOperation", "  - expect: {operations: [[selfclean_board, pump]]}\n", "4:27: "},
        Row{"WrongPayload", "  - expect: {operations: [[a, b, c, 1 2]]}\n", "bytes in hexadecimal"},
        Row{"NoRepeats", "  - expect: {writes: [[a, b, c, \"\", x 0]]}\n", "repeats such as x 12"},
        Row{"NoMoment", "  - request: {cmd: 0}\n    during: [{emergency: raise}]\n",
            "found no moments; expected one of after"},
        Row{"TwoMoments",
            "  - request: {cmd: 0}\n    during: [{emergency: raise, after: 1 s, in_wait: 2}]\n",
            "found 2 moments; expected one of after"},
        Row{"MomentZero", "  - request: {cmd: 0}\n    during: [{emergency: raise, in_wait: 0}]\n",
            "5:42: "},
        Row{"NoEffect", "  - fault: {device: pump}\n", "fault: it has no effect"},
        Row{"TwoEffects", "  - fault: {refuse: x, throw: y}\n",
            "throw: a second effect; expected one a rule, beside refuse"},
        Row{"ThrowsNothing", "  - fault: {throw: \"\"}\n",
            "4:20: throw: found \"\"; expected a text that is not empty"},
        Row{"NeverHits", "  - fault: {device: motor9, refuse: x}\n",
            "4:12: fault: it can never hit an operation of this robot: no device \"motor9\""},
        Row{"SticksOnAQuery", "  - fault: {op: claw_query_state, claw_sticks_at: 10 %}\n",
            "only the claw moves claw_extend and claw_home can stick or fail"},
        Row{"UnknownRule",
            "  - fault: {name: jam, device: pump, refuse: x}\n  - clear_faults: jem\n",
            "5:19: clear_faults: found jem; expected all, or the name of a fault rule that a step "
            "before this one adds; did you mean jam?"},
        Row{"RuleThatComesLater",
            "  - clear_faults: jam\n  - fault: {name: jam, device: pump, refuse: x}\n",
            "4:19: clear_faults: found jam; expected all, or the name of"},
        Row{"RuleOfAReservedName", "  - fault: {name: all, device: pump, refuse: x}\n",
            "4:19: name: found all; expected another name: clear_faults takes all for every rule"},
        Row{"NoTimes", "  - fault: {times: 0, refuse: x}\n", "4:20: "},
        Row{"Impossible", "  - fault: {probability: 0, refuse: x}\n",
            "a number above 0 and up to 1 such as 0.25"},
        Row{"TooProbable", "  - fault: {probability: 1.1, refuse: x}\n", "4:26: "},
        Row{"TooFar", "  - fault: {claw_sticks_at: 100.1 %}\n", "a percentage from 0 % to 100 %"}),
    [](const auto& row) { return row.param.name; });

TEST(ScenarioReader, TakesColoursInHexadecimal) {
  const Scenario read = scenario("  - request: {cmd: 9, rgb: 0xfF8000, left_rgb: 255}\n");
  const auto& request = std::get<SendRequest>(read.steps.at(0).action).request;
  EXPECT_EQ(request.rgb, 0xFF8000U);
  EXPECT_EQ(request.left_rgb, 255U);
}

struct Mistake {
  const char* name;
  const char* steps;
  const char* error;  // the only one
};
void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.name; }

class OneMistake : public testing::TestWithParam<Mistake> {};

TEST_P(OneMistake, IsOneError) {
  EXPECT_EQ(errors_of(scenario_text(GetParam().steps)), std::string(GetParam().error) + '\n');
}

INSTANTIATE_TEST_SUITE_P(
    Steps, OneMistake,
    testing::Values(
        Mistake{"Action", "  - requst: {cmd: 1}\n",
                "4:5: found requst, which is unknown in a step; did you mean request?"},
        Mistake{"ActionThatOthersHangOn",
                "  - requst: {cmd: 1}\n    background: a\n  - wait_for: a\n",
                "4:5: found requst, which is unknown in a step; did you mean request?"},
        Mistake{"ActionWithAReply", "  - reqest: {cmd: 1}\n    expect: {reply: success}\n",
                "4:5: found reqest, which is unknown in a step; did you mean request?"},
        Mistake{"RuleThatIsClearedLater",
                "  - fault: {name: jam, device: pump, refuze: x}\n  - clear_faults: jam\n",
                "4:38: found refuze, which is unknown in a fault rule; did you mean refuse?"},
        Mistake{"Expectations", "  - expct: {claws: {motor1: raised}}\n",
                "4:5: found expct, which is unknown in a step; did you mean expect?"},
        Mistake{"NothingLikeIt", "  - qqqqqq: 1\n",
                "4:5: found qqqqqq, which is unknown in a step; expected one of request, wait, "
                "wait_for, wait_until, emergency, fault, clear_faults, note, expect, background, "
                "during, at_most"},
        Mistake{"NoAction", "  - at_most: 1 s\n",
                "4:5: the step does nothing; expected one of request, wait, wait_for, wait_until, "
                "emergency, fault, clear_faults, note or expect"}),
    [](const auto& row) { return row.param.name; });

TEST(ScenarioReader, ReportsAllErrorsInOneGo) {
  const std::string errors = errors_of(
      "title: [x]\nrobot: ../robots/reference.yaml\nseed: -1\nsteps:\n"
      "  - wait: x\n  - 5\n  - note: {}\n");
  for (const char* place : {"1:8: ", "3:7: ", "5:11: ", "6:5: ", "7:11: "}) {
    EXPECT_THAT(errors, HasSubstr(place));
  }
}

TEST(ScenarioReader, NeedsATitleARobotAndSteps) {
  const std::string errors = errors_of("{}\n");
  EXPECT_THAT(errors, HasSubstr("title"));
  EXPECT_THAT(errors, HasSubstr("robot"));
  EXPECT_THAT(errors, HasSubstr("steps"));
}

TEST(ScenarioReader, NamesTheRobotFileThatIsMissing) {
  EXPECT_THAT(errors_of("title: x\nrobot: nowhere.yaml\nsteps: []\n"),
              HasSubstr("scenarios/nowhere.yaml: cannot be opened: No such file or directory"));
}

TEST(ScenarioReader, ChecksTheRobotsChangedValuesWhereTheyStand) {
  EXPECT_THAT(
      errors_of(scenario_text("", "with: {claw_timeout_ms: soon, tpyo: 5}\n") + "  - wait: 1 s\n"),
      testing::AllOf(HasSubstr("3:25: "), HasSubstr("3:31: found tpyo")));
}

TEST(ScenarioReader, NamesTheFieldOfTheRobotThatWasMeant) {
  EXPECT_EQ(errors_of(scenario_text("", "with: {claw_timeout: 5}\n") + "  - wait: 1 s\n"),
            "3:8: found claw_timeout, which is unknown in a robot; did you mean "
            "claw_timeout_ms?\n");
}

TEST(ScenarioReader, ChangesTheRobot) {
  const Scenario changed = scenario(
      "  - wait: 1 s\n", "with: {claw_motor_ids: [3], simulation: {claw_travel_ms: 70}}\n");
  EXPECT_EQ(changed.config.claw_motor_ids, std::vector<std::int64_t>({3}));
  EXPECT_EQ(changed.robot.claw_motors, std::vector<std::int64_t>({3}));
  EXPECT_EQ(changed.robot.claw_travel_time, std::chrono::milliseconds(70));
  EXPECT_EQ(changed.config.claw_timeout_ms, 10'000);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
