#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

/// The operation never reaches its device and fails with `message`.
struct Refuse {
  std::string message;
};

/// A claw takes its move, gives up half-way to its target, and reports the failure in its
/// status. Matches claw moves ("claw_extend", "claw_home") alone.
struct FailMove {};

using FaultEffect = std::variant<Refuse, FailMove>;

/// What is to go wrong, and how often. Each name is compared as it stands; "*" stands for
/// any.
struct FaultRule {
  std::string board = "*";
  std::string device = "*";
  std::string op = "*";
  std::uint64_t times = 1;  ///< the next operations that match, then the rule is over
  FaultEffect effect;
};

/// Rules in force, the oldest first. Not locked: belongs to one owner.
class FaultRules {
 public:
  void add(FaultRule rule);

  /// Uses up one hit of the first rule that matches. The effect stands until the next
  /// call of a member; null where no rule matches.
  [[nodiscard]] const FaultEffect* hit(const Operation& operation);

  /// Hits that are left in all rules; stops at the end of its range.
  [[nodiscard]] std::uint64_t pending() const;

 private:
  std::vector<FaultRule> rules_;
};

}  // namespace vantrel_can_bridge::workbench
