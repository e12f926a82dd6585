// How late a claw move ends after an emergency stop, how late its waits end, and how long
// the stop itself takes, in real time: many moves run at once, each is stopped at a random
// moment. Prints percentiles next to those of a bare nanosleep, which tell how late the
// machine itself is.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <future>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bench/robot.hpp"

namespace vantrel_can_bridge::bench {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;
using std::chrono::milliseconds;

double microseconds_of(Clock::duration duration) {
  return std::chrono::duration<double, std::micro>(duration).count();
}

/// What was measured, in microseconds.
struct Samples {
  std::vector<double> stop_to_end;     // from on_emergency_active to the end of the move
  std::vector<double> past_bound;      // the same, less one poll interval and the last query
  std::vector<double> active;          // on_emergency_active itself, a move running
  std::vector<double> wait_overshoot;  // of a wait between two queries
  std::vector<double> bare_overshoot;  // of a bare nanosleep of the same length

  void add(const Samples& other) {
    const auto append = [](std::vector<double>& to, const std::vector<double>& from) {
      to.insert(to.end(), from.begin(), from.end());
    };
    append(stop_to_end, other.stop_to_end);
    append(past_bound, other.past_bound);
    append(active, other.active);
    append(wait_overshoot, other.wait_overshoot);
    append(bare_overshoot, other.bare_overshoot);
  }
};

/// A claw that never arrives, behind a bus that takes `kQueryTime` for an answer. Notes
/// when each operation began and ended. One move at a time.
class MovingClaw : public IBridgeGateway {
 public:
  struct Operation {
    Clock::time_point begin;
    Clock::time_point end;
  };

  /// Forgets the move before; the future is set when the new one has been sent.
  std::future<void> expect_move() {
    operations_.clear();
    sent_ = std::promise<void>();
    return sent_.get_future();
  }

  OperateResult operate(const std::string& /*board*/, const std::string& /*device*/,
                        const std::string& op,
                        const std::vector<std::uint8_t>& /*payload*/) override {
    const Clock::time_point begin = Clock::now();
    const bool is_query = op == "claw_query_state";
    if (is_query) {
      std::this_thread::sleep_for(kQueryTime);
    }
    operations_.push_back({begin, Clock::now()});
    if (!is_query) {
      sent_.set_value();
      return {true, {}, {}};
    }
    return {true, {1, 0}, {}};
  }

  [[nodiscard]] const std::vector<Operation>& operations() const { return operations_; }

 private:
  static constexpr microseconds kQueryTime{300};  // two frames, and a board that thinks

  std::vector<Operation> operations_;
  std::promise<void> sent_;
};

BottomCompatConfig config_with(milliseconds poll_interval) {
  Fittings fittings;
  fittings.claws = 1;
  BottomCompatConfig config = config_of(fittings);
  config.claw_poll_interval_ms = poll_interval.count();
  config.claw_retry_count = 1;  // more than one attempt: the stop itself is the reply
  config.claw_emergency_recovery = false;
  return config;
}

double bare_nanosleep_overshoot(milliseconds duration) {
  timespec request{};
  request.tv_nsec = static_cast<long>(duration.count()) * 1'000'000;
  const Clock::time_point begin = Clock::now();
  nanosleep(&request, nullptr);
  return microseconds_of(Clock::now() - begin - duration);
}

/// Moves the claw of one orchestrator `moves` times, one after the other, and stops each
/// move at a random moment of its first five poll intervals.
Samples stop_moves(int moves, milliseconds poll_interval, unsigned seed) {
  std::mt19937 random(seed);
  std::uniform_int_distribution<std::int64_t> moment(0, microseconds(5 * poll_interval).count());
  const auto claw = std::make_shared<MovingClaw>();
  BottomCompatOrchestrator orchestrator(claw, config_with(poll_interval), discard, discard,
                                        discard);
  Samples samples;
  for (int move = 0; move < moves; ++move) {
    std::future<void> sent = claw->expect_move();
    auto stopped = std::async(std::launch::async, [&, after = microseconds(moment(random))] {
      sent.wait();
      std::this_thread::sleep_for(after);
      const Clock::time_point begin = Clock::now();
      orchestrator.on_emergency_active();
      return std::pair(begin, Clock::now());
    });
    const BottomCompatReply reply = orchestrator.claw_execute(0, ClawState::Raised);
    const Clock::time_point end = Clock::now();
    const auto [stop_begin, stop_end] = stopped.get();
    orchestrator.on_emergency_recovered();
    if (reply.message != "tools_claw aborted: selfclean_board in emergency") {
      std::cerr << "stopping: a move ended by itself: " << reply.message << '\n';
      std::exit(EXIT_FAILURE);
    }

    const std::vector<MovingClaw::Operation>& operations = claw->operations();
    const MovingClaw::Operation& last = operations.back();
    const Clock::duration query = operations.size() > 1 ? last.end - last.begin : Clock::duration{};
    samples.stop_to_end.push_back(microseconds_of(end - stop_begin));
    samples.past_bound.push_back(microseconds_of(end - stop_begin - poll_interval - query));
    samples.active.push_back(microseconds_of(stop_end - stop_begin));
    for (std::size_t i = 1; i < operations.size(); ++i) {
      samples.wait_overshoot.push_back(
          microseconds_of(operations[i].begin - operations[i - 1].end - poll_interval));
      samples.bare_overshoot.push_back(bare_nanosleep_overshoot(poll_interval));
    }
  }
  return samples;
}

/// The smallest sample that `percent` of all do not exceed; sorts.
double percentile(std::vector<double>& samples, double percent) {
  std::sort(samples.begin(), samples.end());
  const auto rank =
      static_cast<std::size_t>(std::ceil(percent / 100.0 * static_cast<double>(samples.size())));
  return samples.at(std::max<std::size_t>(rank, 1) - 1);
}

void write_json(std::ostream& out, std::vector<std::pair<const char*, std::vector<double>>>& rows,
                milliseconds poll_interval) {
  out << "{\n  \"poll_interval_ms\": " << poll_interval.count() << ",\n  \"microseconds\": {";
  const char* separator = "\n";
  for (auto& [name, samples] : rows) {
    out << separator << "    \"" << name << "\": {\"samples\": " << samples.size();
    for (const double percent : {50.0, 90.0, 99.0, 99.9, 100.0}) {
      out << ", \"p" << percent << "\": " << percentile(samples, percent);
    }
    out << "}";
    separator = ",\n";
  }
  out << "\n  }\n}\n";
}

void print(std::vector<std::pair<const char*, std::vector<double>>>& rows) {
  std::printf("%-32s %8s %9s %9s %9s %9s %9s\n", "microseconds", "samples", "p50", "p90", "p99",
              "p99.9", "max");
  for (auto& [name, samples] : rows) {
    std::printf("%-32s %8zu", name, samples.size());
    for (const double percent : {50.0, 90.0, 99.0, 99.9, 100.0}) {
      std::printf(" %9.1f", percentile(samples, percent));
    }
    std::printf("\n");
  }
}

}  // namespace
}  // namespace vantrel_can_bridge::bench

int main(int argc, char** argv) {
  using namespace vantrel_can_bridge::bench;
  constexpr milliseconds kPollInterval{20};
  constexpr unsigned kSeed = 20'260'101;
  constexpr int kThreads = 16;
  const int moves = argc > 1 ? std::atoi(argv[1]) : 0;
  if (argc > 3 || moves < 1) {
    std::cerr << "usage: stopping MOVES [JSON-FILE]\n";
    return 2;
  }

  std::vector<std::future<Samples>> running;
  for (int i = 0; i < kThreads; ++i) {
    const int share = moves / kThreads + (i < moves % kThreads ? 1 : 0);
    running.push_back(std::async(std::launch::async, stop_moves, share, kPollInterval,
                                 kSeed + static_cast<unsigned>(i)));
  }
  Samples all;
  for (std::future<Samples>& samples : running) {
    all.add(samples.get());
  }

  std::vector<std::pair<const char*, std::vector<double>>> rows{
      {"stop to end of move", std::move(all.stop_to_end)},
      {"the same past its bound", std::move(all.past_bound)},
      {"on_emergency_active", std::move(all.active)},
      {"wait past its length", std::move(all.wait_overshoot)},
      {"bare nanosleep past its length", std::move(all.bare_overshoot)},
  };
  print(rows);
  if (argc == 3) {
    std::ofstream file(argv[2]);
    write_json(file, rows, kPollInterval);
    if (!file.flush()) {
      std::cerr << "stopping: cannot write " << argv[2] << '\n';
      return EXIT_FAILURE;
    }
  }
  return EXIT_SUCCESS;
}
