// What a request costs between the service and the gateway: time, heap allocations and
// bytes, each for one device operation.

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "bench/peers.hpp"
#include "bench/robot.hpp"
#include "bench/texts.hpp"
#include "tests/support/heap_use.hpp"

namespace vantrel_can_bridge::bench {
namespace {

using test::heap_use;
using test::HeapUse;

/// Reports per device operation what the loop between construction and `report` took; per
/// iteration where nothing was sent.
class Cost {
 public:
  void report(benchmark::State& state) const {
    const HeapUse used = heap_use() - heap_at_start_;
    const std::uint64_t sent = InstantGateway::operations() - sent_at_start_;
    const auto per =
        sent == 0 ? static_cast<double>(state.iterations()) : static_cast<double>(sent);
    using benchmark::Counter;
    state.counters["operations"] = Counter(static_cast<double>(sent), Counter::kAvgIterations);
    state.counters["time/op"] = Counter(per, Counter::kIsRate | Counter::kInvert);
    state.counters["allocs/op"] =
        Counter(static_cast<double>(used.allocations) / per, Counter::kAvgThreads);
    state.counters["bytes/op"] =
        Counter(static_cast<double>(used.bytes) / per, Counter::kAvgThreads);
  }

 private:
  HeapUse heap_at_start_ = heap_use();
  std::uint64_t sent_at_start_ = InstantGateway::operations();
};

/// Sends `requests` in turn, over and over.
template <typename Orchestrator>
void send(benchmark::State& state, Orchestrator& orchestrator,
          const std::vector<Request>& requests) {
  const Cost cost;
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(orchestrator.handle(requests[next]));
    next = next + 1 == requests.size() ? 0 : next + 1;
  }
  cost.report(state);
}

// --- Every command ---

void register_commands() {
  for (const Command& command : commands()) {
    for (const bool callbacks : {true, false}) {
      benchmark::RegisterBenchmark(
          (std::string("command/") + command.name + (callbacks ? "/callbacks" : "/no_callbacks"))
              .c_str(),
          [&command, callbacks](benchmark::State& state) {
            const auto orchestrator = make_orchestrator({}, callbacks);
            send(state, *orchestrator, command.requests);
          });
    }
  }
}

// --- A whole request: ours, the peers, and what cannot be saved ---

template <typename Orchestrator, typename... NoMoreCallbacks>
void register_request(const std::string& name, const Request& request, NoMoreCallbacks... none) {
  benchmark::RegisterBenchmark(("request/" + name).c_str(), [=](benchmark::State& state) {
    Orchestrator orchestrator(std::make_shared<InstantGateway>(), config_of({}), discard, none...);
    send(state, orchestrator, {request});
  });
}

template <int Cmd>
void register_request_by_each(const std::string& name, const Request& request) {
  register_request<BottomCompatOrchestrator>(name + "/orchestrator", request, nullptr, nullptr);
  register_request<PeerOrchestrator<Copied<Cmd>>>(name + "/copied", request);
  register_request<PeerOrchestrator<Ours>>(name + "/ours", request);
  register_request<PeerOrchestrator<Absl>>(name + "/absl", request);
  register_request<PeerOrchestrator<Fmt>>(name + "/fmt", request);
  register_request<PeerOrchestrator<ToString>>(name + "/to_string", request);
  register_request<PeerOrchestrator<StringStreams>>(name + "/string_streams", request);
}

// --- Each text ---

template <typename Build>
void register_text(const std::string& name, Build build) {
  benchmark::RegisterBenchmark(("text/" + name).c_str(), [build](benchmark::State& state) {
    const Cost cost;
    for (auto _ : state) {
      benchmark::DoNotOptimize(build());
    }
    cost.report(state);
  });
}

template <typename Technology>
void register_texts_of(const std::string& technology) {
  using T = Texts<Technology>;
  const Request led = led_request();
  const Request pump = pump_request();
  const std::string label = T::led_label(led.left_rgb);
  const std::vector<std::uint8_t> payload =
      BottomCompatOrchestrator::encode_led(led.left_rgb, led.left_level, led.left_mode);
  register_text("dispatch/" + technology, [led] { return T::dispatch(led.cmd); });
  register_text("light_summary/" + technology, [led] { return T::light_summary(led); });
  register_text("led_label/" + technology, [led] { return T::led_label(led.left_rgb); });
  register_text("pump_summary/" + technology, [pump] { return T::pump_summary(3, pump); });
  register_text("pump_label/" + technology, [pump] { return T::pump_label(3, pump.pump_duty); });
  register_text("payload_to_hex/" + technology, [payload] { return T::hex(payload); });
  register_text(
      "operate_begin/" + technology,
      [label, payload, board = std::string("bottom_board"), device = std::string("left_light"),
       op = std::string("set_led")] { return T::begin(label, board, device, op, payload); });
  register_text("operate_end/" + technology, [label, message = std::string()] {
    std::string line;
    T::end(line, label, true, message);
    return line;
  });
}

// --- Two threads ---

/// One orchestrator for all threads of a benchmark.
BottomCompatOrchestrator& shared_orchestrator() {
  static const std::unique_ptr<BottomCompatOrchestrator> kOrchestrator =
      make_orchestrator({}, true);
  return *kOrchestrator;
}

/// Thread 0 sends pump requests; thread 1 sends `other`.
void register_threads(const char* name, int threads, const Request& other) {
  benchmark::RegisterBenchmark((std::string("threads/") + name).c_str(),
                               [other](benchmark::State& state) {
                                 send(state, shared_orchestrator(),
                                      {state.thread_index() == 0 ? pump_request() : other});
                               })
      ->Threads(threads)
      ->UseRealTime();
}

// --- More of each ---

void stop_all_motors(benchmark::State& state) {
  Fittings fittings;
  fittings.motors = static_cast<std::size_t>(state.range(0));
  const auto orchestrator = make_orchestrator(fittings, true);
  Request stop_all;
  stop_all.tools_select = 3;
  send(state, *orchestrator, {stop_all});
  state.SetComplexityN(state.range(0));
}

void open_and_close_valves(benchmark::State& state) {
  Fittings fittings;
  fittings.valves = static_cast<std::size_t>(state.range(0));
  const auto orchestrator = make_orchestrator(fittings, true);
  Request open;
  open.dirty_select = -1;  // every bit
  open.dirty_cmd = 1;
  open.dirty_duty = 70;
  Request close = open;
  close.dirty_duty = 0;
  send(state, *orchestrator, {open, close});
  state.SetComplexityN(state.range(0));
}

/// Each claw raised by a request's move and lowered by the recovery from a stop.
void raise_and_recover_claws(benchmark::State& state) {
  Fittings fittings;
  fittings.claws = static_cast<std::size_t>(state.range(0));
  const auto orchestrator = make_orchestrator(fittings, true);
  const Cost cost;
  for (auto _ : state) {
    for (std::size_t claw = 0; claw < fittings.claws; ++claw) {
      benchmark::DoNotOptimize(orchestrator->claw_execute(claw, ClawState::Raised));
    }
    orchestrator->on_emergency_active();
    orchestrator->on_emergency_recovered();
  }
  cost.report(state);
  state.SetComplexityN(state.range(0));
}

void register_growth(const char* name, void (*run)(benchmark::State&), int up_to) {
  benchmark::RegisterBenchmark(name, run)->RangeMultiplier(2)->Range(1, up_to)->Complexity(
      benchmark::oN);
}

void register_all() {
  register_commands();
  register_request_by_each<2>("led", led_request());
  register_request_by_each<13>("pump", pump_request());
  register_texts_of<Ours>("ours");
  register_texts_of<Absl>("absl");
  register_texts_of<Fmt>("fmt");
  register_texts_of<ToString>("to_string");
  register_texts_of<StringStreams>("string_streams");
  register_threads("one", 1, pump_request());
  register_threads("two_groups", 2, led_request());
  register_threads("same_group", 2, pump_request());
  register_growth("growth/motors", stop_all_motors, 64);
  register_growth("growth/claws", raise_and_recover_claws, 64);
  register_growth("growth/valves", open_and_close_valves, 8);
}

}  // namespace
}  // namespace vantrel_can_bridge::bench

int main(int argc, char** argv) {
  using namespace vantrel_can_bridge::bench;
  const std::string difference = difference_between_peers();
  if (!difference.empty()) {
    std::cerr << "benchmarks: not the same work: " << difference << '\n';
    return EXIT_FAILURE;
  }
  register_all();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return EXIT_FAILURE;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return EXIT_SUCCESS;
}
