#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tests/simulation/case.hpp"
#include "tests/simulation/stage.hpp"

namespace vantrel_can_bridge::test::simulation {

/// What must be true of every record, whatever the model says.
class Invariants {
 public:
  explicit Invariants(const Case& script);

  /// Takes in what `step` did; says which invariant it broke, if any.
  std::optional<std::string> broken_by(const Step& step, const Record& record);

 private:
  using Broken = std::optional<std::string>;

  /// What is known of a claw from its confirmed status bytes.
  struct Claw {
    std::string device;
    bool unique = true;          // no other claw has its motor number
    std::string move;            // the last one that was sent
    std::int64_t confirmed = 0;  // 1 raised, 2 lowered, 0 neither so far
    bool certain = true;         // false: whether that was recorded is left open
    bool confirmed_now = false;  // in this step
  };

  Broken replies_agree(const Record& record) const;
  Broken operations_end(const Record& record) const;
  Broken stops_hold(const Step& step, const Record& record);
  Broken valves_guard_pumps(const Step& step, const Record& record) const;
  Broken one_claw_at_a_time(const Step& step, const Record& record) const;
  Broken states_are_confirmed(const Step& step, const Record& record);
  void follow_claws(const Step& step, const Record& record);
  void confirm(Claw& claw, const Entry& answer, bool discarded);
  Broken compare_states(const Step& step, const std::string& states) const;

  const Config& config_;
  std::vector<Claw> claws_;
  bool stopped_ = false;          // an emergency stop is active
  bool waits_disturbed_ = false;  // a wait was made to fail, so delays say nothing any more
};

}  // namespace vantrel_can_bridge::test::simulation
