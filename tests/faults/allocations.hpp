#pragma once

#include <cstddef>

namespace vantrel_can_bridge::test {

/// While one exists, the `n`-th allocation (from 1) throws `std::bad_alloc`; those before
/// and after it succeed. One at a time, one thread.
class FailAllocation {
 public:
  explicit FailAllocation(std::size_t n);
  FailAllocation(const FailAllocation&) = delete;
  FailAllocation& operator=(const FailAllocation&) = delete;
  ~FailAllocation();

  /// Whether an allocation has failed because of the last one that existed.
  static bool happened();
};

/// While one exists, no allocation fails or counts: the test's own part of a call.
class TestsOwn {
 public:
  TestsOwn();
  TestsOwn(const TestsOwn&) = delete;
  TestsOwn& operator=(const TestsOwn&) = delete;
  ~TestsOwn();

 private:
  bool outer_;
};

/// How many allocations of the process have not been freed.
long live_allocations();

}  // namespace vantrel_can_bridge::test
