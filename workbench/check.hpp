#pragma once

#include <iosfwd>
#include <string>
#include <vector>

namespace vantrel_can_bridge::workbench {

struct CheckOptions {
  bool strict = false;  ///< findings count as a failure
};

/// Checks the robot file at each of `paths` and writes what is wrong, what is doubtful, and
/// for how long the robot can keep its callers waiting. Returns the exit code: 2 with
/// errors in any file, 1 with findings when strict, else 0.
int check_robots(const std::vector<std::string>& paths, const CheckOptions& options,
                 std::ostream& out);

}  // namespace vantrel_can_bridge::workbench
