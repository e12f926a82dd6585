#include <gtest/gtest.h>

#include "tests/support/run_program.hpp"

namespace vantrel_can_bridge::test {
namespace {

TEST(MinimalService, AnswersItsRequest) {
  const ProgramRun service = run_program(MINIMAL_SERVICE, {});

  EXPECT_EQ(service.exit_code, 0);
  EXPECT_EQ(service.err, "");
  EXPECT_EQ(service.out,
            "log: dispatch cmd=9\n"
            "log: CMD_FILL_LIGHT: rgb=80\n"
            "log: operate begin: fill_light brightness=80 board=bottom_board device=fill_light "
            "op=set_brightness payload=[0x50 0x00]\n"
            "gateway: bottom_board fill_light set_brightness [0x50 0x00]\n"
            "log: operate end: fill_light brightness=80 success=true message=acknowledged\n"
            "reply: success, code 0, acknowledged\n");
}

TEST(BusService, RecoversAfterAStop) {
  const ProgramRun service = run_program(BUS_SERVICE, {});

  EXPECT_EQ(service.exit_code, 0);
  EXPECT_EQ(service.err, "");
  EXPECT_EQ(service.out,
            "cmd 7: bottom_board power_control set_bit: no answer in 20 ms\n"
            "收到爪子控制请求 工具1 伸出 cmd=1 duty=0\n"
            "工具1伸出成功\n"
            "cmd 0: success\n"
            "收到爪子控制请求 工具1 伸出 cmd=1 duty=0\n"
            "cmd 0: tools_claw rejected: selfclean_board in emergency\n"
            "after the recovery: lowered\n");
}

}  // namespace
}  // namespace vantrel_can_bridge::test
