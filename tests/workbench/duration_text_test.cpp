#include "workbench/duration_text.hpp"

#include <gtest/gtest.h>

#include <ostream>

namespace vantrel_can_bridge::workbench {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

TEST(DurationText, UsesTheLargestUnitWithoutAFraction) {
  EXPECT_EQ(duration_text(0ns), "0 ms");
  EXPECT_EQ(duration_text(7ns), "7 ns");
  EXPECT_EQ(duration_text(250us), "250 us");
  EXPECT_EQ(duration_text(1500ms), "1500 ms");
  EXPECT_EQ(duration_text(90s), "90 s");
}

TEST(ParseDuration, ReadsEveryUnit) {
  EXPECT_EQ(parse_duration("7 ns"), 7ns);
  EXPECT_EQ(parse_duration("7us"), 7us);
  EXPECT_EQ(parse_duration("500 ms"), 500ms);
  EXPECT_EQ(parse_duration("1.5 s"), 1500ms);
  EXPECT_EQ(parse_duration("2 min"), 2min);
  EXPECT_EQ(parse_duration("0.5 h"), 30min);
  EXPECT_EQ(parse_duration("0.000000001 s"), 1ns);
  EXPECT_EQ(parse_duration("9223372036854775807 ns"), nanoseconds::max());
}

struct Row {
  const char* text;
};
void PrintTo(const Row& row, std::ostream* out) { *out << '"' << row.text << '"'; }

class WrongDuration : public testing::TestWithParam<Row> {};

TEST_P(WrongDuration, IsNotRead) { EXPECT_EQ(parse_duration(GetParam().text), std::nullopt); }

INSTANTIATE_TEST_SUITE_P(Texts, WrongDuration,
                         testing::Values(Row{""}, Row{"5"}, Row{"ms"}, Row{"-5 ms"}, Row{".5 s"},
                                         Row{"5. s"}, Row{"1.2.3 s"}, Row{"5 sec"}, Row{"5 ms "},
                                         Row{"5 m s"}, Row{"0.5 ns"}, Row{"1e3 ms"},
                                         Row{"9223372036854775808 ns"}, Row{"9223372037 s"},
                                         Row{"99999999999999999999 s"}));

}  // namespace
}  // namespace vantrel_can_bridge::workbench
