#include "workbench/timeline_axis.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace vantrel_can_bridge::workbench {
namespace {

using std::chrono::nanoseconds;
using Stretch = TimelineAxis::Stretch;
using Scale = TimelineAxis::Scale;

// Pixels. A busy stretch has room for a number and to be pointed at.
constexpr double kLeastBusy = 24;
constexpr double kLeastIdle = 7;
constexpr double kNoTime = 4;  // idle, and takes no time
constexpr double kMostIdle = 46;
constexpr double kTickDistance = 58;

/// Width of a stretch where a nanosecond has `scale` pixels.
double width(const Stretch& stretch, double scale) {
  const double to_scale = static_cast<double>(stretch.duration().count()) * scale;
  if (!stretch.is_idle) {
    return std::max(to_scale, kLeastBusy);
  }
  return stretch.duration().count() == 0 ? kNoTime : std::clamp(to_scale, kLeastIdle, kMostIdle);
}

double total_width(const std::vector<Stretch>& stretches, double scale) {
  double total = 0;
  for (const Stretch& stretch : stretches) {
    total += width(stretch, scale);
  }
  return total;
}

/// The scale at which all of it is as wide as `wanted`, or as near as it comes.
double find_scale(const std::vector<Stretch>& stretches, double wanted) {
  double low = 0;
  double high = wanted;  // a nanosecond fills the picture
  for (int round = 0; round < 100; ++round) {
    const double middle = (low + high) / 2;
    (total_width(stretches, middle) < wanted ? low : high) = middle;
  }
  return high;
}

/// The shortest of 1, 2 and 5 times a power of ten that is at least `duration`.
nanoseconds round_up(double duration) {
  constexpr std::array<std::int64_t, 3> kSteps = {1, 2, 5};
  for (std::int64_t power = 1; power <= 1'000'000'000'000'000; power *= 10) {
    for (const std::int64_t step : kSteps) {
      if (static_cast<double>(step * power) >= duration) {
        return nanoseconds(step * power);
      }
    }
  }
  return nanoseconds(std::int64_t{1'000'000'000'000'000'000});
}

/// With up to three decimals, none of them a zero at the end.
std::string decimal_text(double number, const char* unit) {
  std::string text = fmt::format("{:.3f}", number);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') {
    text.pop_back();
  }
  return text + " " + unit;
}

}  // namespace

TimelineAxis::TimelineAxis(const std::vector<AxisKnot>& knots, Instant end, double strip_width)
    : strip_width_(strip_width) {
  AxisKnot last;
  for (const AxisKnot& knot : knots) {
    if (knot.at.event != last.at.event) {
      stretches_.push_back({last.at, knot.at, last.running == 0});
    }
    last = knot;
  }
  stretches_.push_back({last.at, end, last.running == 0});
  lay_out();
}

void TimelineAxis::lay_out() {
  const double least = total_width(stretches_, 0);
  // Half as much again as what must be: the long ones are to be told from the short ones.
  const double strips = std::max(1.0, std::ceil(least * 1.5 / strip_width_));
  // Several strips leave some of their width free to be cut where it is best.
  const double wanted = strip_width_ * (strips > 1 ? strips * 0.94 : 1);
  const double scale = find_scale(stretches_, wanted);
  double x = 0;
  for (Stretch& stretch : stretches_) {
    const double to_scale = static_cast<double>(stretch.duration().count()) * scale;
    stretch.x = x;
    stretch.width = width(stretch, scale);
    stretch.scale = to_scale < stretch.width * 0.99   ? Scale::Stretched
                    : to_scale > stretch.width * 1.01 ? Scale::Shortened
                                                      : Scale::True;
    x += stretch.width;
  }
}

double TimelineAxis::x(Instant instant) const {
  const auto after = std::upper_bound(
      stretches_.begin(), stretches_.end(), instant.event,
      [](std::size_t event, const Stretch& stretch) { return event < stretch.begin.event; });
  const Stretch& stretch = after == stretches_.begin() ? *after : *std::prev(after);
  const auto share = [](auto part, auto whole) {
    return static_cast<double>(part) / static_cast<double>(whole);
  };
  if (stretch.duration().count() > 0) {
    return stretch.x + stretch.width * share((instant.time - stretch.begin.time).count(),
                                             stretch.duration().count());
  }
  const std::size_t events = stretch.end.event - stretch.begin.event;
  return events == 0
             ? stretch.x
             : stretch.x + stretch.width * share(instant.event - stretch.begin.event, events);
}

std::vector<TimelineAxis::Strip> TimelineAxis::strips() const {
  const double end = stretches_.back().x + stretches_.back().width;
  std::vector<Strip> strips;
  double begin = 0;
  while (end - begin > strip_width_ * 1.001) {
    const double even = (end - begin) / std::ceil((end - begin) / strip_width_);
    strips.push_back({begin, find_cut(begin, begin + even)});
    begin = strips.back().end;
  }
  strips.push_back({begin, end});
  return strips;
}

/// Where nothing runs, as near to `wanted` as can be without making the strip too long or
/// much too short; else there.
double TimelineAxis::find_cut(double begin, double wanted) const {
  double cut = wanted;
  double distance = strip_width_ * 0.25;
  for (const Stretch& stretch : stretches_) {
    const double x = stretch.x + stretch.width;
    if (stretch.is_idle && x <= begin + strip_width_ && std::abs(x - wanted) < distance) {
      distance = std::abs(x - wanted);
      cut = x;
    }
  }
  return cut;
}

std::vector<TimelineAxis::Tick> TimelineAxis::ticks(const Strip& strip) const {
  std::vector<Tick> ticks;
  const auto add = [&](double x, nanoseconds time) {
    const bool fits = x >= strip.begin && x <= strip.end &&
                      std::none_of(ticks.begin(), ticks.end(), [&](const Tick& other) {
                        return std::abs(other.x - x) < kTickDistance;
                      });
    if (fits) {
      ticks.push_back({x, tick_text(time)});
    }
  };
  for (const Stretch& stretch : stretches_) {
    if (stretch.duration().count() == 0 || stretch.x > strip.end ||
        stretch.x + stretch.width < strip.begin) {
      continue;
    }
    const double scale = stretch.width / static_cast<double>(stretch.duration().count());
    const nanoseconds step = round_up(kTickDistance / scale);
    for (nanoseconds time = (stretch.begin.time + step - nanoseconds(1)) / step * step;
         time < stretch.end.time; time += step) {
      add(stretch.x + static_cast<double>((time - stretch.begin.time).count()) * scale, time);
    }
  }
  // Where no round time came to lie, the knots' own.
  for (const Stretch& stretch : stretches_) {
    add(stretch.x, stretch.begin.time);
  }
  add(stretches_.back().x + stretches_.back().width, stretches_.back().end.time);
  return ticks;
}

std::string TimelineAxis::tick_text(nanoseconds time) const {
  const nanoseconds all = stretches_.back().end.time;
  const auto number = static_cast<double>(time.count());
  if (all >= std::chrono::milliseconds(100)) {
    return decimal_text(number / 1e9, "s");
  }
  return all >= std::chrono::microseconds(100) ? decimal_text(number / 1e6, "ms")
                                               : decimal_text(number / 1e3, "µs");
}

std::string seconds_text(nanoseconds time) {
  std::string text =
      fmt::format("{}.{:09}", time.count() / 1'000'000'000, time.count() % 1'000'000'000);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') {
    text.pop_back();
  }
  return text + " s";
}

}  // namespace vantrel_can_bridge::workbench
