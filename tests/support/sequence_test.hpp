#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/expected_record.hpp"
#include "tests/support/orchestrator_fixture.hpp"
#include "tests/support/virtual_time.hpp"

namespace vantrel_can_bridge::test {

/// The reply of a sequence in which every operation succeeded, given the message of the last
/// one: `message_dropped`, `message_passed_on`, or `refused`.
using ExpectedReply = std::function<BottomCompatReply(const std::string& last_message)>;

inline BottomCompatReply message_dropped(const std::string&) { return success(); }
inline BottomCompatReply message_passed_on(const std::string& last_message) {
  return success(last_message);
}
inline ExpectedReply refused(std::string message) {
  return [reply = failure(std::move(message))](const std::string&) { return reply; };
}

/// One thing that an orchestrator is asked to do, and everything that it then does, on the
/// robot of `reference_config` after `configure`.
struct Sequence {
  const char* name;
  std::function<BottomCompatReply(BottomCompatOrchestrator&)> act;
  Steps steps;
  ExpectedReply reply = message_dropped;
  std::function<void(BottomCompatConfig&)> configure = [](BottomCompatConfig&) {};
};
inline void PrintTo(const Sequence& sequence, std::ostream* out) { *out << sequence.name; }

inline std::string sequence_name(const testing::TestParamInfo<Sequence>& info) {
  return info.param.name;
}

/// The checks that hold for every sequence. Time is virtual: waits stand in the journal.
class SequenceTest : public OrchestratorTest, public testing::WithParamInterface<Sequence> {
 protected:
  void SetUp() override { GetParam().configure(config); }

  /// Every operation answers with bytes and a message of its own: the bytes are ignored,
  /// and of the messages at most the last one is in the reply.
  void expect_every_step_in_order() {
    const Sequence& sequence = GetParam();
    ASSERT_GT(count_operations(sequence.steps), 0U);
    std::vector<OperateResult> results;
    for (std::size_t i = 0; i < count_operations(sequence.steps); ++i) {
      results.push_back({true, {0xDE, 0xAD}, "done " + std::to_string(i)});
    }
    answer_with(results);

    const BottomCompatReply reply = sequence.act(orchestrator());

    EXPECT_EQ(reply, sequence.reply(results.back().message));
    EXPECT_EQ(journal.take(), record(sequence.steps, results));
    EXPECT_EQ(gateway->unused_answers(), 0U);
  }

  /// There is no operation in the sequence, and none is sent.
  void expect_lines_alone() {
    const Sequence& sequence = GetParam();
    ASSERT_EQ(count_operations(sequence.steps), 0U);

    EXPECT_EQ(sequence.act(orchestrator()), sequence.reply(""));
    EXPECT_EQ(journal.take(), record(sequence.steps));
  }

  /// Whichever operation fails, it is the last one, and its message is the reply. One
  /// orchestrator serves all rounds: a failure leaves nothing behind.
  void expect_end_at_whichever_operation_fails() {
    const Sequence& sequence = GetParam();
    ASSERT_GT(count_operations(sequence.steps), 0U);
    for (std::size_t n = 0; n < count_operations(sequence.steps); ++n) {
      SCOPED_TRACE("operation " + std::to_string(n) + " fails");
      std::vector<OperateResult> results(n, OperateResult{true, {}, "done"});
      results.push_back({false, {0xBE, 0xEF}, "refused " + std::to_string(n)});
      answer_with(results);

      const BottomCompatReply reply = sequence.act(orchestrator());

      EXPECT_EQ(reply, failure(results.back().message));
      EXPECT_EQ(journal.take(), record(sequence.steps, results));
      EXPECT_EQ(gateway->unused_answers(), 0U);
    }
  }

  /// Whichever operation throws, it is the last one, the exception arrives as it is, and
  /// the same request works again afterwards.
  void expect_gateway_exceptions_to_pass() {
    const Sequence& sequence = GetParam();
    ASSERT_GT(count_operations(sequence.steps), 0U);
    for (std::size_t n = 0; n < count_operations(sequence.steps); ++n) {
      SCOPED_TRACE("operation " + std::to_string(n) + " throws");
      answer_with(std::vector<OperateResult>(n, OperateResult{true, {}, {}}));
      gateway->then(
          [](const Operation&) -> OperateResult { throw std::out_of_range("bus is off"); });

      expect_thrown(sequence.act);

      EXPECT_EQ(journal.take(), record_until_throw(sequence.steps, n));
      EXPECT_EQ(sequence.act(orchestrator()), sequence.reply(""));
      EXPECT_EQ(journal.take(), record(sequence.steps));
    }
  }

  void answer_with(const std::vector<OperateResult>& results) {
    for (const OperateResult& result : results) {
      gateway->then([result](const Operation&) { return result; });
    }
  }

  VirtualTime time{journal};

 private:
  void expect_thrown(const std::function<BottomCompatReply(BottomCompatOrchestrator&)>& act) {
    try {
      const BottomCompatReply reply = act(orchestrator());
      ADD_FAILURE() << "returned " << testing::PrintToString(reply);
    } catch (const std::out_of_range& error) {
      EXPECT_STREQ(error.what(), "bus is off");
    }
  }
};

}  // namespace vantrel_can_bridge::test
