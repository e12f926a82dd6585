#pragma once

#include <cstdint>
#include <cstdio>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "gateway/i_bridge_gateway.hpp"
#include "tests/support/journal.hpp"

namespace vantrel_can_bridge::test {

/// One device operation as the gateway saw it.
struct Operation {
  std::string board;
  std::string device;
  std::string op;
  std::vector<std::uint8_t> payload;
};

/// A gateway that writes each call into a journal and answers by script: the answers
/// queued with `then...` in their order, after them `otherwise` (success, no data, no
/// message, unless a test replaces it).
///
/// Calls may come from several threads. An answer runs without the gateway's own lock, so
/// it may block, throw, move virtual time, or raise an emergency stop.
class RecordingGateway : public business_layer::IBridgeGateway {
 public:
  using Answer = std::function<OperateResult(const Operation&)>;

  explicit RecordingGateway(Journal& journal) : journal_(journal) {}

  /// Queues the answer to the next call that has none yet.
  void then(Answer answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    script_.push_back(std::move(answer));
  }
  void then_succeed(std::string message = {}) {
    then([message = std::move(message)](const Operation&) {
      return OperateResult{true, {}, message};
    });
  }
  void then_fail(std::string message) {
    then([message = std::move(message)](const Operation&) {
      return OperateResult{false, {}, message};
    });
  }
  void then_data(std::vector<std::uint8_t> data) {
    then([data = std::move(data)](const Operation&) { return OperateResult{true, data, {}}; });
  }

  /// Answers every call for which nothing is queued.
  void otherwise(Answer answer) {
    const std::lock_guard<std::mutex> lock(mutex_);
    otherwise_ = std::move(answer);
  }

  /// Answers that were queued and not used; a finished test expects none.
  [[nodiscard]] std::size_t unused_answers() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return script_.size();
  }

  /// Forgets the answers that are still queued, where a test cut the calls short.
  void drop_answers() {
    const std::lock_guard<std::mutex> lock(mutex_);
    script_.clear();
  }

  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    journal_.add("gateway: " + board + " " + device + " " + op + " " + hex(payload));
    return next_answer()(Operation{board, device, op, payload});
  }

 private:
  // The tests' own rendering, independent of the one under test.
  static std::string hex(const std::vector<std::uint8_t>& bytes) {
    std::string out = "[";
    for (const std::uint8_t byte : bytes) {
      char item[8];
      std::snprintf(item, sizeof item, "%s0x%02x", out.size() > 1 ? " " : "", byte);
      out += item;
    }
    return out + "]";
  }

  Answer next_answer() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (script_.empty()) {
      return otherwise_;
    }
    Answer answer = std::move(script_.front());
    script_.pop_front();
    return answer;
  }

  Journal& journal_;
  mutable std::mutex mutex_;
  std::deque<Answer> script_;
  Answer otherwise_ = [](const Operation&) { return OperateResult{true, {}, {}}; };
};

}  // namespace vantrel_can_bridge::test
