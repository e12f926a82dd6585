#include "workbench/side_by_side.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vantrel_can_bridge::workbench {
namespace {

TEST(SideBySide, MarksTheRowsThatDiffer) {
  EXPECT_EQ(side_by_side({"one", "two"}, {"one", "TWO"}, 2),
            "  expected   actual\n"
            "  one        one\n"
            "  two      ≠ TWO\n");
}

TEST(SideBySide, KeepsEqualLinesInOneRow) {
  EXPECT_EQ(side_by_side({"one", "two", "three"}, {"two", "three", "four"}, 0),
            "expected   actual\n"
            "one      ≠ -\n"
            "two        two\n"
            "three      three\n"
            "-        ≠ four\n");
}

TEST(SideBySide, ShowsListsWithoutLines) {
  EXPECT_EQ(side_by_side({}, {"one"}, 0), "expected   actual\n-        ≠ one\n");
  EXPECT_EQ(side_by_side({}, {}, 0), "expected   actual\n-          -\n");
}

TEST(SideBySide, StandsBelowEachOtherWhereLinesAreLong) {
  const std::string wide(73, 'x');
  EXPECT_EQ(side_by_side({wide}, {}, 2), "  expected\n    " + wide + "\n  actual\n    -\n");
}

TEST(DisplayWidth, CountsChineseCharactersTwice) {
  EXPECT_EQ(display_width("motor1"), 6U);
  EXPECT_EQ(display_width("工具1伸出：ok"), 13U);
  EXPECT_EQ(display_width("≠ é"), 3U);
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
