#pragma once

#include <future>

namespace vantrel_can_bridge::test {

/// Stops a thread at a known place until the test lets it go on. For one passage.
class Gate {
 public:
  /// The stopped thread's side: says that it is here, and waits.
  void pass() {
    arrived_.set_value();
    opened_.get_future().wait();
  }

  /// The test's side: waits until a thread stands at the gate.
  void await_arrival() { arrived_.get_future().wait(); }

  /// Lets that thread go on.
  void open() { opened_.set_value(); }

 private:
  std::promise<void> arrived_;
  std::promise<void> opened_;
};

}  // namespace vantrel_can_bridge::test
