#include "tests/faults/allocations.hpp"

#include <atomic>
#include <cstdlib>
#include <new>
#include <utility>

namespace vantrel_can_bridge::test {
namespace {

std::size_t countdown = 0;        // NOLINT: operator new has nowhere else to look, as for all four
bool failed = false;              // NOLINT
bool tests_own = false;           // NOLINT
std::atomic<long> live_count{0};  // NOLINT: atomic, the process may have other threads

bool fails_now() {
  if (tests_own || countdown == 0 || --countdown > 0) {
    return false;
  }
  failed = true;
  return true;
}

void* allocate(std::size_t size) {
  if (fails_now()) {
    throw std::bad_alloc();
  }
  void* memory = std::malloc(size > 0 ? size : 1);
  if (memory == nullptr) {
    throw std::bad_alloc();
  }
  ++live_count;
  return memory;
}

void release(void* memory) noexcept {
  live_count -= memory != nullptr ? 1 : 0;
  std::free(memory);
}

}  // namespace

FailAllocation::FailAllocation(std::size_t n) {
  failed = false;
  countdown = n;
}
FailAllocation::~FailAllocation() { countdown = 0; }
bool FailAllocation::happened() { return failed; }

TestsOwn::TestsOwn() : outer_(std::exchange(tests_own, true)) {}
TestsOwn::~TestsOwn() { tests_own = outer_; }

long live_allocations() { return live_count; }

}  // namespace vantrel_can_bridge::test

// For the whole executable.

using vantrel_can_bridge::test::allocate;
using vantrel_can_bridge::test::release;

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t /*size*/) noexcept { release(memory); }
