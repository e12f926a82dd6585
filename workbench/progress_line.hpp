#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <ostream>
#include <streambuf>
#include <string>

namespace vantrel_can_bridge::workbench {

/// A last line on a terminal that says how far a long wait is: "  waiting 0:12 of 2:00", or
/// "  waiting 0:12" where nobody knows how long it will take.
///
/// What else goes to the terminal during the wait is written to `out`: it then stands above
/// the line, which is drawn again at the next `tick`. Any member may be called from any
/// thread; `mutex_` is a leaf, held while the terminal is written to.
class ProgressLine final : private std::streambuf {
 public:
  /// A wait that has not taken so long is not worth a line.
  static constexpr std::chrono::nanoseconds kLong = std::chrono::seconds(2);

  /// `terminal` outlives it.
  explicit ProgressLine(std::ostream& terminal);

  [[nodiscard]] std::ostream& out() { return out_; }

  /// A wait begins, of at most `total` if that is known; it takes the place of the one before.
  void begin(std::chrono::nanoseconds now, std::optional<std::chrono::nanoseconds> total);
  /// Takes the line away.
  void end();
  /// Draws the line where it is due and differs: once a second, so that nothing flickers.
  void tick(std::chrono::nanoseconds now);

 private:
  int_type overflow(int_type character) override;
  std::streamsize xsputn(const char* text, std::streamsize size) override;
  int sync() override;

  // The caller holds mutex_.
  void erase();

  std::ostream& terminal_;
  std::ostream out_;

  std::mutex mutex_;                               // leaf; guards all that follows and the terminal
  std::optional<std::chrono::nanoseconds> begun_;  // while there is a wait
  std::optional<std::chrono::nanoseconds> total_;
  std::string drawn_;          // empty where there is none
  bool at_line_begin_ = true;  // nothing is drawn into a line that is being written
};

}  // namespace vantrel_can_bridge::workbench
