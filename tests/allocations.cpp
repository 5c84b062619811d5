#include "tests/allocations.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::int64_t> live{0};

struct Failing {
  int first = 0;
  bool all = false;
  int count = 0;
  int pauses = 0;
  bool failed = false;
};
thread_local Failing failing;

bool Fails() {
  if (failing.first == 0 || failing.pauses > 0) return false;
  ++failing.count;
  if (failing.count < failing.first || (failing.count > failing.first && !failing.all)) return false;
  failing.failed = true;
  return true;
}

}  // namespace

std::int64_t halden::LiveAllocations() {
  return live;
}

void halden::FailAllocations(int first, bool all) {
  failing = {first, all, 0, failing.pauses, false};
}

bool halden::AllocationFailed() {
  return failing.failed;
}

halden::AllocationPause::AllocationPause() {
  ++failing.pauses;
}

halden::AllocationPause::~AllocationPause() {
  --failing.pauses;
}

void* operator new(std::size_t size) {
  if (!Fails()) {
    if (void* memory = std::malloc(size)) {
      ++live;
      return memory;
    }
  }
  throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
  if (memory) --live;
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

/// The linker sends the driver's own calls here.
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}

/// Under the address sanitizer more memory than there can be is refused as it is without it.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
