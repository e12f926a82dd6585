#include "workbench/run_view.hpp"

#include <fmt/format.h>

#include <chrono>
#include <utility>
#include <vector>

#include "workbench/request_text.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

constexpr std::size_t kWidth = 100;
constexpr std::string_view kOperateBegin = "operate begin: ";

bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

/// Whether a debug line says no more than a request's or an operation's own line.
bool is_repetition(std::string_view debug_line) {
  for (const std::string_view prefix :
       {"dispatch cmd=", "CMD_", "operate begin: ", "operate end: "}) {
    if (begins_with(debug_line, prefix)) {
      return true;
    }
  }
  return false;
}

/// Breaks `text` at blanks into lines of at most `width` characters; a longer word keeps a
/// line of its own. For texts of ASCII.
std::string wrapped(const std::string& text, std::size_t width, std::string_view indent) {
  std::string out;
  std::string_view rest = text;
  while (rest.size() > width) {
    std::size_t end = rest.rfind(' ', width);
    if (end == 0 || end == std::string_view::npos) {
      end = rest.find(' ');
    }
    if (end == std::string_view::npos) {
      break;
    }
    out.append(rest.substr(0, end)).append("\n").append(indent);
    rest.remove_prefix(end + 1);
  }
  return out.append(rest);
}

std::string_view action_text(std::uint8_t action_state) {
  static constexpr std::string_view kTexts[] = {"idle",  "extending",     "homing",      "extended",
                                                "homed", "extend failed", "home failed", "stopped"};
  return action_state < std::size(kTexts) ? kTexts[action_state] : "unknown action";
}

std::string_view position_text(std::uint8_t position_state) {
  static constexpr std::string_view kTexts[] = {"in between", "at home", "at its far end"};
  return position_state < std::size(kTexts) ? kTexts[position_state] : "unknown position";
}

/// What came back, or what a write was for.
std::string outcome_text(const OperationEvent& event, const std::string& label) {
  const OperateResult& result = event.result;
  if (!result.success) {
    return result.message;
  }
  if (event.operation.op == "claw_query_state" && result.data.size() >= 2) {
    return fmt::format("{}  {}, {}", hex(result.data), action_text(result.data[0]),
                       position_text(result.data[1]));
  }
  return result.data.empty() ? label : hex(result.data);
}

}  // namespace

RunView::RunView(std::ostream& out, ViewOptions options, std::shared_ptr<IClock> clock)
    : out_(out), options_(options), clock_(std::move(clock)), start_(clock_->now()) {}

void RunView::on_thread(std::string name) {
  const std::lock_guard<std::mutex> lock(mutex_);
  thread_ = std::move(name);
}

void RunView::heading(std::string_view text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  finish_repeats();
  const std::size_t used = text.size() + 4;  // rule, blanks
  std::string rule;
  for (std::size_t column = used; column < kWidth; ++column) {
    rule += "─";
  }
  write(fmt::format("\n{} {} {}\n", paint(Style::Dim, "──"), paint(Style::Bold, text),
                    paint(Style::Dim, rule)));
}

void RunView::request(const vantrel_protocol::srv::BottomInteractSrv_Request& request) {
  const std::lock_guard<std::mutex> lock(mutex_);
  forget_operation();
  constexpr std::string_view kIndent = "            ";
  line(paint(Style::Bold, "▶"),
       paint(Style::Bold, wrapped(request_text(request), kWidth - kIndent.size(), kIndent)));
}

void RunView::operation(const OperationEvent& event) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const Operation& asked = event.operation;
  const bool success = event.result.success;
  const std::string what = fmt::format("{} {}", asked.op, hex(asked.payload));
  std::string text = fmt::format("{:<27} {:<27} {} {}", asked.board + "/" + asked.device, what,
                                 success ? paint(Style::Good, "✔") : paint(Style::Bad, "✘"),
                                 outcome_text(event, take_label()));
  if (text == last_operation_ && thread_ == last_thread_) {
    ++repeats_;
    return;
  }
  line(" ", text);
  last_operation_ = std::move(text);
  last_thread_ = thread_;
  last_op_ = asked.op;
}

void RunView::debug(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  remember_label(text);
  if (options_.verbose || !is_repetition(text)) {
    line(" ", paint(Style::Dim, "debug  " + text));
  }
}

void RunView::info(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  line(" ", paint(Style::Notice, "info   " + text));
}

void RunView::warn(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  line(" ", paint(Style::Caution, "warn   " + text));
}

void RunView::reply(const business_layer::bottom_compat::BottomCompatReply& reply) {
  const std::lock_guard<std::mutex> lock(mutex_);
  forget_operation();
  const Style style = reply.success ? Style::Good : Style::Bad;
  const std::string outcome =
      reply.success ? "success" : fmt::format("failure, code {}", reply.code);
  line(paint(style, "◀"),
       paint(style, reply.message.empty() ? outcome : outcome + ": " + reply.message));
}

void RunView::emergency(bool active) {
  const std::lock_guard<std::mutex> lock(mutex_);
  forget_operation();
  if (active) {
    line(paint(Style::Alarm, "■"),
         paint(Style::Alarm, "EMERGENCY STOP of the self-cleaning board raised"));
  } else {
    line(paint(Style::Alarm, "□"),
         paint(Style::Alarm, "EMERGENCY STOP of the self-cleaning board cleared"));
  }
}

void RunView::fault(std::string_view text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  line(paint(Style::Caution, "!"), paint(Style::Caution, fmt::format("fault  {}", text)));
}

void RunView::check(bool held, std::string_view text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  line(" ", held ? paint(Style::Good, fmt::format("✔ {}", text))
                 : paint(Style::Alarm, fmt::format("✘ {}", text)));
}

void RunView::block(const std::string& text) {
  const std::lock_guard<std::mutex> lock(mutex_);
  finish_repeats();
  write(text);
}

void RunView::line(std::string_view marker, const std::string& text) {
  finish_repeats();
  const std::chrono::duration<double> since_start = clock_->now() - start_;
  const std::string tag = thread_.empty() ? "" : paint(Style::Dim, "[" + thread_ + "]") + " ";
  write(fmt::format("{} {} {}{}\n", paint(Style::Dim, fmt::format("{:7.3f}", since_start.count())),
                    marker, tag, text));
}

void RunView::write(const std::string& text) { out_ << text << std::flush; }

void RunView::finish_repeats() {
  const std::uint64_t repeats = std::exchange(repeats_, 0);
  if (repeats > 0) {
    write(paint(Style::Dim, fmt::format("{:10}… {} {} more time{}, same answer", "", last_op_,
                                        repeats, repeats == 1 ? "" : "s")) +
          "\n");
  }
}

void RunView::forget_operation() {
  finish_repeats();
  last_operation_.clear();
}

void RunView::remember_label(const std::string& debug_line) {
  if (begins_with(debug_line, kOperateBegin)) {
    const std::size_t end = debug_line.find(" board=", kOperateBegin.size());
    labels_[std::this_thread::get_id()] =
        debug_line.substr(kOperateBegin.size(), end - kOperateBegin.size());
  }
}

std::string RunView::take_label() {
  const auto node = labels_.extract(std::this_thread::get_id());
  return node.empty() ? std::string() : node.mapped();
}

std::string RunView::paint(Style style, std::string_view text) const {
  return styled(style, text, options_.coloured);
}

}  // namespace vantrel_can_bridge::workbench
