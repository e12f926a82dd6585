#include "tests/simulation/stage.hpp"

#include <stdexcept>
#include <tuple>
#include <utility>

namespace vantrel_can_bridge::test::simulation {
namespace {

// A claw that is given 2^63 attempts has to end some time: then the gateway throws.
constexpr std::int64_t kMostCalls = 250;

const char* name(Kind kind) {
  switch (kind) {
    case Kind::Debug:
      return "debug";
    case Kind::Info:
      return "info";
    case Kind::Warn:
      return "warn";
    case Kind::Call:
      return "call";
    case Kind::Answer:
      return "answer";
    case Kind::Wait:
      return "wait";
    case Kind::Stop:
      return "emergency stop";
    case Kind::Clear:
      return "emergency clear";
    case Kind::Back:
      return "back";
    case Kind::Exception:
      return "exception";
    case Kind::Armed:
      return "next wait";
    case Kind::Reply:
      return "reply";
    case Kind::Result:
      return "result";
    case Kind::Claws:
      return "claws";
  }
  return "?";
}

auto fields(const Entry& e) {
  return std::tie(e.kind, e.text, e.device, e.op, e.bytes, e.success, e.number, e.depth, e.at);
}

/// A step that holds the claw's mutex while the gateway is called: on the same thread
/// nothing may wait for that mutex meanwhile.
bool moves_claws(const Step& step) {
  const std::string& operation = step.operation;
  return operation == "claw_execute" || operation == "on_emergency_recovered" ||
         operation == "handle_tools_claw" || operation == "handle_procter" ||
         (operation == "handle" && step.request.cmd == 0);
}

}  // namespace

bool operator==(const Entry& a, const Entry& b) { return fields(a) == fields(b); }

std::string show(const Entry& entry) {
  std::string out = std::string(static_cast<std::size_t>(entry.depth) * 2, ' ') + name(entry.kind);
  if (entry.kind == Kind::Answer || entry.kind == Kind::Reply) {
    out += entry.success ? " success" : " failure";
  }
  if (entry.kind == Kind::Reply || entry.kind == Kind::Result) {
    out += " " + std::to_string(entry.number);
  }
  out += ": " + entry.text;
  if (!entry.op.empty()) {
    out += " " + entry.device + " " + entry.op;
  }
  for (const std::uint8_t byte : entry.bytes) {
    out += " " + std::to_string(byte);
  }
  return out + (entry.kind == Kind::Wait ? "" : " @" + std::to_string(entry.at));
}

void Stage::begin(const Step& step) {
  step_ = &step;
  calls_ = waits_ = lines_ = 0;
}

Record Stage::finish() {
  collect_waits();
  return std::exchange(record_, {});
}

void Stage::push(Entry entry) {
  entry.depth = depth_;
  entry.at = entry.kind == Kind::Wait ? 0 : now();
  record_.push_back(std::move(entry));
}

void Stage::add(Entry entry) {
  collect_waits();
  push(std::move(entry));
}

void Stage::line(Kind channel, const std::string& text) {
  add({channel, text});
  happen(Place::Line, ++lines_);
}

void Stage::waited() {
  collect_waits();
  happen(Place::Wait, ++waits_);
}

OperateResult Stage::call(const std::string& board, const std::string& device,
                          const std::string& op, const Bytes& payload) {
  const std::int64_t number = ++calls_;
  add({Kind::Call, board, device, op, payload});
  if (op == "claw_extend" || op == "claw_home") {
    last_move_ = op;
  }
  if (number > kMostCalls) {
    add({Kind::Exception, "too many calls"});
    throw std::runtime_error("too many calls");
  }
  const Answer answer = next_answer();
  advance_ms(answer.latency_ms);
  happen(Place::Call, number);

  OperateResult result{answer.success, answer.data, answer.message};
  if (answer.confirms && op == "claw_query_state") {
    result.data = last_move_ == "claw_extend" ? Bytes{3, 2} : Bytes{4, 1};
  }
  add({Kind::Answer, result.message, device, op, result.data, result.success});
  return result;
}

Answer Stage::next_answer() const {
  const std::vector<Answer>& answers = step_->answers;
  const auto index = static_cast<std::size_t>(calls_ - 1);
  if (index < answers.size()) {
    return answers[index];
  }
  return step_->repeats && !answers.empty() ? answers.back() : Answer{};
}

void Stage::happen(Place where, std::int64_t number) {
  for (const Incident& incident : step_->incidents) {
    if (incident.where == where && incident.number == number) {
      happen(incident);
    }
  }
}

void Stage::happen(const Incident& incident) {
  switch (incident.what) {
    case Happening::Stop:
      return enter(Happening::Stop);
    case Happening::Clear:
      return may_clear() ? enter(Happening::Clear) : void();
    case Happening::Exception:
      if (incident.where != Place::Wait) {
        const char* what = incident.where == Place::Call ? "gateway gone" : "log full";
        add({Kind::Exception, what});
        throw std::runtime_error(what);
      }
      return;
    case Happening::Interrupt:
      add({Kind::Armed, "interrupted"});
      return interrupt_next_wait();
    case Happening::Failure:
      add({Kind::Armed, "fails"});
      return fail_next_wait();
  }
}

// The event comes from another thread, which takes its exceptions with it.
void Stage::enter(Happening what) {
  const bool clears = what == Happening::Clear;
  add({clears ? Kind::Clear : Kind::Stop});
  ++depth_;
  clearing_ += clears ? 1 : 0;
  std::string thrown;
  try {
    clears ? clear_stop() : raise_stop();
  } catch (const std::runtime_error& error) {
    thrown = error.what();
  }
  collect_waits();
  clearing_ -= clears ? 1 : 0;
  --depth_;
  add({Kind::Back, thrown});
}

bool Stage::may_clear() const {
  return !script_.config.claw_emergency_recovery || (!moves_claws(*step_) && clearing_ == 0);
}

}  // namespace vantrel_can_bridge::test::simulation
