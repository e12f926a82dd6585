#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace vantrel_can_bridge::test {

using Valves = std::vector<std::int64_t>;

/// Every select that a client could plausibly send, and the ends of the range.
inline std::vector<std::int32_t> selects_worth_testing() {
  std::vector<std::int32_t> selects = {std::numeric_limits<std::int32_t>::min(),
                                       std::numeric_limits<std::int32_t>::min() + 1,
                                       std::numeric_limits<std::int32_t>::min() + 8,
                                       -65'536,
                                       65'537,
                                       1 << 30,
                                       std::numeric_limits<std::int32_t>::max() - 1,
                                       std::numeric_limits<std::int32_t>::max()};
  for (std::int32_t select = -20; select <= 300; ++select) {
    selects.push_back(select);
  }
  return selects;
}

/// Lists of every length around what selects reach, with and without invalid entries.
inline std::vector<Valves> valve_lists_worth_testing() {
  std::vector<Valves> lists = {{},
                               {5},
                               {8},
                               {2, 5},
                               {0, 3, 12},
                               {-1, 7, 8, 0},
                               {6, 4, 2, 0},
                               {0, 1, 2, 3, 4, 5, 6, 7},
                               {std::numeric_limits<std::int64_t>::min(), 1,
                                std::numeric_limits<std::int64_t>::max(), 4'294'967'299}};
  for (const std::size_t length : {31U, 32U, 33U, 40U}) {
    Valves& list = lists.emplace_back();
    for (std::size_t i = 0; i < length; ++i) {
      list.push_back(static_cast<std::int64_t>(i * 3 % 10) - 1);  // -1 to 8
    }
  }
  return lists;
}

/// The position that a select names, told by counting instead of by a table; -1 for none.
inline std::int64_t one_hot_position(std::int64_t select) {
  std::int64_t position = 0;
  for (std::int64_t code = 1; code <= 8; code += code, ++position) {
    if (code == select) {
      return position;
    }
  }
  return -1;
}

/// The mask of a valve bit number, told by doubling instead of by a shift; 0 for no valve.
inline int bit_of_valve(std::int64_t valve) {
  int bit = 1;
  for (std::int64_t number = 0; number < 8; ++number, bit += bit) {
    if (number == valve) {
      return bit;
    }
  }
  return 0;
}

}  // namespace vantrel_can_bridge::test
