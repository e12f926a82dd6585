#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vantrel_can_bridge::test {

/// Everything that a test observes, in the order in which it happened: one line a log
/// line ("debug: ...", "info: ...", "warn: ..."), a gateway call ("gateway: board device
/// op [bytes]") and a wait on virtual time ("wait: 200ms"). Tests compare it whole.
///
/// Throws `std::length_error` out of the call or callback that adds a line once there are
/// far more than any test expects: code under test that would never stop, stops there.
///
/// Any thread; a leaf lock guards the lines.
class Journal {
 public:
  using Watcher = std::function<void(const std::string&)>;

  void add(const std::string& line) {
    std::shared_ptr<Watcher> watcher;
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (lines_.size() == kMostLines) {
        throw std::length_error("journal: too many lines, the last: " + line);
      }
      lines_.push_back(line);
      watcher = watcher_;
    }
    if (*watcher) {
      (*watcher)(line);
    }
  }

  /// Calls `watcher` with each line once it stands in the journal, on the thread that adds
  /// it and without the journal's lock: to let something happen at that very point, or to
  /// throw out of the log callback or the gateway call that added the line.
  void watch(Watcher watcher) {
    const std::lock_guard<std::mutex> lock(mutex_);
    watcher_ = std::make_shared<Watcher>(std::move(watcher));
  }

  /// Runs `action` when `line` is added for the next time, as `watch` does.
  void once(std::string line, std::function<void()> action) {
    watch([this, line = std::move(line), action = std::move(action)](const std::string& added) {
      if (added == line) {
        watch(nullptr);
        action();
      }
    });
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
  static constexpr std::size_t kMostLines = 100'000;

  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::shared_ptr<Watcher> watcher_ = std::make_shared<Watcher>();
};

}  // namespace vantrel_can_bridge::test
