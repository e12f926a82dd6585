#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {

/// The operation never reaches its device and fails with `message`.
struct Refuse {
  std::string message;
};

/// The operation takes longer by `by`.
struct Slow {
  std::chrono::nanoseconds by{0};
};

/// The device does it, but the answer is lost: it fails with `message`.
struct DoneButFailed {
  std::string message;
};

/// It is answered as done, without data, and never reaches its device.
struct AnsweredButNotDone {};

/// The device does it, and the answer's bytes are these instead of its own.
struct Answer {
  Bytes data;
};

/// A claw takes its move and stands still part-way for ever, reporting that it moves; where
/// it is there already or beyond, it does not move at all. Matches claw moves ("claw_extend",
/// "claw_home") alone.
struct StickMove {
  std::int64_t at_permille = 500;  ///< of the whole way, counted from the end that it leaves
};

/// A claw takes its move, gives up half-way to its target, and reports the failure in its
/// status. Matches claw moves ("claw_extend", "claw_home") alone.
struct FailMove {};

/// The operation never reaches its device, and the gateway throws `std::runtime_error`.
struct Throw {
  std::string message;
};

using FaultEffect = std::variant<Refuse, Slow, DoneButFailed, AnsweredButNotDone, Answer, StickMove,
                                 FailMove, Throw>;

/// For people: "refused: no answer", "slower by 300 ms".
[[nodiscard]] std::string fault_text(const FaultEffect& effect);

/// What is to go wrong, and how often. Each name is compared as it stands; "*" stands for
/// any.
struct FaultRule {
  static constexpr std::uint64_t kUntilCleared = std::numeric_limits<std::uint64_t>::max();

  std::string board = "*";
  std::string device = "*";
  std::string op = "*";
  std::uint64_t times = 1;  ///< operations that it hits, then the rule is over
  FaultEffect effect;
  std::uint64_t skip = 0;    ///< operations that match and are let through first
  double probability = 1.0;  ///< with which a match that is not skipped is hit
  std::string name{};        ///< to clear it by; may be empty
  bool is_lasting = false;   ///< whether it stays when all rules are cleared

  /// Whether the rule is about this operation, however often it has hit.
  [[nodiscard]] bool matches(std::string_view of_board, std::string_view of_device,
                             std::string_view of_op) const;
};

/// Rules in force, the oldest first. Not locked: belongs to one owner.
class FaultRules {
 public:
  /// Chance, where a rule leaves something to it, is the same for the same seed.
  explicit FaultRules(std::uint64_t seed = 0) : chance_(seed) {}

  void add(FaultRule rule);
  /// All but the lasting ones.
  void clear();
  /// Those of that name.
  void clear(std::string_view name);

  /// Uses up one hit of the first rule that hits. Every rule before it that matches sees
  /// the operation pass. The effect stands until the next call of a member; null where no
  /// rule hits.
  [[nodiscard]] const FaultEffect* hit(const Operation& operation);

  /// Hits that are left in all rules; stops at the end of its range.
  [[nodiscard]] std::uint64_t pending() const;

 private:
  [[nodiscard]] bool is_hit(FaultRule& rule, const Operation& operation);
  [[nodiscard]] double draw();

  std::vector<FaultRule> rules_;
  std::uint64_t chance_;  // state of the generator
};

}  // namespace vantrel_can_bridge::workbench
