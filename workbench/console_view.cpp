#include "workbench/console_view.hpp"

#include <fmt/format.h>

#include <string_view>

#include "workbench/request_fields.hpp"
#include "workbench/side_by_side.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::size_t kIndent = 12;  // below the text of a line

std::string_view shown_thread(std::string_view thread) {
  constexpr std::string_view kBackground = "background ";
  if (thread == "main") {
    return {};
  }
  return thread.substr(0, kBackground.size()) == kBackground ? thread.substr(kBackground.size())
                                                             : thread;
}

}  // namespace

class ConsoleView::Clock final : public IClock {
 public:
  [[nodiscard]] TimePoint now() override { return time_; }
  void set(std::chrono::nanoseconds since_start) { time_ = TimePoint(since_start); }

 private:
  TimePoint time_{};
};

/// One overload a kind of event; kinds that say nothing new to who watches are left out.
struct ConsoleView::Printer {
  ConsoleView& console;
  RunView& view;

  void operator()(const StepBegun&) const {}
  void operator()(const RequestBegun& event) const {
    view.request(make_request(event.cmd, event.fields));
  }
  void operator()(const RequestEnded& event) const {
    if (event.thrown.empty()) {
      view.reply(event.reply);
    } else {
      view.check(false, "threw: " + event.thrown);
    }
  }
  void operator()(const OperationBegun&) const {}
  void operator()(const OperationEnded& event) const {
    const OperationBegun& begun = event.begun;
    OperateResult result = event.result;
    if (!event.thrown.empty()) {
      result = {false, {}, "threw: " + event.thrown};
    }
    view.operation(
        {{begun.board, begun.device, begun.op, begun.payload}, std::move(result), {}, {}, {}});
  }
  void operator()(const LogLine& event) const {
    switch (event.channel) {
      case LogChannel::Debug:
        return view.debug(event.text);
      case LogChannel::Info:
        return view.info(event.text);
      case LogChannel::Warn:
        return view.warn(event.text);
    }
  }
  void operator()(const WaitBegun&) const {}
  void operator()(const WaitEnded&) const {}
  void operator()(const FaultApplied& event) const {
    view.fault(fmt::format("{} {}: {}", event.device, event.op, event.effect));
  }
  void operator()(const EmergencyRaised&) const { view.emergency(true); }
  void operator()(const EmergencyCleared&) const { view.emergency(false); }
  void operator()(const RecoveryBegun&) const {}
  void operator()(const RecoveryEnded& event) const {
    if (!event.thrown.empty()) {
      view.check(false, "threw: " + event.thrown);
    }
  }
  void operator()(const DeviceStateChanged&) const {}
  void operator()(const ExpectationChecked& event) const {
    if (!event.held) {
      console.show_failure(event);
    } else if (console.last_held_ != event.subject) {  // a dozen boards are told once
      console.held_ += (console.held_.empty() ? "" : ", ") + event.subject;
      console.last_held_ = event.subject;
    }
  }
  void operator()(const Note& event) const { view.heading(event.text); }
};

ConsoleView::ConsoleView(std::ostream& out, const ConsoleOptions& options)
    : options_(options), clock_(std::make_shared<Clock>()), view_(out, options.view, clock_) {}

ConsoleView::~ConsoleView() = default;

void ConsoleView::on_event(const Event& event) {
  const auto* const checked = std::get_if<ExpectationChecked>(&event.body);
  const bool is_held = checked != nullptr && checked->held;
  if (options_.quiet && (checked == nullptr || is_held)) {
    return;
  }
  if (!is_held) {
    finish_held();
  }
  clock_->set(event.time);
  view_.on_thread(std::string(shown_thread(event.thread)));
  std::visit(Printer{*this, view_}, event.body);
}

void ConsoleView::on_end(std::chrono::nanoseconds time) {
  clock_->set(time);
  finish_held();
}

void ConsoleView::show_failure(const ExpectationChecked& checked) {
  view_.check(false, fmt::format("{}:{}: {}", checked.file, checked.line, checked.subject));
  view_.block(side_by_side(checked.expected, checked.actual, kIndent));
}

void ConsoleView::finish_held() {
  if (!held_.empty()) {
    view_.on_thread({});
    view_.check(true, held_);
    held_.clear();
    last_held_.clear();
  }
}

}  // namespace vantrel_can_bridge::workbench
