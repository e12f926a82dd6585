// The orders that nobody thought of: small plays run in every order of their actors'
// events that takes the turn from an actor in mid-job at most so often, and what must hold
// in any order is looked at after each step.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/interleavings/stage.hpp"
#include "tests/interleavings/staged_robot.hpp"

namespace vantrel_can_bridge::test {
namespace {

/// Goes through every sequence of choices, one a run: the first options first, then back
/// from the last choice that has an option left.
class Choices {
 public:
  /// The option to take at the next point of this run, below `options`.
  std::size_t choose(std::size_t options) {
    if (depth_ == taken_.size()) {
      taken_.push_back({0, options});
    }
    return taken_[depth_++].first;
  }

  /// Sets up the next run; false when all have been.
  bool next_run() {
    depth_ = 0;
    while (!taken_.empty() && taken_.back().first + 1 == taken_.back().second) {
      taken_.pop_back();
    }
    if (taken_.empty()) {
      return false;
    }
    ++taken_.back().first;
    return true;
  }

 private:
  std::vector<std::pair<std::size_t, std::size_t>> taken_;  // option taken, options there
  std::size_t depth_ = 0;
};

/// One play: its actors and what they do. "stop" and "clear" are what their names say.
using Cast = std::vector<std::pair<std::string, Stage::Job>>;

/// Runs one play in the order that `choices` gives, and looks at what must hold.
class Performance {
 public:
  Performance(Stage& stage, const Cast& cast, Choices& choices, int interruptions)
      : stage_(stage), choices_(choices), interruptions_(interruptions) {
    for (const auto& [name, job] : cast) {
      stage_.begin(name, job);
      playing_.push_back(name);
    }
  }

  void to_the_end() {
    while (!playing_.empty()) {
      const std::vector<std::string> candidates = who_may_go_on();
      ASSERT_FALSE(candidates.empty()) << "everyone waits for a lock";
      turn(candidates[choices_.choose(candidates.size())]);
      if (testing::Test::HasFailure()) {
        return;
      }
    }
  }

 private:
  /// Whoever has the turn comes first; where he can go on, taking the turn from him is an
  /// interruption. An actor that waits for a lock cannot go on before another has ended.
  std::vector<std::string> who_may_go_on() const {
    std::vector<std::string> candidates;
    const bool current_can = is_free(current_);
    if (current_can) {
      candidates.push_back(current_);
    }
    if (!current_can || interruptions_ > 0) {
      std::copy_if(playing_.begin(), playing_.end(), std::back_inserter(candidates),
                   [this](const auto& name) { return name != current_ && is_free(name); });
    }
    return candidates;
  }

  bool is_free(const std::string& name) const {
    return std::find(playing_.begin(), playing_.end(), name) != playing_.end() &&
           waiting_.count(name) == 0;
  }

  void turn(const std::string& name) {
    if (name != current_ && is_free(current_)) {
      --interruptions_;
    }
    current_ = name;
    if (name == "clear") {
      stopped_ = false;
    }
    const std::string event = stage_.go_on(name);
    if (event.find("emergency active") != std::string::npos) {
      stopped_ = true;
      operations_since_stop_ = 0;
    }
    if (event == "waits for a lock") {
      waiting_.insert(name);
    } else if (!stage_.is_playing(name)) {
      waiting_.clear();
      playing_.erase(std::find(playing_.begin(), playing_.end(), name));
    }
    look_at(name, event);
  }

  void look_at(const std::string& name, const std::string& event) {
    if (event.find(" claw_") == std::string::npos || event.compare(0, 8, "gateway:") != 0) {
      in_gateway_.erase(name);
      return;
    }
    in_gateway_.insert(name);
    EXPECT_EQ(in_gateway_.size(), 1U) << "two claw operations in flight";
    if (stopped_) {
      ++operations_since_stop_;
      EXPECT_LE(operations_since_stop_, 1) << "more than the operation that was under way";
    }
  }

  Stage& stage_;
  Choices& choices_;
  int interruptions_;  // left
  std::vector<std::string> playing_;
  std::string current_;
  std::set<std::string> waiting_;     // for a lock, since nobody has ended
  std::set<std::string> in_gateway_;  // with a claw operation
  bool stopped_ = false;
  int operations_since_stop_ = 0;
};

class EveryOrder : public testing::Test {
 protected:
  /// Plays `cast(robot)` in every order with at most `interruptions`, to which the
  /// environment's VANTREL_MORE_INTERRUPTIONS adds for a longer search. After each, a stop
  /// that clears undisturbed must find all locks free and bring the claw down.
  template <typename MakeCast>
  void play(int interruptions, const MakeCast& cast) {
    if (const char* more = std::getenv("VANTREL_MORE_INTERRUPTIONS")) {
      interruptions += std::atoi(more);
    }
    Choices choices;
    do {
      StagedRobot robot;
      Stage stage;
      Performance(stage, cast(robot), choices, interruptions).to_the_end();
      if (!HasFailure()) {
        Stage afterwards;
        afterwards.play({{"stop", robot.stops(), "ends"}, {"clear", robot.clears(), "ends"}});
        EXPECT_EQ(robot.orchestrator().claw_state(0), ClawState::Lowered);
      }
      replies_.insert(last_reply(stage.journal(), "move"));
      ++runs_;
      ASSERT_FALSE(HasFailure()) << "in run " << runs_ << ":\n"
                                 << testing::PrintToString(stage.journal());
    } while (choices.next_run());
    RecordProperty("runs", runs_);
  }

  int runs_ = 0;
  std::set<std::string> replies_;  // of the actor "move"

 private:
  static std::string last_reply(const Lines& journal, const std::string& actor) {
    const std::string prefix = actor + ": ends ";
    for (const std::string& line : journal) {
      if (line.compare(0, prefix.size(), prefix) == 0) {
        return line.substr(prefix.size());
      }
    }
    return {};
  }
};

const std::string kRejected = "failure: tools_claw rejected: selfclean_board in emergency";
const std::string kAborted = "failure: tools_claw aborted: selfclean_board in emergency";

TEST_F(EveryOrder, OfAMoveAStopAndItsClearing) {
  play(3, [](StagedRobot& robot) {
    return Cast{{"move", robot.raises()}, {"stop", robot.stops()}, {"clear", robot.clears()}};
  });

  EXPECT_EQ(replies_, (std::set<std::string>{"success", kRejected, kAborted}));
  EXPECT_GT(runs_, 500);
}

TEST_F(EveryOrder, OfTwoMovesAndAStop) {
  play(2, [](StagedRobot& robot) {
    return Cast{{"move", robot.raises()}, {"stop", robot.stops()}, {"other", robot.lowers()}};
  });

  EXPECT_EQ(replies_, (std::set<std::string>{"success", kRejected, kAborted}));
  EXPECT_GT(runs_, 100);
}

TEST_F(EveryOrder, OfARecoveryAMoveASecondStopAndAReader) {
  play(1, [](StagedRobot& robot) {
    robot.orchestrator().on_emergency_active();
    return Cast{{"clear", robot.clears()},
                {"stop", robot.stops()},
                {"move", robot.raises()},
                {"ask", robot.asks()}};
  });

  EXPECT_EQ(replies_, (std::set<std::string>{"success", kRejected, kAborted}));
  EXPECT_GT(runs_, 500);
}

TEST_F(EveryOrder, OfAProcterRequestAnActuatorRequestAStopAndItsClearing) {
  Request claw_up;
  claw_up.tools_claw_cmd = 1;
  claw_up.tools_claw_select = 1;
  Request wheels;
  wheels.cmd = 8;
  play(1, [&](StagedRobot& robot) {
    return Cast{{"move", robot.requests(claw_up)},
                {"wheels", robot.requests(wheels)},
                {"stop", robot.stops()},
                {"clear", robot.clears()}};
  });

  EXPECT_EQ(replies_, (std::set<std::string>{"success", kRejected, kAborted}));
  EXPECT_GT(runs_, 500);
}

}  // namespace
}  // namespace vantrel_can_bridge::test
