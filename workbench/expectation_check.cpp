#include "workbench/expectation_check.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "workbench/device_values.hpp"
#include "workbench/duration_text.hpp"
#include "workbench/step_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using Lines = std::vector<std::string>;

constexpr std::string_view kStatusQuery = "claw_query_state";

/// Thousandths of the number that `text` begins with; 0 where it begins with none.
std::int64_t leading_thousandths(const std::string& text) {
  std::int64_t number = 0;
  int decimals = -1;
  std::size_t at = text.compare(0, 1, "-") == 0 ? 1 : 0;
  for (; at < text.size() && decimals < 3; ++at) {
    if (text[at] == '.' && decimals < 0) {
      decimals = 0;
    } else if (text[at] >= '0' && text[at] <= '9') {
      number = number * 10 + (text[at] - '0');
      decimals += decimals < 0 ? 0 : 1;
    } else {
      break;
    }
  }
  for (decimals = std::max(decimals, 0); decimals < 3; ++decimals) {
    number *= 10;
  }
  return text.compare(0, 1, "-") == 0 ? -number : number;
}

/// Repeats of a line as one: "... x 12".
Lines folded(const std::vector<ExpectedOperation>& operations) {
  Lines lines;
  std::uint64_t times = 0;
  for (std::size_t index = 0; index < operations.size(); ++index) {
    const std::string text = operation_text(operations[index].operation);
    times += operations[index].times;
    const bool goes_on =
        index + 1 < operations.size() && operation_text(operations[index + 1].operation) == text;
    if (!goes_on) {
      lines.push_back(times == 1 ? text : fmt::format("{} x {}", text, times));
      times = 0;
    }
  }
  return lines;
}

bool holds(const ReplyExpectation& expected, const RequestOutcome* outcome) {
  if (outcome == nullptr) {
    return false;
  }
  if (expected.thrown || !outcome->thrown.empty()) {
    return expected.thrown == outcome->thrown;
  }
  return expected.success == outcome->reply.success &&
         (!expected.message || *expected.message == outcome->reply.message);
}

/// In two lines where the expectation has two: what, and with which text.
Lines reply_lines(const ReplyExpectation& expected, const RequestOutcome* outcome) {
  if (outcome == nullptr) {
    return {"no reply yet"};
  }
  if (!outcome->thrown.empty()) {
    return expected.thrown ? Lines{"throws", outcome->thrown} : Lines{"throws " + outcome->thrown};
  }
  const std::string what = outcome->reply.success ? "success" : "failure";
  const std::string& message = outcome->reply.message;
  if (expected.message) {
    return {what, "\"" + message + "\""};
  }
  return {message.empty() ? what : what + ": " + message};
}

Lines expected_reply_lines(const ReplyExpectation& expected) {
  if (expected.thrown) {
    return {"throws", *expected.thrown};
  }
  Lines lines = {expected.success ? "success" : "failure"};
  if (expected.message) {
    lines.push_back("\"" + *expected.message + "\"");
  }
  return lines;
}

std::string_view channel_name(LogChannel channel) {
  switch (channel) {
    case LogChannel::Debug:
      return "debug";
    case LogChannel::Info:
      return "info";
    case LogChannel::Warn:
      return "warn";
  }
  return {};
}

/// Whether `wanted` appears within `lines` in this order.
bool has_in_order(const Lines& lines, const Lines& wanted) {
  auto next = wanted.begin();
  for (const std::string& line : lines) {
    if (next != wanted.end() && line == *next) {
      ++next;
    }
  }
  return next == wanted.end();
}

class Checker {
 public:
  Checker(const std::string& file, StepRecord& record, Run& run)
      : file_(file), record_(record), run_(run) {}

  void check_reply(const At<ReplyExpectation>& at) {
    const RequestOutcome* const outcome = record_.outcome ? &*record_.outcome : nullptr;
    add(holds(at.expected, outcome), at.line, "reply", expected_reply_lines(at.expected),
        reply_lines(at.expected, outcome));
  }

  void check_operations(const At<std::vector<ExpectedOperation>>& at, bool queries_count) {
    std::vector<ExpectedOperation> seen;
    for (const Operation& operation : record_.operations) {
      if (queries_count || operation.op != kStatusQuery) {
        seen.push_back({operation, 1});
      }
    }
    Lines expected = folded(at.expected);
    Lines actual = folded(seen);
    const bool held = expected == actual;
    add(held, at.line, queries_count ? "operations" : "writes", std::move(expected),
        std::move(actual));
  }

  void check_log(const At<LogExpectation>& at) {
    Lines actual;
    for (const StepRecord::Line& line : record_.lines) {
      if (line.channel == at.expected.channel) {
        actual.push_back(line.text);
      }
    }
    const bool held = at.expected.is_whole ? actual == at.expected.lines
                                           : has_in_order(actual, at.expected.lines);
    add(held, at.line, fmt::format("log {}", channel_name(at.expected.channel)), at.expected.lines,
        std::move(actual));
  }

  void check_value(const At<ValueCondition>& at) {
    std::string actual;
    const bool held = holds(at.expected, run_, actual);
    add(held, at.line, "boards", {condition_text(at.expected)}, {at.expected.name + " " + actual});
  }

  void check_claw(const At<ClawExpectation>& at) {
    const auto state = run_.claw_state(at.expected.claw);
    record_.claws.push_back({at.expected.claw, at.expected.motor, state});
    const std::string claw = fmt::format("motor{} ", at.expected.motor);
    add(state == at.expected.state, at.line, "claws", {claw + claw_state_text(at.expected.state)},
        {claw + claw_state_text(state)});
  }

  std::vector<ExpectationChecked> take() { return std::move(checked_); }

 private:
  void add(bool held, std::uint64_t line, std::string subject, Lines expected, Lines actual) {
    if (held) {
      expected.clear();
      actual.clear();
    }
    checked_.push_back(
        {held, file_, line, std::move(subject), std::move(expected), std::move(actual)});
  }

  const std::string& file_;
  StepRecord& record_;
  Run& run_;
  std::vector<ExpectationChecked> checked_;
};

}  // namespace

std::vector<ExpectationChecked> check_expectations(const Expectations& expectations,
                                                   const std::string& file, StepRecord& record,
                                                   Run& run) {
  Checker checker(file, record, run);
  if (expectations.reply) {
    checker.check_reply(*expectations.reply);
  }
  if (expectations.operations) {
    checker.check_operations(*expectations.operations, true);
  }
  if (expectations.writes) {
    checker.check_operations(*expectations.writes, false);
  }
  for (const auto& log : expectations.logs) {
    checker.check_log(log);
  }
  for (const auto& value : expectations.boards) {
    checker.check_value(value);
  }
  for (const auto& claw : expectations.claws) {
    checker.check_claw(claw);
  }
  return checker.take();
}

bool holds(const ValueCondition& condition, Run& run, std::string& actual) {
  const std::vector<DeviceValue> values = device_values(run.boards().snapshot(), run.robot());
  const auto found = std::find_if(values.begin(), values.end(), [&](const DeviceValue& value) {
    return value.name == condition.name;
  });
  // A power bit that was never written rests at its power-on value.
  actual = found == values.end() ? "off" : found->text;
  switch (condition.comparison) {
    case ValueCondition::Comparison::Equal:
      return actual == condition.text;
    case ValueCondition::Comparison::AtLeast:
      return leading_thousandths(actual) >= condition.number;
    case ValueCondition::Comparison::AtMost:
      return leading_thousandths(actual) <= condition.number;
  }
  return false;
}

}  // namespace vantrel_can_bridge::workbench
