#include "workbench/timeline_drawing.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "workbench/markup.hpp"
#include "workbench/utf8.hpp"

namespace vantrel_can_bridge::workbench {
namespace {

using Strip = TimelineAxis::Strip;
using Stretch = TimelineAxis::Stretch;
using Scale = TimelineAxis::Scale;

// Pixels.
constexpr double kGutter = 150;
constexpr double kPlotWidth = 1016;
constexpr double kRow = 15;  // of text
constexpr double kAxisHeight = 26;
constexpr double kThreadHeight = 40;
constexpr double kRequestHeight = 19;
constexpr double kWaitHeight = 4;  // at the foot of its request
constexpr double kLogHeight = 15;
constexpr double kDeviceHeight = 21;
constexpr double kSwitchHeight = 15;
constexpr double kValueHeight = 10;  // of a device's value, as text
constexpr double kClawHeight = 40;
constexpr double kLaneGap = 4;
constexpr double kCharacter = 6.2;  // as wide as most at 11 px
constexpr double kBold = 1.2;       // times as wide

// --- Texts ---

/// Columns of a text: a character from further away, as Chinese ones, takes two.
double columns(std::string_view character) { return character.size() >= 3 ? 2 : 1; }

std::string_view first_character(std::string_view text) {
  return text.substr(0, std::max<std::size_t>(utf8_length(text), 1));
}

double text_width(std::string_view text) {
  double width = 0;
  for (; !text.empty(); text.remove_prefix(first_character(text).size())) {
    width += columns(first_character(text)) * kCharacter;
  }
  return width;
}

/// As much of `text` as fits into `width`.
std::string shortened(std::string_view text, double width) {
  std::string fitting;
  double used = 0;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, std::max<std::size_t>(utf8_length(text), 1));
    used += columns(character) * kCharacter;
    if (used > width) {
      return fitting.empty() ? fitting : fitting + "…";
    }
    fitting += character;
    text.remove_prefix(character.size());
  }
  return fitting;
}

std::string span_text(const Instant& begin, const Instant& end) {
  return fmt::format("{} to {}, {}", seconds_text(begin.time), seconds_text(end.time),
                     seconds_text(end.time - begin.time));
}

/// For little room: "4.2 s".
std::string decimals(std::chrono::nanoseconds duration) {
  const double seconds = static_cast<double>(duration.count()) / 1e9;
  return seconds < 1 ? fmt::format("{:.3g} ms", seconds * 1e3) : fmt::format("{:.3g} s", seconds);
}

std::string title(const std::string& text) {
  return fmt::format("<title>{}</title>", markup_text(text));
}

std::string bar_title(const TimelineBar& bar) {
  const char* const end = bar.outcome == Outcome::Unfinished ? "\nnot ended" : "";
  return title(bar.text + "\n" + span_text(bar.begin, bar.end) + end);
}

std::string mark_title(const TimelineMark& mark) {
  return title(mark.text + "\n" + seconds_text(mark.at.time));
}

// --- Shapes ---

std::string text_at(double x, double y, const char* classes, std::string_view text) {
  return fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" class=\"{}\">{}</text>\n", x, y, classes,
                     markup_text(text));
}

std::string box(double x, double y, double width, double height, const std::string& classes,
                const std::string& inside = {}) {
  return fmt::format(
      "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" class=\"{}\">{}</rect>\n",
      x, y, width, height, classes, inside);
}

std::string line(double x, double top, double bottom, const char* classes) {
  return fmt::format("<path d=\"M{:.1f} {:.1f}V{:.1f}\" class=\"{}\"/>\n", x, top, bottom, classes);
}

/// A small sign around `x`, `y`.
std::string sign(MarkKind kind, double x, double y, const std::string& inside) {
  const auto place = [&](std::string_view shape) {
    return fmt::format("<g transform=\"translate({:.1f} {:.1f})\">{}{}</g>\n", x, y, inside, shape);
  };
  switch (kind) {
    case MarkKind::Failure:
      return place(R"(<path d="M-3.5-3.5L3.5 3.5M-3.5 3.5L3.5-3.5" class="cross"/>)");
    case MarkKind::Fault:
      return place(R"(<path d="M0-5.5L5.5 4.5H-5.5Z" class="fault"/>)");
    case MarkKind::Retry:
      return place(
          R"(<path d="M3.8-2A4.3 4.3 0 1 0 4.3 1" class="retry"/><path d="M6.5-5V-.5H2Z" class="retry-head"/>)");
    case MarkKind::Warning:
      return place(R"(<path d="M0-5L5 0L0 5L-5 0Z" class="warning"/>)");
    case MarkKind::Info:
      return place(R"(<circle r="3" class="info"/>)");
    case MarkKind::Expectation:
    case MarkKind::Note:
      return place(R"(<path d="M0 6V-6H9L6.5-3L9 0H0" class="flag"/>)");
  }
  return {};
}

// --- One strip ---

/// Draws from the top down. What belongs to time goes into a part of its own, in the axis'
/// coordinates, which is cut off at both ends of the strip.
class StripPainter {
 public:
  StripPainter(const Timeline& timeline, const TimelineAxis& axis, const Strip& strip)
      : timeline_(timeline),
        axis_(axis),
        strip_(strip),
        is_last_(strip.end >= axis.x(timeline.end)) {}

  [[nodiscard]] Drawing draw();

 private:
  /// What begins where two strips meet belongs to the second.
  [[nodiscard]] bool is_seen(const Instant& begin, const Instant& end) const {
    const double x = axis_.x(begin);
    return (x < strip_.end || is_last_) && (x >= strip_.begin || axis_.x(end) > strip_.begin);
  }
  [[nodiscard]] bool is_seen(const Instant& at) const { return is_seen(at, at); }
  /// The place beside the strip's moving part.
  [[nodiscard]] double fixed_x(double x) const { return kGutter + x - strip_.begin; }
  [[nodiscard]] bool has_content(const ActivityLane& lane) const;
  [[nodiscard]] bool has_content(const DeviceLane& lane) const;

  void add_chapters();
  void add_stop_names();
  void add_axis();
  void add_lane(const std::string& name, double height);
  void add_thread(const ActivityLane& lane);
  void add_log();
  void add_device(const DeviceLane& lane);

  void add_bars(const std::vector<TimelineBar>& bars, double y, double height, double least,
                const std::string& classes);
  void add_labels(const std::vector<TimelineBar>& bars, double baseline);
  void add_marks(const std::vector<TimelineMark>& marks, double y);
  void add_steps(const DeviceLane& lane, double height);
  void add_claw(const DeviceLane& lane);
  void add_actions(const DeviceLane& lane);
  [[nodiscard]] std::string position_path(const DeviceLane& lane) const;
  [[nodiscard]] std::string background() const;

  const Timeline& timeline_;
  const TimelineAxis& axis_;
  const Strip strip_;
  const bool is_last_;
  double y_ = 0;          // where the next row begins
  double lanes_top_ = 0;  // below the axis
  std::string fixed_;     // lanes and their names, and texts that may stand out at an edge
  std::string moving_;
};

Drawing StripPainter::draw() {
  add_chapters();
  add_stop_names();
  add_axis();
  for (const ActivityLane& lane : timeline_.threads) {
    if (has_content(lane)) {
      add_thread(lane);
    }
  }
  add_log();
  for (const DeviceLane& lane : timeline_.devices) {
    if (has_content(lane)) {
      add_device(lane);
    }
  }
  const double width = strip_.end - strip_.begin;
  return {fmt::format("{}<svg x=\"{:.1f}\" y=\"0\" width=\"{:.1f}\" height=\"{:.1f}\" "
                      "viewBox=\"{:.1f} 0 {:.1f} {:.1f}\">\n{}{}</svg>\n",
                      fixed_, kGutter, width, y_, strip_.begin, width, y_, background(), moving_),
          y_ + 10};
}

bool StripPainter::has_content(const ActivityLane& lane) const {
  const auto any_of = [this](const std::vector<TimelineBar>& bars) {
    return std::any_of(bars.begin(), bars.end(),
                       [this](const TimelineBar& bar) { return is_seen(bar.begin, bar.end); });
  };
  return any_of(lane.requests) || any_of(lane.recoveries) || any_of(lane.operations);
}

/// Whether the device does anything in the strip but rest.
bool StripPainter::has_content(const DeviceLane& lane) const {
  std::int64_t before = 0;
  for (const TimelineValue& value : lane.values) {
    const double x = axis_.x(value.at);
    if (x > strip_.end) {
      break;
    }
    if (x >= strip_.begin) {
      return true;
    }
    before = value.value;
  }
  const auto is_at = [this](const auto& item) { return is_seen(item.at); };
  return before != 0 || std::any_of(lane.actions.begin(), lane.actions.end(), is_at) ||
         std::any_of(lane.retries.begin(), lane.retries.end(), is_at);
}

// --- Above the lanes ---

void StripPainter::add_chapters() {
  std::vector<const TimelineMark*> seen;
  for (const TimelineMark& chapter : timeline_.chapters) {
    if (is_seen(chapter.at)) {
      seen.push_back(&chapter);
    }
  }
  if (seen.empty()) {
    return;
  }
  // In turn on two rows, so that each has room up to the one after the next.
  const std::size_t rows = seen.size() > 1 ? 2 : 1;
  std::array<double, 2> used{};  // up to where each row is full
  std::string texts;             // over all of the lines
  for (std::size_t i = 0; i < seen.size(); ++i) {
    const double x = fixed_x(axis_.x(seen[i]->at));
    const double end =
        i + rows < seen.size() ? fixed_x(axis_.x(seen[i + rows]->at)) : kTimelineWidth;
    const double baseline = kRow * static_cast<double>(i % rows + 1) - 3;
    const double width = text_width(seen[i]->text) + 8;
    const bool is_left = width > end - x && width < x - used.at(i % rows);
    used.at(i % rows) = x + (is_left ? 0 : std::min(width, end - x));
    fixed_ += line(x, baseline - 9, kRow * static_cast<double>(rows) + 2, "chapter");
    texts += fmt::format("<g>{}{}</g>\n", title(seen[i]->text),
                         text_at(x + (is_left ? -3 : 3), baseline, is_left ? "note end" : "note",
                                 is_left ? seen[i]->text : shortened(seen[i]->text, end - x - 8)));
  }
  fixed_ += texts;
  y_ += kRow * static_cast<double>(rows);
}

void StripPainter::add_stop_names() {
  constexpr std::string_view kName = "emergency stop";
  const double width = text_width(kName) * kBold;
  const double baseline = y_ + kRow - 3;
  bool any = false;
  double used = 0;  // up to where there is a name already
  for (const TimelineBar& stop : timeline_.stops) {
    if (!is_seen(stop.begin, stop.end)) {
      continue;
    }
    any = true;
    const double x =
        std::min(fixed_x(std::max(axis_.x(stop.begin), strip_.begin)), kTimelineWidth - width);
    if (x >= used) {
      fixed_ += text_at(x, baseline, "stop-name", kName);
      used = x + width;
    }
  }
  for (const TimelineMark& problem : timeline_.problems) {
    if (is_seen(problem.at)) {
      fixed_ += sign(problem.kind, fixed_x(axis_.x(problem.at)), y_ + 7, mark_title(problem));
      any = true;
    }
  }
  y_ += any ? kRow : 0;
}

void StripPainter::add_axis() {
  for (const TimelineAxis::Tick& tick : axis_.ticks(strip_)) {
    fixed_ += text_at(fixed_x(tick.x), y_ + 11, "small faint middle", tick.text);
  }
  for (const Stretch& stretch : axis_.stretches()) {
    if (stretch.x + stretch.width < strip_.begin || stretch.x > strip_.end) {
      continue;
    }
    const double y = y_ + 16;
    const std::string what = title(span_text(stretch.begin, stretch.end));
    switch (stretch.scale) {
      case Scale::True:
        moving_ += box(stretch.x, y + 1, stretch.width, 3, "true", what);
        break;
      case Scale::Stretched:
        moving_ += box(stretch.x + 0.5, y + 1, stretch.width - 1, 3, "stretched", what);
        break;
      case Scale::Shortened: {
        const double middle = stretch.x + stretch.width / 2;
        moving_ += fmt::format(
            "<path d=\"M{:.1f} {:.1f}H{:.1f}l2-4l4 8l2-4H{:.1f}\" class=\"zigzag\">{}</path>\n",
            stretch.x, y + 2.5, middle - 4, stretch.x + stretch.width, what);
        break;
      }
    }
  }
  y_ += kAxisHeight;
  lanes_top_ = y_;
}

/// What goes through all lanes: grid, shortened stretches, emergency stops.
std::string StripPainter::background() const {
  const double height = y_ - lanes_top_;
  std::string markup;
  for (const TimelineAxis::Tick& tick : axis_.ticks(strip_)) {
    markup += line(tick.x, lanes_top_, y_, "grid");
  }
  for (const Stretch& stretch : axis_.stretches()) {
    if (stretch.scale == Scale::Shortened && stretch.x <= strip_.end &&
        stretch.x + stretch.width >= strip_.begin) {
      markup += box(stretch.x, lanes_top_, stretch.width, height, "shortened",
                    title("drawn shorter than it was\n" + span_text(stretch.begin, stretch.end)));
      if (const std::string text = decimals(stretch.duration()); text_width(text) < stretch.width) {
        markup +=
            text_at(stretch.x + stretch.width / 2, lanes_top_ + 11, "small faint middle", text);
      }
    }
  }
  for (const TimelineBar& stop : timeline_.stops) {
    if (is_seen(stop.begin, stop.end)) {
      const double x = axis_.x(stop.begin);
      markup += box(x, lanes_top_ - 10, std::max(axis_.x(stop.end) - x, 2.0), height + 10, "stop",
                    bar_title(stop));
      markup += line(x, lanes_top_ - 10, y_, "stop-edge");
      if (stop.outcome != Outcome::Unfinished) {
        markup += line(axis_.x(stop.end), lanes_top_ - 10, y_, "stop-edge");
      }
    }
  }
  return markup;
}

// --- Lanes ---

void StripPainter::add_lane(const std::string& name, double height) {
  fixed_ += box(kGutter, y_, strip_.end - strip_.begin, height, "lane");
  fixed_ +=
      fmt::format("<g>{}{}</g>\n", title(name),
                  text_at(kGutter - 8, y_ + height / 2 + 4, "end", shortened(name, kGutter - 12)));
}

void StripPainter::add_thread(const ActivityLane& lane) {
  add_lane(lane.name, kThreadHeight);
  add_bars(lane.requests, y_ + 2, kRequestHeight, 3, "request");
  add_bars(lane.recoveries, y_ + 2, kRequestHeight, 3, "recovery");
  add_bars(lane.waits, y_ + 2 + kRequestHeight - kWaitHeight, kWaitHeight, 0, "wait");
  add_labels(lane.requests, y_ + 13.5);
  add_labels(lane.recoveries, y_ + 13.5);
  add_bars(lane.operations, y_ + 24, 13, 1.6, "operation");
  add_marks(lane.marks, y_ + 30.5);
  y_ += kThreadHeight + kLaneGap;
}

void StripPainter::add_log() {
  const bool any = std::any_of(timeline_.log.begin(), timeline_.log.end(),
                               [this](const TimelineMark& mark) { return is_seen(mark.at); });
  if (any) {
    add_lane("log", kLogHeight);
    add_marks(timeline_.log, y_ + kLogHeight / 2);
    y_ += kLogHeight + kLaneGap;
  }
}

void StripPainter::add_bars(const std::vector<TimelineBar>& bars, double y, double height,
                            double least, const std::string& classes) {
  for (const TimelineBar& bar : bars) {
    if (!is_seen(bar.begin, bar.end)) {
      continue;
    }
    const double x = axis_.x(bar.begin);
    std::string all = classes;
    if (bar.outcome != Outcome::Success) {
      all += bar.outcome == Outcome::Failure ? " failure" : " unfinished";
    }
    // Narrower by a gap, to be told from the next one.
    moving_ += box(x, y, std::max(axis_.x(bar.end) - x - 1, least), height, all, bar_title(bar));
  }
}

/// The number of each, and its name where that fits.
void StripPainter::add_labels(const std::vector<TimelineBar>& bars, double baseline) {
  for (const TimelineBar& bar : bars) {
    if (!is_seen(bar.begin, bar.end)) {
      continue;
    }
    const double x = std::max(axis_.x(bar.begin), strip_.begin);
    const double room = std::min(axis_.x(bar.end), strip_.end) - x - 5;
    const std::string number = bar.label.substr(0, bar.label.find(' '));
    const std::string cross = bar.outcome == Outcome::Failure ? " ✕" : "";
    for (const std::string& label : {bar.label + cross, number + cross, number}) {
      if (text_width(label) <= room + 2) {
        moving_ += text_at(x + 3, baseline, "on-bar", label);
        break;
      }
    }
  }
}

void StripPainter::add_marks(const std::vector<TimelineMark>& marks, double y) {
  for (const TimelineMark& mark : marks) {
    if (is_seen(mark.at)) {
      moving_ += sign(mark.kind, axis_.x(mark.at), y, mark_title(mark));
    }
  }
}

// --- Devices ---

const char* class_of(DeviceKind kind) {
  switch (kind) {
    case DeviceKind::Light:
      return "light";
    case DeviceKind::Power:
      return "power";
    case DeviceKind::Pump:
      return "pump";
    case DeviceKind::Valve:
      return "valve";
    case DeviceKind::Motor:
      return "motor";
    case DeviceKind::Claw:
      return "claw";
  }
  return "";
}

void StripPainter::add_device(const DeviceLane& lane) {
  if (lane.kind == DeviceKind::Claw) {
    add_claw(lane);
    return;
  }
  const double height = lane.full == 1 ? kSwitchHeight : kDeviceHeight;
  add_lane(lane.name, height);
  add_steps(lane, height);
  y_ += height + kLaneGap;
}

/// Each value as a block as high as it is large; the other way round is drawn the same.
void StripPainter::add_steps(const DeviceLane& lane, double height) {
  for (auto value = lane.values.begin(); value != lane.values.end(); ++value) {
    const Instant end =
        std::next(value) == lane.values.end() ? timeline_.end : std::next(value)->at;
    if (value->value == 0 || !is_seen(value->at, end)) {
      continue;
    }
    const double x = axis_.x(value->at);
    const double width = std::max(axis_.x(end) - x, 1.0);
    const double share =
        static_cast<double>(std::abs(value->value)) / static_cast<double>(lane.full);
    const double high = std::max((height - 2) * share, 2.0);
    moving_ +=
        box(x, y_ + height - 1 - high, width, high, fmt::format("device {}", class_of(lane.kind)),
            title(fmt::format("{}: {}\n{}", lane.name, value->text, span_text(value->at, end))));
    const double seen = std::max(x, strip_.begin);
    const double room = std::min(x + width, strip_.end) - seen - 6;
    if (const std::string text = shortened(value->text, room); !text.empty()) {
      const double above = high < kValueHeight ? high : 1;  // on a block that it has room in
      moving_ += text_at(seen + 4, y_ + height - 3 - above, "value", text);
    }
  }
}

void StripPainter::add_claw(const DeviceLane& lane) {
  add_lane(lane.name, kClawHeight);
  fixed_ += text_at(kGutter - 3, y_ + 9, "small faint end", "out");
  fixed_ += text_at(kGutter - 3, y_ + kClawHeight - 2, "small faint end", "home");
  const std::string path = position_path(lane);
  moving_ += fmt::format("<path d=\"{}V{:.1f}H{:.1f}Z\" class=\"claw\"/>\n", path, y_ + kClawHeight,
                         strip_.begin);
  moving_ += fmt::format("<path d=\"{}\" class=\"position\"/>\n", path);
  add_actions(lane);
  add_marks(lane.retries, y_ + kClawHeight / 2);
  y_ += kClawHeight + kLaneGap;
}

void StripPainter::add_actions(const DeviceLane& lane) {
  for (auto action = lane.actions.begin(); action != lane.actions.end(); ++action) {
    const Instant end =
        std::next(action) == lane.actions.end() ? timeline_.end : std::next(action)->at;
    if (!is_seen(action->at, end)) {
      continue;
    }
    const bool is_amiss = action->text.find("failed") != std::string::npos;
    const bool is_halted = action->text == "stopped";
    const double x = axis_.x(action->at);
    moving_ +=
        box(x, y_, std::max(axis_.x(end) - x, 1.0), kClawHeight,
            is_amiss    ? "amiss"
            : is_halted ? "halted"
                        : "hover",
            title(fmt::format("{}: {}\n{}", lane.name, action->text, span_text(action->at, end))));
    if (is_amiss) {
      moving_ += sign(MarkKind::Failure, x, y_ + kClawHeight / 2, title(action->text));
    }
  }
}

/// From the last sample before the strip to the first one behind it. Between two samples a claw
/// moves evenly in time, which on an axis that changes its scale is no straight line: it bends
/// where that does.
std::string StripPainter::position_path(const DeviceLane& lane) const {
  const auto y = [&](double permille) {
    return y_ + kClawHeight - 2 - (kClawHeight - 4) * permille / 1000;
  };
  std::string path;
  TimelineValue last;  // at home, at power-on
  const auto line_to = [&](const TimelineValue& next) {
    if (is_seen(last.at, next.at)) {
      if (path.empty()) {
        path = fmt::format("M{:.1f} {:.1f}", axis_.x(last.at), y(static_cast<double>(last.value)));
      }
      for (const Stretch& stretch : axis_.stretches()) {
        if (stretch.begin.time > last.at.time && stretch.begin.time < next.at.time) {
          const double share = static_cast<double>((stretch.begin.time - last.at.time).count()) /
                               static_cast<double>((next.at.time - last.at.time).count());
          path += fmt::format("L{:.1f} {:.1f}", stretch.x,
                              y(static_cast<double>(last.value) +
                                share * static_cast<double>(next.value - last.value)));
        }
      }
      path += fmt::format("L{:.1f} {:.1f}", axis_.x(next.at), y(static_cast<double>(next.value)));
    }
    last = next;
  };
  for (const TimelineValue& value : lane.values) {
    line_to(value);
  }
  line_to({timeline_.end, last.value, {}});
  return path;
}

}  // namespace

std::vector<Drawing> draw_strips(const Timeline& timeline) {
  const TimelineAxis axis(timeline.knots, timeline.end, kPlotWidth);
  std::vector<Drawing> drawings;
  for (const Strip& strip : axis.strips()) {
    drawings.push_back(StripPainter(timeline, axis, strip).draw());
  }
  return drawings;
}

Drawing draw_legend() {
  struct Entry {
    std::string shape;
    const char* text;
  };
  const auto swatch = [](const char* classes) { return box(-7, -6, 14, 12, classes); };
  const std::vector<Entry> entries = {
      {swatch("request"), "request, with its number"},
      {swatch("request failure"), "failed request"},
      {swatch("recovery"), "recovery"},
      {swatch("request") + box(-4, 2, 8, 4, "wait"), "waits"},
      {box(-2, -6, 2, 12, "operation") + box(2, -6, 2, 12, "operation"), "device operations"},
      {sign(MarkKind::Failure, 0, 0, {}), "failure"},
      {sign(MarkKind::Fault, 0, 0, {}), "injected fault"},
      {sign(MarkKind::Retry, 0, 0, {}), "retry of a claw move"},
      {sign(MarkKind::Info, 0, 0, {}), "log line"},
      {sign(MarkKind::Warning, 0, 0, {}), "warning"},
      {sign(MarkKind::Expectation, -3, 0, {}), "failed expectation"},
      {swatch("stop") + line(-7, -6, 6, "stop-edge"), "emergency stop"},
      {box(-9, -1, 18, 3, "true"), "time to scale"},
      {box(-9, -1, 18, 3, "stretched"), "stretched"},
      {swatch("shortened"), "shortened"},
  };
  constexpr double kColumn = 196;
  constexpr std::size_t kColumns = 5;
  Drawing legend;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const double x = kGutter + 10 + kColumn * static_cast<double>(i % kColumns);
    const double y = 12 + 20 * static_cast<double>(i / kColumns);
    legend.markup += fmt::format("<g transform=\"translate({:.1f} {:.1f})\">\n{}{}</g>\n", x, y,
                                 entries[i].shape, text_at(16, 4, "faint", entries[i].text));
    legend.height = y + 14;
  }
  return legend;
}

}  // namespace vantrel_can_bridge::workbench
