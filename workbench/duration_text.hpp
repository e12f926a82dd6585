#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace vantrel_can_bridge::workbench {

/// A length of time for people and for scenario files, in the largest unit that needs no
/// fraction: "1500 ms", "2 s", "250 us", "7 ns", "0 ms".
[[nodiscard]] std::string duration_text(std::chrono::nanoseconds duration);

/// The other way round, with a decimal fraction if need be: "1.5 s". Units are ns, us, ms,
/// s, min and h. Nothing for what is not a length of time, is negative, finer than a
/// nanosecond, or beyond the range.
[[nodiscard]] std::optional<std::chrono::nanoseconds> parse_duration(std::string_view text);

}  // namespace vantrel_can_bridge::workbench
