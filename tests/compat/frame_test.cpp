#include <gtest/gtest.h>

#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {
namespace {

class Dispatch : public OrchestratorTest {};

TEST_F(Dispatch, AnswersARetiredCodeWithoutADeviceOperation) {
  Request request;
  request.cmd = 12;

  EXPECT_EQ(orchestrator().handle(request), failure("cmd 12 unsupported after bottom migration"));
  EXPECT_EQ(journal.take(),
            (Lines{"debug: dispatch cmd=12",
                   "debug: unsupported cmd=12 reason=unsupported after bottom migration"}));
}

}  // namespace
}  // namespace vantrel_can_bridge::test
