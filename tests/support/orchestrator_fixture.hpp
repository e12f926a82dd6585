#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "compat/bottom_compat_orchestrator.hpp"
#include "tests/support/journal.hpp"
#include "tests/support/recording_gateway.hpp"

namespace vantrel_can_bridge::business_layer::bottom_compat {

// Shown by a failing comparison instead of raw bytes.
inline bool operator==(const BottomCompatReply& a, const BottomCompatReply& b) {
  return a.success == b.success && a.code == b.code && a.message == b.message;
}
inline void PrintTo(const BottomCompatReply& reply, std::ostream* out) {
  *out << (reply.success ? "success" : "failure") << " code " << reply.code << " \""
       << reply.message << '"';
}

}  // namespace vantrel_can_bridge::business_layer::bottom_compat

namespace vantrel_can_bridge::test {

using business_layer::bottom_compat::BottomCompatConfig;
using business_layer::bottom_compat::BottomCompatOrchestrator;
using business_layer::bottom_compat::BottomCompatReply;
using business_layer::bottom_compat::ClawState;
using business_layer::bottom_compat::LogCallback;
using Request = vantrel_protocol::srv::BottomInteractSrv_Request;
using Lines = std::vector<std::string>;

inline BottomCompatReply success(std::string message = {}) { return {true, 0, std::move(message)}; }
inline BottomCompatReply failure(std::string message) { return {false, 1, std::move(message)}; }

/// A robot in which no two values are alike, so that a mixed-up field shows.
inline BottomCompatConfig reference_config() {
  BottomCompatConfig config;
  config.bottom_board = "body";
  config.selfclean_board = "clean";
  config.aux_board = "aux";
  config.tools_clean_rpm_per_duty = 30;
  config.tools_clean_motor_slots = {5, 6, 7};
  config.aux_ids_a = {101};
  config.aux_ids_b = {102};
  config.clean_pump_channel = 1;
  config.dirty_pump_channel = 2;
  config.end_tool_pump_channel = 3;
  config.clean_pump_valves = {0, 1};
  config.dirty_pump_valves = {2, 3, 4};
  config.valve_switch_delay_ms = 200;
  config.wheel_lock_value = true;
  config.wheel_unlock_value = false;
  config.wheel_power_sub = 1;
  config.wheel_power_bit = 5;
  config.bump_unlock_sub = 2;
  config.bump_unlock_bit = 7;
  config.front_projection_sub = 3;
  config.front_projection_bit = 4;
  config.rear_projection_sub = 6;
  config.rear_projection_bit = 8;
  config.claw_enabled = true;
  config.claw_motor_ids = {11, 12, 13, 14};
  config.claw_poll_interval_ms = 50;
  config.claw_timeout_ms = 400;
  config.claw_retry_count = 2;
  config.claw_retry_backoff_ms = 300;
  config.claw_emergency_recovery = true;
  config.claw_recovery_budget_ms = 60'000;
  config.aux_value = 103;
  return config;
}

/// A callback that writes its lines into `journal` behind "`channel`: ".
inline LogCallback log_to(Journal& journal, std::string channel) {
  return [&journal, prefix = std::move(channel) + ": "](const std::string& line) {
    journal.add(prefix + line);
  };
}

/// An orchestrator over a recording gateway; one journal for calls and log lines. Change
/// `config` before the first use of `orchestrator()`.
class OrchestratorTest : public testing::Test {
 protected:
  BottomCompatOrchestrator& orchestrator() {
    if (!orchestrator_) {
      orchestrator_ = std::make_unique<BottomCompatOrchestrator>(
          gateway, config, log_to(journal, "debug"), log_to(journal, "info"),
          log_to(journal, "warn"));
    }
    return *orchestrator_;
  }

  Journal journal;
  std::shared_ptr<RecordingGateway> gateway = std::make_shared<RecordingGateway>(journal);
  BottomCompatConfig config = reference_config();

 private:
  std::unique_ptr<BottomCompatOrchestrator> orchestrator_;
};

}  // namespace vantrel_can_bridge::test
