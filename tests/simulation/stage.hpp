#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gateway/operate_result.hpp"
#include "tests/simulation/case.hpp"

namespace vantrel_can_bridge::test::simulation {

enum class Kind {
  Debug,
  Info,
  Warn,
  Call,       ///< text: board
  Answer,     ///< of the call before it; text: message
  Wait,       ///< text: its length
  Stop,       ///< the emergency stop is raised in the middle of a step ...
  Clear,      ///< ... or cleared
  Back,       ///< the step goes on after either
  Exception,  ///< thrown by the gateway or a callback; text: what
  Armed,      ///< the next wait is to be disturbed; text: how
  Reply,      ///< number: code; text: message
  Result,     ///< what an operation without a reply returned
  Claws,      ///< all recorded claw states, after the step
};

/// One thing that was seen. Fields that a kind does not use are empty.
struct Entry {
  Kind kind = Kind::Debug;
  std::string text = {};
  std::string device = {};
  std::string op = {};
  Bytes bytes = {};
  bool success = false;
  std::int64_t number = 0;
  int depth = 0;        ///< how many stops and clears are being handled
  std::int64_t at = 0;  ///< the monotonic clock, nanoseconds; not kept for waits
};

bool operator==(const Entry& a, const Entry& b);

/// One line for people.
std::string show(const Entry& entry);

using Record = std::vector<Entry>;

/// The world around one orchestrator, real or model: plays the script of each step (the
/// gateway's answers, the incidents) and records what happens.
class Stage {
 public:
  explicit Stage(const Case& script) : script_(script) {}
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;
  virtual ~Stage() = default;

  /// From now on the script of `step` is played, from its beginning.
  void begin(const Step& step);
  /// What happened since `begin`.
  [[nodiscard]] Record finish();

  void line(Kind channel, const std::string& text);
  OperateResult call(const std::string& board, const std::string& device, const std::string& op,
                     const Bytes& payload);
  void add(Entry entry);

 protected:
  /// Records what happens right now. Waits are recorded before anything that follows them.
  void push(Entry entry);
  /// At the end of a wait that was neither cut short nor failed.
  void waited();

 private:
  /// Enter the orchestrator as the bus's thread would.
  virtual void raise_stop() = 0;
  virtual void clear_stop() = 0;

  virtual void advance_ms(std::int64_t duration) = 0;
  virtual void interrupt_next_wait() = 0;
  virtual void fail_next_wait() = 0;
  [[nodiscard]] virtual std::int64_t now() const = 0;
  /// Pushes the waits since the last call; a model records its waits itself.
  virtual void collect_waits() {}

  void happen(Place where, std::int64_t number);
  void happen(const Incident& incident);
  void enter(Happening what);
  [[nodiscard]] bool may_clear() const;
  [[nodiscard]] Answer next_answer() const;

  const Case& script_;
  const Step* step_ = nullptr;
  Record record_;
  std::int64_t calls_ = 0;
  std::int64_t waits_ = 0;
  std::int64_t lines_ = 0;
  int depth_ = 0;
  int clearing_ = 0;
  std::string last_move_;
};

/// How long a wait has gone on each time that it is interrupted: so short that every wait
/// outlasts all the interruptions that can add up before it.
constexpr std::int64_t kInterruptAfterNs = 1'000;

}  // namespace vantrel_can_bridge::test::simulation
