#pragma once

#include <ostream>

#include "workbench/event.hpp"

namespace vantrel_can_bridge::workbench {

/// Writes the record of a run as JSON Lines: one object a line, every key of its kind always
/// there and in the same order. docs/traces.md explains the keys. The same record makes the
/// same bytes.
///
/// A byte that is no part of valid UTF-8 becomes U+FFFD, since JSON cannot hold it. Payloads
/// and answers are written in hexadecimal, and lose nothing.
///
/// The last line has the kind "run_ended"; where it is missing, the file was cut off.
class TraceJsonl final : public IEventSink {
 public:
  /// `out` outlives it; that writing failed is seen there.
  explicit TraceJsonl(std::ostream& out) : out_(out) {}

  void on_event(const Event& event) override;
  void on_end(std::chrono::nanoseconds time) override;

 private:
  std::ostream& out_;
};

}  // namespace vantrel_can_bridge::workbench
