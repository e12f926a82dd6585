#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "gateway/operate_result.hpp"
#include "tests/support/orchestrator_fixture.hpp"

namespace vantrel_can_bridge::test {

/// A device operation that a test expects, `payload` written as the log shows bytes.
struct ExpectedOperation {
  std::string board;
  std::string device;
  std::string op;
  std::string payload;
  std::string label;
};

/// One step of an expected record: a line of the journal as it stands, or an operation with
/// the log lines around it.
using Step = std::variant<std::string, ExpectedOperation>;
using Steps = std::vector<Step>;

/// One list after the other: steps, or lines.
template <typename Entry>
std::vector<Entry> operator+(std::vector<Entry> first, const std::vector<Entry>& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

/// An operation on the body board of `reference_config`.
inline Step on_body(std::string device, std::string op, std::string payload, std::string label) {
  return ExpectedOperation{"body", std::move(device), std::move(op), std::move(payload),
                           std::move(label)};
}

/// An operation on the self-cleaning board of `reference_config`.
inline Step on_clean(std::string device, std::string op, std::string payload, std::string label) {
  return ExpectedOperation{"clean", std::move(device), std::move(op), std::move(payload),
                           std::move(label)};
}

inline std::size_t count_operations(const Steps& steps) {
  std::size_t count = 0;
  for (const Step& step : steps) {
    count += std::holds_alternative<ExpectedOperation>(step) ? 1U : 0U;
  }
  return count;
}

inline std::string begin_line(const ExpectedOperation& expected) {
  return "debug: operate begin: " + expected.label + " board=" + expected.board +
         " device=" + expected.device + " op=" + expected.op + " payload=" + expected.payload;
}

inline std::string gateway_line(const ExpectedOperation& expected) {
  return "gateway: " + expected.board + " " + expected.device + " " + expected.op + " " +
         expected.payload;
}

inline std::string end_line(const ExpectedOperation& expected, const OperateResult& result) {
  return "debug: operate end: " + expected.label +
         " success=" + (result.success ? "true" : "false") + " message=" + result.message;
}

/// The journal of `steps` when the gateway answers `results` in this order, and success
/// without a message after them. It ends with the first operation that fails.
inline Lines record(const Steps& steps, const std::vector<OperateResult>& results = {}) {
  Lines lines;
  std::size_t answered = 0;
  for (const Step& step : steps) {
    if (const auto* line = std::get_if<std::string>(&step)) {
      lines.push_back(*line);
      continue;
    }
    const auto& expected = std::get<ExpectedOperation>(step);
    const OperateResult result =
        answered < results.size() ? results[answered] : OperateResult{true, {}, {}};
    ++answered;
    lines.insert(lines.end(),
                 {begin_line(expected), gateway_line(expected), end_line(expected, result)});
    if (!result.success) {
      break;
    }
  }
  return lines;
}

/// The journal of `steps` when the gateway throws in operation `n`: it ends with that call.
inline Lines record_until_throw(const Steps& steps, std::size_t n) {
  std::vector<OperateResult> results(n, OperateResult{true, {}, {}});
  results.push_back({false, {}, {}});
  Lines lines = record(steps, results);
  lines.pop_back();
  return lines;
}

}  // namespace vantrel_can_bridge::test
