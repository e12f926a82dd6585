#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "compat/bottom_compat_config.hpp"
#include "workbench/event.hpp"
#include "workbench/sweep.hpp"

namespace vantrel_can_bridge::workbench {

/// Looks for broken rules in the record of one run, see `sweep`.
class SweepWatch final : public IEventSink {
 public:
  explicit SweepWatch(const business_layer::bottom_compat::BottomCompatConfig& config);

  void on_event(const Event& event) override;

  /// Ends the watch and fills in what was seen.
  void report(SweepRun& run);

 private:
  struct Value {
    std::int64_t number = 0;
    std::string text;
  };

  void add_group(std::int64_t channel, const std::vector<std::int64_t>& valves);

  template <typename Body>
  void see(const Body&) {}
  void see(const RequestBegun& begun);
  void see(const RequestEnded& ended) { end(ended.request, ended.thrown); }
  void see(const RecoveryBegun& begun);
  void see(const RecoveryEnded& ended) { end(ended.recovery, ended.thrown); }
  void see(const EmergencyRaised&);
  void see(const EmergencyCleared&) { is_stopped_ = false; }
  void see(const OperationBegun& begun);
  void see(const OperationEnded& ended);
  void see(const DeviceStateChanged& change);

  void end(ActivityId id, const std::string& thrown);
  void break_rule(const std::string& rule);
  static std::string value_name(const DeviceStateChanged& change);
  static bool is_at_rest(const std::string& name, const Value& value);

  std::map<std::string, std::vector<std::string>> valves_of_;  // of the pumps behind some
  std::chrono::nanoseconds time_{0};
  std::map<ActivityId, std::string> open_;                     // what has begun and not ended
  std::map<ActivityId, std::chrono::nanoseconds> stopped_at_;  // of it, by the first stop
  std::map<ActivityId, std::string> thrown_;  // by the gateway, in the last operation of each
  bool is_stopped_ = false;
  std::optional<std::chrono::nanoseconds> ended_after_;
  std::map<std::string, Value> values_;  // that ever changed, by name
  std::vector<std::string> broken_;
};

}  // namespace vantrel_can_bridge::workbench
