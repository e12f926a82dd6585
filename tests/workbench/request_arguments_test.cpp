#include "workbench/request_arguments.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace vantrel_can_bridge::workbench {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(RequestArguments, FillTheirFields) {
  std::vector<std::string> errors;
  const auto request =
      parse_request({"pump_cmd=-2147483648", "cmd=handle_pump", "rgb=4294967295"}, errors);
  ASSERT_TRUE(request.has_value());
  EXPECT_THAT(errors, IsEmpty());
  EXPECT_EQ(request_arguments(*request), "cmd=13 pump_cmd=-2147483648 rgb=4294967295");
}

TEST(RequestArguments, AreAllCheckedInOneGo) {
  std::vector<std::string> errors;
  EXPECT_FALSE(parse_request(
      {"pump_duti=1", "pump_cmd=1x", "pump_cmd=1", "rgb=-1", "x", "wheel_cmd="}, errors));
  EXPECT_THAT(errors, ElementsAre("no field \"pump_duti\"; did you mean pump_duty?",
                                  "pump_cmd: found \"1x\"; expected an integer from -2147483648 to "
                                  "2147483647",
                                  "pump_cmd: given twice",
                                  "rgb: found \"-1\"; expected an integer from 0 to 4294967295, "
                                  "or 0x and 1 to 8 hexadecimal digits",
                                  "found \"x\"; expected FIELD=VALUE",
                                  "wheel_cmd: found \"\"; expected an integer from -2147483648 to "
                                  "2147483647",
                                  "cmd is missing; expected cmd=NUMBER or cmd=NAME"));
}

TEST(RequestArguments, TakeColoursInHexadecimal) {
  std::vector<std::string> errors;
  const auto request = parse_request(
      {"cmd=2", "left_rgb=0xFf8000", "right_rgb=0xffffffff", "rgb=0x0", "rear_rgb=16744448"},
      errors);
  ASSERT_TRUE(request.has_value());
  EXPECT_EQ(request_arguments(*request),
            "cmd=2 left_rgb=16744448 right_rgb=4294967295 rear_rgb=16744448");
}

TEST(RequestArguments, RefuseWhatIsNoColour) {
  for (const char* text :
       {"0x", "0x123456789", "0x00000000f", "0xfg", "0Xff", "-0xff", " 0xff", "0xff ", "ff", "x"}) {
    std::vector<std::string> errors;
    EXPECT_FALSE(parse_request({"cmd=2", std::string("rgb=") + text}, errors)) << text;
    EXPECT_THAT(errors, ElementsAre("rgb: found \"" + std::string(text) +
                                    "\"; expected an integer from 0 to 4294967295, or 0x and 1 "
                                    "to 8 hexadecimal digits"));
  }
  for (const std::string text : {"ff8000", "#ff8000"}) {
    std::vector<std::string> errors;
    EXPECT_FALSE(parse_request({"cmd=2", "rgb=" + text}, errors)) << text;
    EXPECT_THAT(errors, ElementsAre(testing::EndsWith("; did you mean 0xff8000?")));
  }
  std::vector<std::string> errors;
  EXPECT_FALSE(parse_request({"cmd=2", "left_level=0x10"}, errors));
  EXPECT_THAT(errors, ElementsAre("left_level: found \"0x10\"; expected an integer from "
                                  "-2147483648 to 2147483647"));
}

TEST(RequestArguments, TakeCommandsByName) {
  std::vector<std::string> errors;
  EXPECT_FALSE(parse_request({"cmd=pump"}, errors));
  EXPECT_THAT(errors, ElementsAre("cmd: found \"pump\"; expected an integer from -2147483648 to "
                                  "2147483647, or a command's name"));
  EXPECT_EQ(parse_request({"cmd=procter"}, errors)->cmd, 0);
}

TEST(RequestFields, CoverTheWholeRecord) {
  EXPECT_EQ(request_fields().size() * sizeof(std::int32_t), sizeof(Request));
  Request request;
  for (const RequestField& field : request_fields()) {
    EXPECT_EQ(field.get(request), 0) << field.name;
    field.set(request, field.max());
    EXPECT_EQ(field.get(request), field.max()) << field.name;
    field.set(request, field.min());
    EXPECT_EQ(field.get(request), field.min()) << field.name;
    field.set(request, 0);
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench
