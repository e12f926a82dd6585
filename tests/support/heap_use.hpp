#pragma once

#include <cstdint>

/// Counts what the executable takes from the heap: linking `heap_use.cpp` replaces its
/// operator new. Each thread counts for itself.
namespace vantrel_can_bridge::test {

struct HeapUse {
  std::uint64_t allocations = 0;
  std::uint64_t bytes = 0;

  friend HeapUse operator-(const HeapUse& a, const HeapUse& b) {
    return {a.allocations - b.allocations, a.bytes - b.bytes};
  }
  HeapUse& operator+=(const HeapUse& other) {
    allocations += other.allocations;
    bytes += other.bytes;
    return *this;
  }
};

/// Everything that the calling thread has allocated so far, freed or not.
[[nodiscard]] HeapUse heap_use() noexcept;

/// While one exists, the calling thread's allocations are not counted: for the parts of a
/// measured call that belong to the measurement, such as the answers of a fake gateway.
class UncountedHeap {
 public:
  UncountedHeap() noexcept;
  UncountedHeap(const UncountedHeap&) = delete;
  UncountedHeap& operator=(const UncountedHeap&) = delete;
  ~UncountedHeap();
};

}  // namespace vantrel_can_bridge::test
