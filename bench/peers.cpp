#include "bench/peers.hpp"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace vantrel_can_bridge::bench {

template <int Which>
struct Texts<Copied<Which>> {
  static std::string dispatch(std::int32_t cmd) {
    static const std::string kText = Texts<Ours>::dispatch(cmd);
    return kText;
  }
  static std::string light_summary(const Request& request) {
    static const std::string kText = Texts<Ours>::light_summary(request);
    return kText;
  }
  static std::string led_label(std::uint32_t rgb) {
    static const std::string kText = Texts<Ours>::led_label(rgb);
    return kText;
  }
  static std::string pump_summary(std::int64_t channel, const Request& request) {
    static const std::string kText = Texts<Ours>::pump_summary(channel, request);
    return kText;
  }
  static std::string pump_label(std::int64_t channel, std::int32_t target) {
    static const std::string kText = Texts<Ours>::pump_label(channel, target);
    return kText;
  }
  static std::string begin(const std::string& label, const std::string& board,
                           const std::string& device, const std::string& op,
                           const std::vector<std::uint8_t>& payload) {
    static const std::string kText = Texts<Ours>::begin(label, board, device, op, payload);
    return kText;
  }
  static void end(std::string& line, const std::string& label, bool success,
                  const std::string& message) {
    static const std::string kText = [&] {
      std::string text;
      Texts<Ours>::end(text, label, success, message);
      return text;
    }();
    line = kText;
  }
};

template <typename Technology>
PeerOrchestrator<Technology>::PeerOrchestrator(std::shared_ptr<IBridgeGateway> gateway,
                                               BottomCompatConfig config, LogCallback debug)
    : gateway_(std::move(gateway)), config_(std::move(config)), debug_(std::move(debug)) {}

template <typename Technology>
BottomCompatReply PeerOrchestrator<Technology>::handle(const Request& request) {
  debug_log(Texts<Technology>::dispatch(request.cmd));
  return request.cmd == 2 ? handle_operate_light(request) : handle_end_tool_pump(request);
}

template <typename Technology>
BottomCompatReply PeerOrchestrator<Technology>::handle_operate_light(const Request& request) {
  const std::lock_guard<std::mutex> lock(light_mutex_);
  debug_log(Texts<Technology>::light_summary(request));
  struct Group {
    const char* device;
    std::uint32_t rgb;
    std::int32_t level;
    std::uint32_t mode;
  };
  const Group groups[] = {
      {"left_light", request.bottom_rgb, request.bottom_level, request.bottom_mode},
      {"right_light", request.bottom_rgb, request.bottom_level, request.bottom_mode},
      {"left_light", request.left_rgb, request.left_level, request.left_mode},
      {"right_light", request.right_rgb, request.right_level, request.right_mode},
  };
  for (const Group& group : groups) {
    if (group.rgb == 0) {
      continue;
    }
    BottomCompatReply reply = operate_led(group.device, group.rgb, group.level, group.mode);
    if (!reply.success) {
      return reply;
    }
  }
  return {true, 0, {}};
}

template <typename Technology>
BottomCompatReply PeerOrchestrator<Technology>::operate_led(const std::string& device,
                                                            std::uint32_t rgb, std::int32_t level,
                                                            std::uint32_t mode) {
  const OperateResult result = operate_gateway(
      config_.bottom_board, device, "set_led",
      BottomCompatOrchestrator::encode_led(rgb, level, mode), Texts<Technology>::led_label(rgb));
  return {result.success, result.success ? 0 : 1, result.message};
}

template <typename Technology>
BottomCompatReply PeerOrchestrator<Technology>::handle_end_tool_pump(const Request& request) {
  const std::lock_guard<std::mutex> lock(actuator_mutex_);
  const std::int64_t channel = config_.end_tool_pump_channel;
  debug_log(Texts<Technology>::pump_summary(channel, request));
  if (channel < 1 || channel > 5) {
    return {false, 1, "pump channel out of range"};
  }
  const bool on = BottomCompatOrchestrator::command_is_on(request.pump_cmd, request.pump_duty);
  const std::int32_t target = on ? std::min(request.pump_duty, 100) : 0;
  const OperateResult result =
      operate_gateway(config_.selfclean_board, "pump", "set_duty",
                      {static_cast<std::uint8_t>(channel), static_cast<std::uint8_t>(target), 0},
                      Texts<Technology>::pump_label(channel, target));
  return {result.success, result.success ? 0 : 1, result.message};
}

template <typename Technology>
OperateResult PeerOrchestrator<Technology>::operate_gateway(
    const std::string& board, const std::string& device, const std::string& op,
    const std::vector<std::uint8_t>& payload, const std::string& label) {
  std::string line = Texts<Technology>::begin(label, board, device, op, payload);
  debug_log(line);
  OperateResult result = gateway_->operate(board, device, op, payload);
  Texts<Technology>::end(line, label, result.success, result.message);
  debug_log(line);
  return result;
}

template <typename Technology>
void PeerOrchestrator<Technology>::debug_log(const std::string& line) const {
  if (debug_) {
    debug_(line);
  }
}

template class PeerOrchestrator<Ours>;
template class PeerOrchestrator<StringStreams>;
template class PeerOrchestrator<Fmt>;
template class PeerOrchestrator<Absl>;
template class PeerOrchestrator<ToString>;
template class PeerOrchestrator<Copied<2>>;
template class PeerOrchestrator<Copied<13>>;

// --- The same lines, the same bytes ---

namespace {

using Record = std::vector<std::string>;

/// Writes what reaches it into a record, and answers as it was told.
class RecordingGateway : public IBridgeGateway {
 public:
  RecordingGateway(Record& record, OperateResult answer)
      : record_(record), answer_(std::move(answer)) {}

  OperateResult operate(const std::string& board, const std::string& device, const std::string& op,
                        const std::vector<std::uint8_t>& payload) override {
    record_.push_back("gateway: " + board + " " + device + " " + op);
    for (const std::uint8_t byte : payload) {
      record_.back() += " " + std::to_string(byte);
    }
    return answer_;
  }

 private:
  Record& record_;
  const OperateResult answer_;
};

/// What a request leads to: lines, operations and the reply, in their order.
template <typename Orchestrator, typename... NoMoreCallbacks>
Record record_of(const Request& request, const OperateResult& answer, NoMoreCallbacks... none) {
  Record record;
  Orchestrator orchestrator(
      std::make_shared<RecordingGateway>(record, answer), config_of({}),
      [&record](const std::string& line) { record.push_back("debug: " + line); }, none...);
  const BottomCompatReply reply = orchestrator.handle(request);
  record.push_back("reply: " + std::to_string(reply.success) + " " + std::to_string(reply.code) +
                   " " + reply.message);
  return record;
}

std::string first_difference(const std::string& peer, const Record& expected,
                             const Record& actual) {
  const auto [theirs, ours] =
      std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end());
  if (theirs == actual.end() && ours == expected.end()) {
    return {};
  }
  return peer + ": \"" + (theirs == actual.end() ? "" : *theirs) + "\" instead of \"" +
         (ours == expected.end() ? "" : *ours) + "\"";
}

std::vector<Request> compared_requests() {
  constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
  Request no_led;
  no_led.cmd = 2;
  Request every_led = led_request();
  every_led.bottom_rgb = 1;
  every_led.right_rgb = std::numeric_limits<std::uint32_t>::max();
  every_led.right_level = kLowest;
  Request pump_off = pump_request();
  pump_off.pump_duty = kLowest;
  return {led_request(), no_led, every_led, pump_request(), pump_off};
}

}  // namespace

std::string difference_between_peers() {
  for (const OperateResult& answer :
       {OperateResult{true, {}, {}}, OperateResult{false, {}, "no acknowledgement within 50 ms"}}) {
    for (const Request& request : compared_requests()) {
      const Record expected =
          record_of<BottomCompatOrchestrator>(request, answer, nullptr, nullptr);
      const std::pair<const char*, Record> peers[] = {
          {"ours", record_of<PeerOrchestrator<Ours>>(request, answer)},
          {"string streams", record_of<PeerOrchestrator<StringStreams>>(request, answer)},
          {"fmt", record_of<PeerOrchestrator<Fmt>>(request, answer)},
          {"absl", record_of<PeerOrchestrator<Absl>>(request, answer)},
          {"to_string", record_of<PeerOrchestrator<ToString>>(request, answer)},
      };
      for (const auto& [name, actual] : peers) {
        std::string difference = first_difference(name, expected, actual);
        if (!difference.empty()) {
          return difference;
        }
      }
    }
  }
  return {};
}

}  // namespace vantrel_can_bridge::bench
