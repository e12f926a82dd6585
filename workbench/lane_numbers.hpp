#pragma once

#include <algorithm>
#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench {

/// Gives what runs at the same time under the same name a lane each, so that it can be drawn
/// side by side: two threads may share a name, and a claw may be asked for by two requests.
class LaneNumbers {
 public:
  /// The lowest lane of `name` that is free, from 0.
  [[nodiscard]] std::size_t take(const std::string& name) {
    std::vector<bool>& taken = taken_[name];
    const auto free = std::find(taken.begin(), taken.end(), false);
    const auto number = static_cast<std::size_t>(free - taken.begin());
    if (free == taken.end()) {
      taken.push_back(true);
    } else {
      *free = true;
    }
    return number;
  }

  /// `number` was taken under that name.
  void release(const std::string& name, std::size_t number) { taken_[name][number] = false; }

 private:
  std::map<std::string, std::vector<bool>> taken_;  // by name, then by number
};

/// What a lane is called: "main", and beside it "main (2)".
[[nodiscard]] inline std::string lane_name(const std::string& name, std::size_t number) {
  return number == 0 ? name : name + " (" + std::to_string(number + 1) + ")";
}

}  // namespace vantrel_can_bridge::workbench
