#include "workbench/trace_perfetto.hpp"

#include <fmt/format.h>

#include <cstddef>
#include <deque>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>

#include "workbench/lane_numbers.hpp"
#include "workbench/operation.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;
// Ordered: the keys stand as they are added.
using Json = nlohmann::ordered_json;

constexpr const char* kRequests = "requests";
constexpr const char* kSteps = "steps";
constexpr const char* kEmergency = "emergency stop";

struct Track {
  int process = 0;
  int thread = 0;
};

/// A slice that has begun.
struct Slice {
  std::size_t line = 0;  // its place among all lines of the file, from 0
  Track track;
  nanoseconds begun{0};
  std::string name;
  std::string category;
  Json arguments = Json::object();
  std::string group{};   // whose lanes it has one of
  std::size_t lane = 0;  // of the group
};

/// With U+FFFD for every byte that is no part of valid UTF-8, which JSON cannot hold.
std::string json_text(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

/// As text: a binary fraction would not be exact to the nanosecond.
std::string microseconds(nanoseconds time) {
  return fmt::format("{}.{:03}", time.count() / 1000, time.count() % 1000);
}

/// The keys that every event but the metadata has; `more` are further ones.
std::string event_text(char phase, const Track& track, nanoseconds time, std::string_view category,
                       const std::string& name, const std::string& more) {
  return fmt::format(R"({{"ph":"{}","pid":{},"tid":{},"ts":{},"cat":"{}","name":{},{}}})", phase,
                     track.process, track.thread, microseconds(time), category, json_text(name),
                     more);
}

std::string with_arguments(const Json& arguments) { return "\"args\":" + json_text(arguments); }

/// The array of events in the order in which they begin, each written as soon as it and all
/// before it are complete.
class OrderedLines {
 public:
  explicit OrderedLines(std::ostream& out) : out_(out) {
    out_ << R"({"displayTimeUnit":"ms","traceEvents":[)";
  }

  void add(std::string text) {
    lines_.push_back(std::move(text));
    write_complete();
  }

  /// Keeps a place for a line that comes later.
  [[nodiscard]] std::size_t reserve() {
    lines_.emplace_back();
    return written_ + lines_.size() - 1;
  }

  void fill(std::size_t place, std::string text) {
    lines_[place - written_] = std::move(text);
    write_complete();
  }

  void close() { out_ << "\n]}\n"; }

 private:
  void write_complete() {
    for (; !lines_.empty() && !lines_.front().empty(); lines_.pop_front()) {
      out_ << (written_ == 0 ? "\n" : ",\n") << lines_.front();
      ++written_;
    }
  }

  std::ostream& out_;
  std::deque<std::string> lines_;  // not yet written; an empty one is not known yet
  std::size_t written_ = 0;
};

std::string request_title(const RequestBegun& begun) {
  return begun.command.empty() ? fmt::format("cmd {}", begun.cmd)
                               : fmt::format("cmd {} {}", begun.cmd, begun.command);
}

const char* channel_text(LogChannel channel) {
  switch (channel) {
    case LogChannel::Debug:
      return "log,debug";
    case LogChannel::Info:
      return "log,info";
    case LogChannel::Warn:
      return "log,warn";
  }
  return "";
}

void add_result(Json& arguments, const OperationEnded& ended) {
  if (!ended.thrown.empty()) {
    arguments["thrown"] = ended.thrown;
    return;
  }
  arguments["success"] = ended.result.success;
  arguments["data"] = hex(ended.result.data);
  arguments["message"] = ended.result.message;
}

void add_reply(Json& arguments, const RequestEnded& ended) {
  if (!ended.thrown.empty()) {
    arguments["thrown"] = ended.thrown;
    return;
  }
  arguments["success"] = ended.reply.success;
  arguments["code"] = ended.reply.code;
  arguments["message"] = ended.reply.message;
}

}  // namespace

/// Tracks and slices, on top of the lines that make them.
class TracePerfetto::Writer {
 public:
  explicit Writer(std::ostream& out) : lines_(out) {}

  /// The thread of that name in that process; both are made known when they are new.
  Track track(const std::string& process_name, const std::string& thread_name) {
    const int process_number = process(process_name);
    const auto [place, is_new] =
        threads_.try_emplace({process_number, thread_name}, kFirstThread + int(threads_.size()));
    const Track found{process_number, place->second};
    if (is_new) {
      add_metadata("thread_name", found, {{"name", thread_name}});
      add_metadata("thread_sort_index", found, {{"sort_index", found.thread}});
    }
    return found;
  }

  Slice begin(Track track, nanoseconds time, std::string name, std::string category) {
    return {lines_.reserve(), track, time, std::move(name), std::move(category)};
  }

  /// Beside whatever runs on the same thread at the time.
  Slice begin_in_lane(const std::string& process_name, const std::string& thread_name,
                      nanoseconds time, std::string name, std::string category) {
    const std::string group = process_name + '\n' + thread_name;
    const std::size_t lane = lanes_.take(group);
    Slice slice = begin(track(process_name, lane_name(thread_name, lane)), time, std::move(name),
                        std::move(category));
    slice.group = group;
    slice.lane = lane;
    return slice;
  }

  void end(const Slice& slice, nanoseconds time) {
    lines_.fill(slice.line,
                event_text('X', slice.track, slice.begun, slice.category, slice.name,
                           fmt::format(R"("dur":{},{})", microseconds(time - slice.begun),
                                       with_arguments(slice.arguments))));
    if (!slice.group.empty()) {
      lanes_.release(slice.group, slice.lane);
    }
  }

  /// `scope` is 't' for a mark on its track, 'g' for a line through all of them.
  void instant(Track track, nanoseconds time, const std::string& name, std::string_view category,
               char scope, const Json& arguments = Json::object()) {
    lines_.add(event_text('i', track, time, category, name,
                          fmt::format(R"("s":"{}",{})", scope, with_arguments(arguments))));
  }

  void arrow(const Slice& from, const Slice& to, OperationId operation) {
    lines_.add(event_text('s', from.track, to.begun, "flow", "operation",
                          fmt::format(R"("id":{})", operation)));
    lines_.add(event_text('f', to.track, to.begun, "flow", "operation",
                          fmt::format(R"("id":{},"bp":"e")", operation)));
  }

  void counter(const DeviceStateChanged& change, nanoseconds time) {
    lines_.add(event_text('C', {process(change.board), 0}, time, "device",
                          change.device + " " + change.quantity,
                          with_arguments({{change.quantity, change.value}})));
  }

  /// Where what belongs to an activity is drawn; what belongs to none, on its own thread.
  Track activity_track(ActivityId activity, const std::string& thread) {
    const auto found = activities.find(activity);
    return found == activities.end() ? track(kRequests, thread) : found->second.track;
  }

  /// Ends the slice of `key`, if there is one.
  template <typename Key>
  void end_one(std::map<Key, Slice>& slices, const Key& key, nanoseconds time) {
    const auto found = slices.find(key);
    if (found != slices.end()) {
      end(found->second, time);
      slices.erase(found);
    }
  }

  /// Ends all slices, and says of each whether that was its end or only that of the run.
  template <typename Key>
  void end_all(std::map<Key, Slice>& slices, nanoseconds time, bool is_unfinished) {
    for (auto& [key, slice] : slices) {
      if (is_unfinished) {
        slice.arguments["unfinished"] = true;
      }
      end(slice, time);
    }
    slices.clear();
  }

  void close() { lines_.close(); }

  // What runs.
  std::map<ActivityId, Slice> activities;
  std::map<ActivityId, Slice> waits;  // by who waits
  std::map<OperationId, Slice> operations;
  std::map<std::string, Slice> bands;  // the step and the emergency stop, by thread

 private:
  // Above every process: a viewer takes a thread with the number of its process for the
  // main one.
  static constexpr int kFirstThread = 100;

  int process(const std::string& name) {
    const auto [place, is_new] = processes_.try_emplace(name, 1 + int(processes_.size()));
    const Track found{place->second, 0};
    if (is_new) {
      add_metadata("process_name", found, {{"name", name}});
      add_metadata("process_sort_index", found, {{"sort_index", found.process}});
    }
    return found.process;
  }

  void add_metadata(std::string_view name, Track track, const Json& arguments) {
    lines_.add(fmt::format(R"({{"ph":"M","pid":{},"tid":{},"name":"{}",{}}})", track.process,
                           track.thread, name, with_arguments(arguments)));
  }

  OrderedLines lines_;
  std::map<std::string, int> processes_;                // by name
  std::map<std::pair<int, std::string>, int> threads_;  // by process and name
  LaneNumbers lanes_;
};

/// What each kind of event adds.
struct TracePerfetto::Handler {
  Writer& writer;
  const Event& event;

  void operator()(const StepBegun& step) const {
    writer.end_one(writer.bands, std::string(kSteps), event.time);
    Slice slice = writer.begin(writer.track(kRequests, kSteps), event.time, step.text, "step");
    slice.arguments = {{"file", step.file}, {"line", step.line}};
    writer.bands.emplace(kSteps, std::move(slice));
  }

  void operator()(const RequestBegun& begun) const {
    Slice slice =
        writer.begin_in_lane(kRequests, event.thread, event.time, request_title(begun), "request");
    slice.arguments["request"] = begun.request;
    slice.arguments["name"] = begun.name;
    slice.arguments["fields"] = Json::object();
    for (const auto& [name, value] : begun.fields) {
      slice.arguments["fields"][name] = value;
    }
    writer.activities.emplace(begun.request, std::move(slice));
  }

  void operator()(const RequestEnded& ended) const {
    add_reply(writer.activities.at(ended.request).arguments, ended);
    writer.end_one(writer.activities, ended.request, event.time);
  }

  void operator()(const RecoveryBegun& begun) const {
    Slice slice = writer.begin_in_lane(kRequests, event.thread, event.time, "recovery", "recovery");
    slice.arguments["recovery"] = begun.recovery;
    writer.activities.emplace(begun.recovery, std::move(slice));
  }

  void operator()(const RecoveryEnded& ended) const {
    if (!ended.thrown.empty()) {
      writer.activities.at(ended.recovery).arguments["thrown"] = ended.thrown;
    }
    writer.end_one(writer.activities, ended.recovery, event.time);
  }

  void operator()(const OperationBegun& begun) const {
    Slice slice =
        writer.begin_in_lane(begun.board, begun.device, event.time, begun.op, "operation");
    slice.arguments["operation"] = begun.operation;
    slice.arguments["label"] = begun.label;
    slice.arguments["payload"] = hex(begun.payload);
    if (const auto activity = writer.activities.find(begun.activity);
        activity != writer.activities.end()) {
      writer.arrow(activity->second, slice, begun.operation);
    }
    writer.operations.emplace(begun.operation, std::move(slice));
  }

  void operator()(const OperationEnded& ended) const {
    add_result(writer.operations.at(ended.begun.operation).arguments, ended);
    writer.end_one(writer.operations, ended.begun.operation, event.time);
  }

  void operator()(const LogLine& line) const {
    writer.instant(writer.activity_track(line.activity, event.thread), event.time, line.text,
                   channel_text(line.channel), 't');
  }

  void operator()(const WaitBegun& wait) const {
    Slice slice = writer.begin(writer.activity_track(wait.activity, event.thread), event.time,
                               "wait", "wait");
    slice.arguments["asked"] = microseconds(wait.duration) + " us";
    writer.waits.emplace(wait.activity, std::move(slice));
  }

  void operator()(const WaitEnded& wait) const {
    writer.end_one(writer.waits, wait.activity, event.time);
  }

  void operator()(const FaultApplied& fault) const {
    writer.instant(writer.operations.at(fault.operation).track, event.time, fault.effect, "fault",
                   't');
  }

  void operator()(const EmergencyRaised&) const {
    const Track track = writer.track(kRequests, kEmergency);
    writer.bands.emplace(kEmergency, writer.begin(track, event.time, kEmergency, "emergency"));
    writer.instant(track, event.time, "emergency stop raised", "emergency", 'g');
  }

  void operator()(const EmergencyCleared&) const {
    writer.end_one(writer.bands, std::string(kEmergency), event.time);
    writer.instant(writer.track(kRequests, kEmergency), event.time, "emergency stop cleared",
                   "emergency", 'g');
  }

  void operator()(const DeviceStateChanged& change) const {
    // The other quantities are no amounts, and have slices.
    if (change.quantity != "action" && change.quantity != "active") {
      writer.counter(change, event.time);
    }
  }

  void operator()(const ExpectationChecked& checked) const {
    if (!checked.held) {
      writer.instant(writer.track(kRequests, kSteps), event.time,
                     "expectation failed: " + checked.subject, "expectation", 't',
                     {{"expected", checked.expected}, {"actual", checked.actual}});
    }
  }

  void operator()(const Note& note) const {
    writer.instant(writer.track(kRequests, kSteps), event.time, note.text, "note", 'g');
  }
};

TracePerfetto::TracePerfetto(std::ostream& out) : writer_(std::make_unique<Writer>(out)) {}

TracePerfetto::~TracePerfetto() = default;

void TracePerfetto::on_event(const Event& event) {
  std::visit(Handler{*writer_, event}, event.body);
}

void TracePerfetto::on_end(nanoseconds time) {
  writer_->end_all(writer_->operations, time, true);
  writer_->end_all(writer_->waits, time, true);
  writer_->end_all(writer_->activities, time, true);
  writer_->end_all(writer_->bands, time, false);
  writer_->close();
}

}  // namespace vantrel_can_bridge::workbench
