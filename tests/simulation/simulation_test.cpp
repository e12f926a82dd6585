// Plays random lives of a robot on the orchestrator and on a model of it, see `play.hpp`.
//
//     simulation_test                             a short run, and the tests of the simulation
//     simulation_test --seed 7 --steps 1000000    from another seed, and longer
//     simulation_test --replay FILE               one case that a failing run has printed

#include <gtest/gtest.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/simulation/case_text.hpp"
#include "tests/simulation/generate.hpp"
#include "tests/simulation/play.hpp"
#include "tests/simulation/shrink.hpp"

namespace vantrel_can_bridge::test::simulation {
namespace {

struct Options {
  std::uint64_t seed = 1;
  std::uint64_t steps = 5'000;
  std::string replay;
};
Options options;  // NOLINT: read from the command line before the tests run

// --- A step that never ends ends the program ---

constexpr unsigned kLongestCaseSeconds = 30;  // one takes milliseconds
char hang_message[100];                       // NOLINT: a signal handler can look nowhere else

void report_hang(int) {
  static_cast<void>(!write(STDERR_FILENO, hang_message, std::strlen(hang_message)));
  _exit(EXIT_FAILURE);
}

/// Guards the playing of one case.
class Watchdog {
 public:
  explicit Watchdog(std::uint64_t seed) {
    std::snprintf(hang_message, sizeof hang_message, "A step never ended: --seed %llu --steps 1\n",
                  static_cast<unsigned long long>(seed));
    alarm(kLongestCaseSeconds);
  }
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;
  ~Watchdog() { alarm(0); }
};

std::string report(std::uint64_t seed, const Case& script, const Failure& failure) {
  const Case small = shrink(script, [seed](const Case& c) {
    const Watchdog watchdog(seed);
    return play(c).has_value();
  });
  std::ostringstream out;
  out << "Step " << failure.step + 1 << " of " << script.steps.size() << " fails.\nReplay: --seed "
      << seed << " --steps 1, or --replay a file with this shrunk case:\n\n"
      << to_text(small) << "\n"
      << play(small)->report;
  return out.str();
}

// --- The run ---

TEST(Simulation, AgreesWithItsModelAndKeepsItsInvariants) {
  std::uint64_t steps = 0;
  std::uint64_t cases = 0;
  for (; steps < options.steps; ++cases) {
    const std::uint64_t seed = options.seed + cases;
    const Watchdog watchdog(seed);
    const Case script = generate(seed);
    if (const auto failure = play(script)) {
      FAIL() << report(seed, script, *failure);
    }
    steps += script.steps.size();
  }
  std::cout << steps << " steps in " << cases << " cases from seed " << options.seed << "\n";
}

// What the cases are worth: the rare outcomes do come up.
TEST(Simulation, ReachesTheRareOutcomes) {
  std::set<std::string> missing = {
      "aborted: selfclean_board in emergency",
      "rejected: selfclean_board in emergency",
      "tools_claw idempotent: ",
      "attempt 2/3 failed",
      "attempt 2/9223372036854775808 failed",
      "timeout after ",
      "query result too short: bytes=1",
      "failed (action_state=6",
      "动作中 action_state=3 position_state=0",
      "need_lower=true",
      "need_lower=false",
      "recovered: no lower needed",
      "recovery raise failed",
      "recovery lower failed",
      "剩余电机保持待恢复",
      "恢复期间再次收到急停",
      "tools_claw disabled",
      "tools_claw select out of range",
      "unsupported tools_clean select: 4294967297",
      "tools_clean select out of range",
      "motor rpm=9223372036854775807",
      "motor rpm=-9223372036854775808",
      "pump channel out of range",
      "valve bit out of range",
      "unsupported valve select",
      "unsupported pump select",
      "pump valve group has no valid valve bits",
      "pump select has no valid valve bit",
      "valve_group close",
      "log full",
      "gateway gone",
      "unknown bottom command",
      "unsupported after bottom migration",
  };
  const Observer strike = [&missing](const Step&, const Record& record) {
    for (const Entry& entry : record) {
      for (auto text = missing.begin(); text != missing.end();) {
        text = entry.text.find(*text) != std::string::npos ? missing.erase(text) : std::next(text);
      }
    }
  };
  for (std::uint64_t seed = 1; seed < 2'000 && !missing.empty(); ++seed) {
    const Watchdog watchdog(seed);
    ASSERT_FALSE(play(generate(seed), {}, strike)) << "seed " << seed;
  }
  EXPECT_EQ(missing, std::set<std::string>{});
}

TEST(Simulation, EndsAClawThatHasEndlessAttempts) {
  const Watchdog watchdog(0);
  bool ended = false;
  const Observer look = [&ended](const Step&, const Record& record) {
    for (const Entry& entry : record) {
      ended = ended || entry.text == "passed on: too many calls";
    }
  };
  const Case script = from_text(
      "config claw_motor_ids=[11] claw_retry_count=9223372036854775807\n"
      "step claw_execute\n"
      "  arguments target=1\n"
      "  answer success=0\n"
      "  repeat\n");

  EXPECT_FALSE(play(script, {}, look));
  EXPECT_TRUE(ended);
}

// Virtual time must count a wait near the end of its range to the nanosecond, too.
TEST(Simulation, AgreesOnTheLongestWaitInterruptedTwice) {
  const Watchdog watchdog(0);
  const Case script = from_text(
      "config valve_switch_delay_ms=9223372036854775807 clean_pump_valves=[1]\n"
      "step operate_multiplex_pump\n"
      "  arguments select=1 cmd=1 duty=1 channel=1 valves=[1]\n"
      "  incident interrupt line 2\n"
      "  incident interrupt line 2\n");

  const auto failure = play(script);
  EXPECT_FALSE(failure) << failure->report;
}

// --- The simulation finds a fault, and says what it is ---

/// Looks at the orchestrator's locks from where one of them is held.
class ProbingGateway : public business_layer::IBridgeGateway {
 public:
  OperateResult operate(const std::string&, const std::string&, const std::string&,
                        const Bytes&) override {
    free.push_back(locks_are_free(*robot));
    return {false, {}, "refused"};
  }
  business_layer::bottom_compat::BottomCompatOrchestrator* robot = nullptr;
  std::vector<bool> free;
};

TEST(SimulationFault, OfALockThatIsHeldIsNoticed) {
  Config config;
  config.claw_motor_ids = {1};
  const auto gateway = std::make_shared<ProbingGateway>();
  business_layer::bottom_compat::BottomCompatOrchestrator robot(gateway, config, {}, {}, {});
  gateway->robot = &robot;

  EXPECT_FALSE(robot.handle_fill_light({}).success);
  EXPECT_FALSE(robot.handle_wheel_control({}).success);
  EXPECT_FALSE(robot.claw_execute(0, business_layer::bottom_compat::ClawState::Raised).success);

  EXPECT_EQ(gateway->free, (std::vector<bool>{false, false, false}));
  EXPECT_TRUE(locks_are_free(robot));
}

/// The expected texts, each `from` in them replaced by `to`.
Distortion replacing(std::string from, std::string to) {
  return [from = std::move(from), to = std::move(to)](Entry& entry) {
    if (const std::size_t at = entry.text.find(from); at != std::string::npos) {
      entry.text.replace(at, from.size(), to);
    }
  };
}

/// The first case that a planted fault makes fail, shrunk.
Case shrunk_case_of(const Distortion& fault) {
  for (std::uint64_t seed = 1; seed < 1'000; ++seed) {
    const Case script = generate(seed);
    if (play(script, fault)) {
      return shrink(script, [&fault](const Case& c) { return play(c, fault).has_value(); });
    }
  }
  ADD_FAILURE() << "no case notices the fault";
  return {};
}

TEST(SimulationFault, OfOneTextShrinksToOneStep) {
  const Case small = shrunk_case_of(replacing("mapped_value=lock", "mapped_value=locked"));

  ASSERT_EQ(small.steps.size(), 1U) << to_text(small);
  EXPECT_NE(small.steps[0].request.wheel_cmd, 0);
  EXPECT_TRUE(small.steps[0].answers.empty() && small.steps[0].incidents.empty());
  EXPECT_EQ(to_text({small.channels, small.config, {}}), "") << "the robot does not matter";
}

TEST(SimulationFault, KeepsWhatItNeedsOfStepsRobotAndFields) {
  const auto fails = [](const Case& c) {
    return c.steps.size() >= 2 && c.steps[1].operation == "handle" &&
           c.steps[1].request.pump_duty != 0 && c.config.claw_motor_ids.size() >= 3 &&
           !c.config.claw_enabled;
  };
  std::uint64_t seed = 1;
  while (!fails(generate(seed))) {
    ++seed;
  }

  const Case small = shrink(generate(seed), fails);

  EXPECT_EQ(small.steps.size(), 2U);
  EXPECT_EQ(small.config.claw_motor_ids.size(), 3U);
  Case rest = small;
  rest.config.claw_motor_ids.clear();
  rest.steps[1].request.pump_duty = 0;
  EXPECT_EQ(to_text(rest), "step " + small.steps[0].operation + "\nstep handle\n");
}

TEST(SimulationFault, ThatNeedsAStopDuringAMoveKeepsTheStop) {
  const Case small = shrunk_case_of(replacing("恢复期间", "恢复时"));

  const std::string text = to_text(small);
  EXPECT_NE(text.find("  incident stop "), std::string::npos) << text;
}

TEST(SimulationFault, InARecordedClawStateIsNoticed) {
  const Case small = shrunk_case_of([](Entry& entry) {
    if (entry.kind == Kind::Claws && entry.text.find('3') != std::string::npos) {
      entry.text[entry.text.find('3')] = '4';
    }
  });

  EXPECT_EQ(small.steps.size(), 1U) << to_text(small);
}

TEST(SimulationFault, ReplaysFromItsText) {
  const Distortion fault = replacing("动作中", "动作");
  const Case small = shrunk_case_of(fault);

  const Case replayed = from_text(to_text(small));

  EXPECT_EQ(to_text(replayed), to_text(small));
  ASSERT_TRUE(play(replayed, fault));
  EXPECT_EQ(play(replayed, fault)->report, play(small, fault)->report);
}

// --- Cases as text ---

TEST(CaseText, KeepsEveryCase) {
  for (std::uint64_t seed = 1; seed < 100; ++seed) {
    const std::string text = to_text(generate(seed));
    EXPECT_EQ(to_text(from_text(text)), text);
  }
}

TEST(CaseText, NamesTheLineThatItCannotRead) {
  const auto error = [](const std::string& text) -> std::string {
    try {
      from_text(text);
    } catch (const std::runtime_error& e) {
      return e.what();
    }
    return "read";
  };

  EXPECT_EQ(error("config claw_enabled=1\nconfig claw_count=2\n"), "line 2: no field claw_count");
  EXPECT_EQ(error("answer success=1\n"), "line 1: expected a step before answer");
  EXPECT_EQ(error("step handle\n  incident bang call 1\n"), "line 2: unknown word bang");
  EXPECT_EQ(error("step handle\n  incident stop\n"),
            "line 2: expected: incident WHAT WHERE NUMBER");
  EXPECT_EQ(error("config claw_motor_ids=[1\n"), "line 1: no end of the value of claw_motor_ids");
  EXPECT_EQ(error("config claw_enabled\n"), "line 1: expected name=value");
  EXPECT_EQ(error("robot\n"), "line 1: expected a step before robot");
}

// --- Command line ---

int usage(const std::string& problem) {
  std::cerr << "simulation_test: " << problem
            << "\nUsage: simulation_test [--seed N] [--steps N] | --replay FILE\n";
  return 2;
}

bool read_number(const char* text, std::uint64_t& number) {
  const char* end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, number);
  return error == std::errc{} && rest == end;
}

int read_options(int argc, char** argv) {
  for (int i = 1; i < argc; i += 2) {
    const std::string name = argv[i];
    if (i + 1 == argc) {
      return usage(name + " needs a value");
    }
    const char* value = argv[i + 1];
    if (name == "--replay") {
      options.replay = value;
    } else if (name != "--seed" && name != "--steps") {
      return usage("unknown option " + name);
    } else if (!read_number(value, name == "--seed" ? options.seed : options.steps)) {
      return usage(name + ": \"" + value + "\" is no number");
    }
  }
  return 0;
}

int replay(const std::string& file) {
  std::ifstream in(file);
  if (!in) {
    return usage("cannot read " + file);
  }
  std::ostringstream text;
  text << in.rdbuf();
  try {
    if (const auto failure = play(from_text(text.str()))) {
      std::cout << "Step " << failure->step + 1 << " fails.\n" << failure->report;
      return 1;
    }
  } catch (const std::runtime_error& error) {
    return usage(file + ": " + error.what());
  }
  std::cout << "Agrees with the model and keeps the invariants.\n";
  return 0;
}

}  // namespace
}  // namespace vantrel_can_bridge::test::simulation

int main(int argc, char** argv) {
  using namespace vantrel_can_bridge::test::simulation;
  testing::InitGoogleTest(&argc, argv);
  if (const int error = read_options(argc, argv); error != 0) {
    return error;
  }
  std::signal(SIGALRM, report_hang);
  return options.replay.empty() ? RUN_ALL_TESTS() : replay(options.replay);
}
