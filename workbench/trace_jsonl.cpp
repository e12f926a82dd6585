#include "workbench/trace_jsonl.hpp"

#include <nlohmann/json.hpp>

#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

// Ordered: the keys stand as they are added.
using Json = nlohmann::ordered_json;

Json or_null(bool is_there, Json value) { return is_there ? std::move(value) : Json(); }

const char* channel_text(LogChannel channel) {
  switch (channel) {
    case LogChannel::Debug:
      return "debug";
    case LogChannel::Info:
      return "info";
    case LogChannel::Warn:
      return "warn";
  }
  return "";
}

/// The kind of an event and the keys that belong to it.
struct BodyJson {
  Json& line;

  void operator()(const StepBegun& step) const {
    line["kind"] = "step_begun";
    line["file"] = step.file;
    line["line"] = step.line;
    line["text"] = step.text;
  }

  void operator()(const RequestBegun& begun) const {
    line["kind"] = "request_begun";
    line["request"] = begun.request;
    line["name"] = begun.name;
    line["cmd"] = begun.cmd;
    line["command"] = begun.command;
    Json fields = Json::object();
    for (const auto& [name, value] : begun.fields) {
      fields[name] = value;
    }
    line["fields"] = std::move(fields);
  }

  void operator()(const RequestEnded& ended) const {
    const bool has_reply = ended.thrown.empty();
    line["kind"] = "request_ended";
    line["request"] = ended.request;
    line["success"] = or_null(has_reply, ended.reply.success);
    line["code"] = or_null(has_reply, ended.reply.code);
    line["message"] = or_null(has_reply, ended.reply.message);
    line["thrown"] = or_null(!has_reply, ended.thrown);
  }

  void operator()(const OperationBegun& begun) const {
    line["kind"] = "operation_begun";
    add_operation(begun);
  }

  void operator()(const OperationEnded& ended) const {
    const bool has_result = ended.thrown.empty();
    line["kind"] = "operation_ended";
    add_operation(ended.begun);
    line["success"] = or_null(has_result, ended.result.success);
    line["data"] = or_null(has_result, hex(ended.result.data));
    line["message"] = or_null(has_result, ended.result.message);
    line["thrown"] = or_null(!has_result, ended.thrown);
  }

  void operator()(const LogLine& log) const {
    line["kind"] = "log";
    line["activity"] = log.activity;
    line["channel"] = channel_text(log.channel);
    line["text"] = log.text;
  }

  void operator()(const WaitBegun& wait) const {
    line["kind"] = "wait_begun";
    line["activity"] = wait.activity;
    line["duration_ns"] = wait.duration.count();
  }

  void operator()(const WaitEnded& wait) const {
    line["kind"] = "wait_ended";
    line["activity"] = wait.activity;
  }

  void operator()(const FaultApplied& fault) const {
    line["kind"] = "fault_applied";
    line["operation"] = fault.operation;
    line["activity"] = fault.activity;
    line["device"] = fault.device;
    line["op"] = fault.op;
    line["effect"] = fault.effect;
  }

  void operator()(const EmergencyRaised&) const { line["kind"] = "emergency_raised"; }

  void operator()(const EmergencyCleared&) const { line["kind"] = "emergency_cleared"; }

  void operator()(const RecoveryBegun& begun) const {
    line["kind"] = "recovery_begun";
    line["recovery"] = begun.recovery;
  }

  void operator()(const RecoveryEnded& ended) const {
    line["kind"] = "recovery_ended";
    line["recovery"] = ended.recovery;
    line["thrown"] = or_null(!ended.thrown.empty(), ended.thrown);
  }

  void operator()(const DeviceStateChanged& change) const {
    line["kind"] = "device_state_changed";
    line["board"] = change.board;
    line["device"] = change.device;
    line["quantity"] = change.quantity;
    line["value"] = change.value;
    line["text"] = change.text;
  }

  void operator()(const ExpectationChecked& checked) const {
    line["kind"] = "expectation_checked";
    line["held"] = checked.held;
    line["file"] = checked.file;
    line["line"] = checked.line;
    line["subject"] = checked.subject;
    line["expected"] = checked.expected;
    line["actual"] = checked.actual;
  }

  void operator()(const Note& note) const {
    line["kind"] = "note";
    line["text"] = note.text;
    line["is_problem"] = note.is_problem;
  }

 private:
  void add_operation(const OperationBegun& begun) const {
    line["operation"] = begun.operation;
    line["activity"] = begun.activity;
    line["board"] = begun.board;
    line["device"] = begun.device;
    line["op"] = begun.op;
    line["payload"] = hex(begun.payload);
    line["label"] = begun.label;
  }
};

void write_line(std::ostream& out, const Json& line) {
  out << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

}  // namespace

void TraceJsonl::on_event(const Event& event) {
  Json line;
  line["time_ns"] = event.time.count();
  line["thread"] = event.thread;
  std::visit(BodyJson{line}, event.body);
  write_line(out_, line);
}

void TraceJsonl::on_end(std::chrono::nanoseconds time) {
  Json line;
  line["time_ns"] = time.count();
  line["thread"] = "main";
  line["kind"] = "run_ended";
  write_line(out_, line);
}

}  // namespace vantrel_can_bridge::workbench
