#include "workbench/cleaning_round.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <sstream>

namespace vantrel_can_bridge::workbench::test {
namespace {

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;

struct RoundRow {
  const char* name;
  FaultRule fault;
  const char* complaint;  // printed by the check that notices
  const char* verdict;
};
void PrintTo(const RoundRow& row, std::ostream* out) { *out << row.name; }

class BrokenRound : public testing::TestWithParam<RoundRow> {};

TEST_P(BrokenRound, IsNotASuccess) {
  RoundOptions options;
  options.claw_travel_time = 180ms;
  options.faults = {GetParam().fault};
  std::ostringstream out;

  EXPECT_FALSE(play_cleaning_round(out, options));

  EXPECT_THAT(out.str(), AllOf(HasSubstr(GetParam().complaint), HasSubstr(GetParam().verdict)));
}

INSTANTIATE_TEST_SUITE_P(
    Faults, BrokenRound,
    testing::Values(RoundRow{"Light",
                             {"*", "right_light", "*", 1, Refuse{"lost"}},
                             "✘ expected: success, code 0, message \"\"",
                             "✘ The round did not go as it should: 1 of 36 checks failed."},
                    RoundRow{"MotorThatDoesNotStop",
                             {"*", "motor5", "disable", 1, Refuse{"lost"}},
                             "✘ selfclean_board/motor5        enabled, target 0 rpm",
                             "✘ The round did not go as it should: 4 of 36 checks failed."},
                    RoundRow{"EndToolPumpThatStaysOff",
                             {"*", "pump", "set_duty", 1, Refuse{"lost"}},
                             "✘ expected: success, code 0, message \"\"",
                             "✘ The round did not go as it should: 1 of 36 checks failed."},
                    RoundRow{"ClawThatNeverExtends",
                             {"*", "motor1", "claw_extend", 99, Refuse{"lost"}},
                             "✘ the claw is extended",
                             "✘ The round did not go as it should: 9 of 36 checks failed."},
                    RoundRow{"ClawThatNeverHomes",
                             {"*", "motor1", "claw_home", 99, Refuse{"lost"}},
                             "✘ the stop came while the claw was on its way",
                             "✘ The round did not go as it should: 8 of 36 checks failed."},
                    RoundRow{"SecondClawLeftBehind",
                             {"*", "motor2", "claw_home", 1, FailMove{}},
                             "✘ both claws were raised and lowered again",
                             "✘ The round did not go as it should: 2 of 36 checks failed."}),
    [](const auto& row) { return row.param.name; });

TEST(CleaningRound, SucceedsAtAnyPace) {
  RoundOptions options;
  options.claw_travel_time = 180ms;
  std::ostringstream out;

  EXPECT_TRUE(play_cleaning_round(out, options)) << out.str();
}

TEST(CleaningRound, SurvivesAMoveThatFailsOnce) {
  RoundOptions options;
  options.claw_travel_time = 180ms;
  options.faults = {{"*", "motor1", "claw_extend", 1, FailMove{}}};
  std::ostringstream out;

  EXPECT_TRUE(play_cleaning_round(out, options)) << out.str();
  EXPECT_THAT(out.str(), HasSubstr("工具1伸出第 1/2 次尝试失败：tools_claw claw_extend failed "
                                   "(action_state=5, position_state=0)"));
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
