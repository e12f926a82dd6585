#pragma once

#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace vantrel_can_bridge::test {

/// Everything that a test observes, in the order in which it happened: one line a log
/// line ("debug: ...", "info: ...", "warn: ..."), a gateway call ("gateway: board device
/// op [bytes]") and a wait on virtual time ("wait: 200ms"). Tests compare it whole.
///
/// Any thread; a leaf lock guards the lines.
class Journal {
 public:
  void add(std::string line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(std::move(line));
  }

  /// The lines so far.
  [[nodiscard]] std::vector<std::string> lines() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

  /// The lines so far, and forgets them.
  std::vector<std::string> take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(lines_, {});
  }

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace vantrel_can_bridge::test
