#include "tests/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::uint64_t> allocation_count{0};

}  // namespace

std::uint64_t halden::AllocationCount() {
  return allocation_count;
}

void* operator new(std::size_t size) {
  ++allocation_count;
  if (void* memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

/// Under the address sanitizer more memory than there can be is refused as it is without it.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
