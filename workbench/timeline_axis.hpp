#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench {

/// When something happened: its time, and its number among all events of the run, which
/// orders those of one time.
struct Instant {
  std::chrono::nanoseconds time{0};
  std::size_t event = 0;
};

/// A moment at which a request, a recovery or the emergency stop begins or ends.
struct AxisKnot {
  Instant at;
  std::size_t running = 0;  ///< requests and recoveries, from then on
};

/// Lays a run out from left to right, in pixels.
///
/// A run of seconds holds requests of milliseconds, and hours in which nothing happens. So
/// between two knots time passes evenly, but each stretch gets a least width where something
/// runs, and a greatest where nothing does; what takes no time at all keeps its order.
class TimelineAxis {
 public:
  enum class Scale { True, Stretched, Shortened };

  struct Stretch {
    Instant begin;
    Instant end;
    bool is_idle = false;
    Scale scale = Scale::True;
    double x = 0;
    double width = 0;

    [[nodiscard]] std::chrono::nanoseconds duration() const { return end.time - begin.time; }
  };

  /// One line of the picture, as of a text.
  struct Strip {
    double begin = 0;
    double end = 0;
  };

  struct Tick {
    double x = 0;
    std::string text;
  };

  /// `knots` in order; none before the run begins at 0 or after its `end`. A strip is at
  /// most `strip_width` wide.
  TimelineAxis(const std::vector<AxisKnot>& knots, Instant end, double strip_width);

  [[nodiscard]] double x(Instant instant) const;
  [[nodiscard]] const std::vector<Stretch>& stretches() const { return stretches_; }
  [[nodiscard]] std::vector<Strip> strips() const;
  /// Labels that do not touch each other.
  [[nodiscard]] std::vector<Tick> ticks(const Strip& strip) const;

 private:
  void lay_out();
  [[nodiscard]] double find_cut(double begin, double wanted) const;
  [[nodiscard]] std::string tick_text(std::chrono::nanoseconds time) const;

  const double strip_width_;
  std::vector<Stretch> stretches_;  // fixed once constructed; at least one
};

/// Exact, in seconds: "1.25 s", "0.000000001 s".
[[nodiscard]] std::string seconds_text(std::chrono::nanoseconds time);

}  // namespace vantrel_can_bridge::workbench
