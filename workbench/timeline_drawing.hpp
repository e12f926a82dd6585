#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "workbench/timeline.hpp"

namespace vantrel_can_bridge::workbench {

/// A piece of SVG, from 0, 0 to `kTimelineWidth`, `height`, in pixels.
struct Drawing {
  std::string markup;
  double height = 0;
};

constexpr double kTimelineWidth = 1180;

/// The run in strips that follow each other like the lines of a text: a long run is read
/// downwards, on a screen as on paper. Each shows the lanes in which something is, and the
/// exact texts in `<title>`, which viewers show on hover.
[[nodiscard]] std::vector<Drawing> draw_strips(const Timeline& timeline);

/// What the shapes and colours mean.
[[nodiscard]] Drawing draw_legend();

/// Style sheet of the drawings, which stand below an element of class "timeline": light and
/// dark as the reader prefers, light on paper.
[[nodiscard]] std::string_view timeline_style();

}  // namespace vantrel_can_bridge::workbench
