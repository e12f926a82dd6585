#include "workbench/duration_text.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace vantrel_can_bridge::workbench {
namespace {

struct Unit {
  std::string_view name;
  std::int64_t nanoseconds;
  bool is_shown;  // minutes and hours are read, but seconds are what logs speak of
};

constexpr Unit kUnits[] = {{"h", 3'600'000'000'000, false},
                           {"min", 60'000'000'000, false},
                           {"s", 1'000'000'000, true},
                           {"ms", 1'000'000, true},
                           {"us", 1'000, true},
                           {"ns", 1, true}};

bool is_digit(char character) { return character >= '0' && character <= '9'; }

/// `value` × 10 + `digit`; nothing beyond the range.
std::optional<std::int64_t> append_digit(std::int64_t value, char digit) {
  constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
  const std::int64_t number = digit - '0';
  if (value > (kEnd - number) / 10) {
    return std::nullopt;
  }
  return value * 10 + number;
}

/// `digits` × `unit` / 10 to the power of `decimals`; nothing where that is no whole number
/// within the range.
std::optional<std::int64_t> scaled(std::int64_t digits, int decimals, std::int64_t unit) {
  for (; decimals > 0; --decimals) {
    if (unit % 10 == 0) {
      unit /= 10;
    } else if (digits % 10 == 0) {
      digits /= 10;
    } else {
      return std::nullopt;
    }
  }
  if (digits > std::numeric_limits<std::int64_t>::max() / unit) {
    return std::nullopt;
  }
  return digits * unit;
}

}  // namespace

std::string duration_text(std::chrono::nanoseconds duration) {
  if (duration.count() == 0) {
    return "0 ms";
  }
  const auto* const unit = std::find_if(std::begin(kUnits), std::end(kUnits), [&](const Unit& one) {
    return one.is_shown && duration.count() % one.nanoseconds == 0;
  });
  return fmt::format("{} {}", duration.count() / unit->nanoseconds, unit->name);
}

std::optional<std::chrono::nanoseconds> parse_duration(std::string_view text) {
  std::int64_t digits = 0;
  int decimals = 0;
  bool has_point = false;
  bool ends_in_digit = false;
  std::size_t at = 0;
  for (; at < text.size() && (is_digit(text[at]) || (text[at] == '.' && !has_point)); ++at) {
    if (text[at] == '.') {
      if (!ends_in_digit) {
        return std::nullopt;
      }
      has_point = true;
      ends_in_digit = false;
      continue;
    }
    const std::optional<std::int64_t> more = append_digit(digits, text[at]);
    if (!more) {
      return std::nullopt;
    }
    digits = *more;
    decimals += has_point ? 1 : 0;
    ends_in_digit = true;
  }
  if (!ends_in_digit) {
    return std::nullopt;
  }
  at = text.find_first_not_of(' ', at);
  const std::string_view name = at == std::string_view::npos ? "" : text.substr(at);
  for (const Unit& unit : kUnits) {
    if (unit.name == name) {
      const std::optional<std::int64_t> count = scaled(digits, decimals, unit.nanoseconds);
      return count ? std::optional(std::chrono::nanoseconds(*count)) : std::nullopt;
    }
  }
  return std::nullopt;
}

}  // namespace vantrel_can_bridge::workbench
