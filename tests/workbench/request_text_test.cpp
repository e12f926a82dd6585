#include "workbench/request_text.hpp"

#include <gtest/gtest.h>

namespace vantrel_can_bridge::workbench::test {
namespace {

using Request = vantrel_protocol::srv::BottomInteractSrv_Request;

/// Every field another value, so that a mix-up shows.
Request full_request(std::int32_t cmd) {
  Request request;
  request.cmd = cmd;
  request.tools_cmd = 1;
  request.tools_duty = 2;
  request.tools_select = 3;
  request.tools_claw_cmd = 4;
  request.tools_claw_duty = 5;
  request.tools_claw_select = -6;
  request.pump_cmd = 7;
  request.pump_duty = 8;
  request.clean_cmd = 9;
  request.clean_duty = 10;
  request.clean_select = 11;
  request.dirty_cmd = 12;
  request.dirty_duty = 13;
  request.dirty_select = 14;
  request.bottom_rgb = 0x1000;
  request.bottom_level = 15;
  request.bottom_mode = 16;
  request.left_rgb = 0x2000;
  request.left_level = 17;
  request.left_mode = 18;
  request.right_rgb = 0xFFFFFFFF;
  request.right_level = 19;
  request.right_mode = 4294967295U;
  request.rgb = 101;
  request.front_rgb = 100;
  request.rear_rgb = 0x4000;
  request.wheel_cmd = -20;
  return request;
}

TEST(RequestText, NamesTheCommandAndTheFieldsThatItReads) {
  EXPECT_EQ(request_text(full_request(0)),
            "cmd 0  procter  tools_cmd=1 tools_duty=2 tools_select=3 clean_cmd=9 clean_duty=10 "
            "clean_select=11 dirty_cmd=12 dirty_duty=13 dirty_select=14 tools_claw_cmd=4 "
            "tools_claw_duty=5 tools_claw_select=-6");
  EXPECT_EQ(request_text(full_request(2)),
            "cmd 2  side lights  bottom_rgb=0x001000 bottom_level=15 bottom_mode=16 "
            "left_rgb=0x002000 left_level=17 left_mode=18 right_rgb=0xffffffff right_level=19 "
            "right_mode=4294967295");
  EXPECT_EQ(request_text(full_request(7)), "cmd 7  bump unlock");
  EXPECT_EQ(request_text(full_request(8)), "cmd 8  wheel control  wheel_cmd=-20");
  EXPECT_EQ(request_text(full_request(9)), "cmd 9  fill light  rgb=0x000065");
  EXPECT_EQ(request_text(full_request(11)), "cmd 11  fill light  rgb=0x000065");
  EXPECT_EQ(request_text(full_request(13)), "cmd 13  end-tool pump  pump_cmd=7 pump_duty=8");
  EXPECT_EQ(request_text(full_request(14)),
            "cmd 14  projection light  front_rgb=100 rear_rgb=0x004000");
}

TEST(RequestText, NamesRetiredAndUnknownCommandsAlone) {
  for (const std::int32_t cmd : {3, 4, 5, 6, 10, 12}) {
    EXPECT_EQ(request_text(full_request(cmd)), "cmd " + std::to_string(cmd) + "  retired");
  }
  for (const std::int32_t cmd : {-3, 1, 15}) {
    EXPECT_EQ(request_text(full_request(cmd)), "cmd " + std::to_string(cmd) + "  unknown");
  }
}

TEST(RequestText, LeavesZerosOutOfGroupsOnly) {
  const auto empty = [](std::int32_t cmd) {
    Request request;
    request.cmd = cmd;
    return request_text(request);
  };
  EXPECT_EQ(empty(0), "cmd 0  procter");
  EXPECT_EQ(empty(2), "cmd 2  side lights");
  EXPECT_EQ(empty(8), "cmd 8  wheel control  wheel_cmd=0");
  EXPECT_EQ(empty(9), "cmd 9  fill light  rgb=0");
  EXPECT_EQ(empty(13), "cmd 13  end-tool pump  pump_cmd=0 pump_duty=0");
  EXPECT_EQ(empty(14), "cmd 14  projection light  front_rgb=0 rear_rgb=0");
}

}  // namespace
}  // namespace vantrel_can_bridge::workbench::test
