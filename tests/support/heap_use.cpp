#include "tests/support/heap_use.hpp"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace vantrel_can_bridge::test {
namespace {

thread_local HeapUse used;   // NOLINT: the replaced operators have nowhere else to look
thread_local int uncounted;  // NOLINT: likewise

void* counted_allocation(std::size_t size) noexcept {
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory != nullptr && uncounted == 0) {
    used += {1, size};
  }
  return memory;
}

void* counted_allocation_or_throw(std::size_t size) {
  void* const memory = counted_allocation(size);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  return memory;
}

}  // namespace

HeapUse heap_use() noexcept { return used; }

UncountedHeap::UncountedHeap() noexcept { ++uncounted; }

UncountedHeap::~UncountedHeap() { --uncounted; }

}  // namespace vantrel_can_bridge::test

// All forms but the over-aligned ones, which nothing here uses: the sanitizers' own would
// otherwise meet memory that came from these.

using vantrel_can_bridge::test::counted_allocation;
using vantrel_can_bridge::test::counted_allocation_or_throw;

void* operator new(std::size_t size) { return counted_allocation_or_throw(size); }
void* operator new[](std::size_t size) { return counted_allocation_or_throw(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return counted_allocation(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return counted_allocation(size);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
