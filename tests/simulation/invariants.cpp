#include "tests/simulation/invariants.hpp"

#include <algorithm>
#include <limits>

namespace vantrel_can_bridge::test::simulation {
namespace {

bool starts_with(const std::string& text, const std::string& start) {
  return text.compare(0, start.size(), start) == 0;
}

bool moves_claw(const Entry& entry) { return entry.op == "claw_extend" || entry.op == "claw_home"; }
bool is_claw_call(const Entry& entry) {
  return entry.kind == Kind::Call && (moves_claw(entry) || entry.op == "claw_query_state");
}
bool threw(const Record& record) {
  return std::any_of(record.begin(), record.end(),
                     [](const Entry& entry) { return entry.kind == Kind::Exception; });
}

/// Called without the claw's mutex, at the caller's own risk.
bool is_unlocked_claw_step(const Step& step) {
  return step.operation == "claw_try_once" || step.operation == "claw_query";
}

/// A recovery ends on a stop without recording what the move came to.
bool is_recovery(const Step& step, const Entry& entry) {
  return entry.depth > 0 || step.operation == "on_emergency_recovered";
}

std::int64_t later(std::int64_t at, std::int64_t delay_ms) {
  const std::int64_t end = std::numeric_limits<std::int64_t>::max();
  return delay_ms > (end - at) / 1'000'000 ? end : at + delay_ms * 1'000'000;
}

}  // namespace

Invariants::Invariants(const Case& script) : config_(script.config) {
  for (const std::int64_t id : config_.claw_motor_ids) {
    Claw claw;
    claw.device = "motor" + std::to_string(id);
    claw.unique = std::count(config_.claw_motor_ids.begin(), config_.claw_motor_ids.end(), id) == 1;
    claws_.push_back(claw);
  }
}

std::optional<std::string> Invariants::broken_by(const Step& step, const Record& record) {
  for (const Entry& entry : record) {
    waits_disturbed_ = waits_disturbed_ || (entry.kind == Kind::Armed && entry.text == "fails");
  }
  if (auto broken = states_are_confirmed(step, record)) return broken;
  if (auto broken = stops_hold(step, record)) return broken;
  if (auto broken = replies_agree(record)) return broken;
  if (auto broken = operations_end(record)) return broken;
  if (auto broken = valves_guard_pumps(step, record)) return broken;
  return one_claw_at_a_time(step, record);
}

// A reply has code 0 with success and code 1 with failure.
Invariants::Broken Invariants::replies_agree(const Record& record) const {
  for (const Entry& entry : record) {
    if (entry.kind == Kind::Reply && entry.number != (entry.success ? 0 : 1)) {
      return "a reply has code 0 exactly with success";
    }
  }
  return {};
}

// Every "operate begin: " has its "operate end: " with the same label, unless the gateway
// or a callback threw.
Invariants::Broken Invariants::operations_end(const Record& record) const {
  const std::string begin = "operate begin: ";
  const std::string end = "operate end: ";
  std::vector<Entry> open;
  for (const Entry& entry : record) {
    if (entry.kind == Kind::Back && !entry.text.empty()) {
      while (!open.empty() && open.back().depth > entry.depth) {
        open.pop_back();
      }
    }
    if (entry.kind == Kind::Debug && starts_with(entry.text, begin)) {
      open.push_back(entry);
    }
    if (entry.kind == Kind::Debug && starts_with(entry.text, end)) {
      if (open.empty() || open.back().depth != entry.depth) {
        return "every \"operate end\" has its \"operate begin\"";
      }
      const std::string& line = open.back().text;
      const std::string label = line.substr(begin.size(), line.find(" board=") - begin.size());
      if (!starts_with(entry.text, end + label + " success=")) {
        return "an \"operate end\" has the label of its \"operate begin\"";
      }
      open.pop_back();
    }
  }
  if (!open.empty() && !threw(record)) {
    return "every \"operate begin\" has its \"operate end\"";
  }
  return {};
}

// After a stop no claw move is sent until it clears, but for one that was already on its
// way when the stop came. A single attempt called directly does not look before it sends.
Invariants::Broken Invariants::stops_hold(const Step& step, const Record& record) {
  if (step.operation == "on_emergency_active") stopped_ = true;
  if (step.operation == "on_emergency_recovered") stopped_ = false;
  bool on_its_way = false;
  bool excused = false;
  for (const Entry& entry : record) {
    if (entry.kind == Kind::Debug && starts_with(entry.text, "operate begin: tools_claw claw_")) {
      on_its_way = true;
    } else if (entry.kind == Kind::Stop) {
      stopped_ = true;
      excused = on_its_way;
    } else if (entry.kind == Kind::Clear) {
      stopped_ = false;
    } else if (entry.kind == Kind::Call && moves_claw(entry)) {
      const bool direct = step.operation == "claw_try_once" && entry.depth == 0;
      if (stopped_ && !excused && !direct) {
        return "no claw moves after a stop until it clears";
      }
      on_its_way = excused = false;
    }
  }
  return {};
}

// A multiplex pump starts only right after its valves were opened and their delay has
// passed; its valves close only right after it was stopped and the delay has passed.
Invariants::Broken Invariants::valves_guard_pumps(const Step& step, const Record& record) const {
  const std::string& operation = step.operation;
  if (operation != "operate_multiplex_pump" && operation != "handle_procter" &&
      !(operation == "handle" && step.request.cmd == 0)) {
    return {};
  }
  Bytes payload;
  Entry before;  // the answer before, with the payload that it answers
  Bytes before_payload;
  for (const Entry& entry : record) {
    if (entry.depth > 0) {
      continue;
    }
    if (entry.kind == Kind::Answer) {
      before = entry;
      before_payload = payload;
    }
    if (entry.kind != Kind::Call) {
      continue;
    }
    payload = entry.bytes;
    const bool settled = waits_disturbed_ || config_.valve_switch_delay_ms <= 0 ||
                         entry.at >= later(before.at, config_.valve_switch_delay_ms);
    if (entry.op == "set_duty" && payload[1] > 0) {
      if (before.op != "set_valves" || !before.success || before_payload[1] == 0) {
        return "a pump starts only after its valves are open";
      }
      if (!settled) return "a pump starts only once its valves have settled";
    }
    if (entry.op == "set_valves" && payload[1] == 0) {
      if (before.op != "set_duty" || !before.success || before_payload[1] != 0) {
        return "valves close only after their pump has stopped";
      }
      if (!settled) return "valves close only once their pump has run down";
    }
  }
  return {};
}

// One claw operation is in flight at a time, and the claw that is asked for its state is
// the one that was moved.
Invariants::Broken Invariants::one_claw_at_a_time(const Step& step, const Record& record) const {
  if (is_unlocked_claw_step(step)) {
    return {};
  }
  bool in_flight = false;
  std::string moving;
  for (const Entry& entry : record) {
    if (is_claw_call(entry)) {
      if (in_flight) return "one claw operation is in flight at a time";
      in_flight = true;
      if (moves_claw(entry)) {
        moving = entry.device;
      } else if (moving != entry.device) {
        return "the claw that is asked is the one that moves";
      }
    } else if (entry.kind == Kind::Answer || entry.kind == Kind::Exception) {
      in_flight = false;
    }
  }
  return {};
}

// A claw is recorded raised or lowered exactly as its status bytes last confirmed it.
Invariants::Broken Invariants::states_are_confirmed(const Step& step, const Record& record) {
  for (Claw& claw : claws_) {
    claw.confirmed_now = false;
  }
  follow_claws(step, record);
  if (threw(record)) {
    for (Claw& claw : claws_) {
      claw.certain = claw.certain && !claw.confirmed_now;
    }
  }
  return compare_states(step, record.back().text);
}

void Invariants::follow_claws(const Step& step, const Record& record) {
  bool stopped = stopped_ && step.operation != "on_emergency_recovered";
  Claw* just_confirmed = nullptr;
  for (const Entry& entry : record) {
    if (entry.kind == Kind::Clear) stopped = false;
    if (entry.kind == Kind::Stop) {
      stopped = true;
      if (just_confirmed != nullptr && is_recovery(step, entry)) just_confirmed->certain = false;
    }
    if (entry.kind == Kind::Call) just_confirmed = nullptr;
    if (is_unlocked_claw_step(step) && entry.depth == 0) {
      continue;
    }
    for (Claw& claw : claws_) {
      if (claw.device != entry.device) {
        continue;
      }
      if (entry.kind == Kind::Call && moves_claw(entry)) claw.move = entry.op;
      if (entry.kind == Kind::Answer && entry.op == "claw_query_state") {
        confirm(claw, entry, stopped && is_recovery(step, entry));
        just_confirmed = claw.confirmed_now ? &claw : nullptr;
      }
    }
  }
}

void Invariants::confirm(Claw& claw, const Entry& answer, bool discarded) {
  if (!answer.success || answer.bytes.size() < 2 || discarded) {
    return;
  }
  const Bytes status(answer.bytes.begin(), answer.bytes.begin() + 2);
  const bool raised = claw.move == "claw_extend" && status == Bytes{3, 2};
  const bool lowered = claw.move == "claw_home" && status == Bytes{4, 1};
  if (raised || lowered) {
    claw.confirmed = raised ? 1 : 2;
    claw.certain = true;
    claw.confirmed_now = true;
  }
}

Invariants::Broken Invariants::compare_states(const Step& step, const std::string& states) const {
  const bool odd_target =
      step.operation == "claw_execute" && step.arguments.target != 1 && step.arguments.target != 2;
  std::size_t at = 0;
  for (const Claw& claw : claws_) {
    const std::int64_t state = states[at] - '0';
    at = states.find(' ', at) + 1;
    if (!claw.unique || !claw.certain || odd_target) {
      continue;
    }
    if ((state == 1 || state == 2) && state != claw.confirmed) {
      return "a claw is recorded raised or lowered only as confirmed";
    }
    if (claw.confirmed_now && state != claw.confirmed) {
      return "a claw that confirmed a move is recorded there";
    }
  }
  return {};
}

}  // namespace vantrel_can_bridge::test::simulation
