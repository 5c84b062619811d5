#include "tests/faults.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<std::int64_t> live{0};

struct AllocationPlan {
  int first = 0;
  bool and_later = false;
  int count = 0;
  bool failed = false;
};
thread_local AllocationPlan plan;

void Log(const char* call) {
  if (halden::file_calls) *halden::file_calls += call;
}

/// Whether this call must fail as if a signal had interrupted it.
bool IsInterrupted() {
  thread_local bool last = false;
  last = halden::interrupting && !last;
  if (last) errno = EINTR;
  return last;
}

/// Counts an allocation and returns whether it must fail.
bool Fails() {
  if (plan.first == 0 || halden::allocation_pauses > 0) return false;
  ++plan.count;
  if (plan.count < plan.first || (plan.count > plan.first && !plan.and_later)) return false;
  plan.failed = true;
  return true;
}

}  // namespace

std::int64_t halden::LiveAllocations() {
  return live;
}

void halden::FailAllocations(int first, bool and_later) {
  plan = {first, and_later, 0, false};
}

bool halden::AllocationFailed() {
  return plan.failed;
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

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (Fails()) return nullptr;
  void* const memory = std::malloc(size);
  if (memory) ++live;
  return memory;
}

void operator delete(void* memory) noexcept {
  if (memory) --live;
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  operator delete(memory);
}

// The linker redirects our own objects' calls of these functions to the wrappers here (--wrap=calloc and so
// on).
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size) {
  return Fails() ? nullptr : __real_calloc(count, size);
}
extern "C" ssize_t __real_write(int fd, const void* bytes, std::size_t count);
extern "C" ssize_t __wrap_write(int fd, const void* bytes, std::size_t count) {
  return IsInterrupted() ? -1 : __real_write(fd, bytes, count);
}
extern "C" int __real_flock(int fd, int operation);
extern "C" int __wrap_flock(int fd, int operation) {
  return IsInterrupted() ? -1 : __real_flock(fd, operation);
}
extern "C" int __real_fchmod(int fd, mode_t mode);
extern "C" int __wrap_fchmod(int fd, mode_t mode) {
  Log("fchmod ");
  return __real_fchmod(fd, mode);
}
extern "C" int __real_fsync(int fd);
extern "C" int __wrap_fsync(int fd) {
  Log("fsync ");
  return __real_fsync(fd);
}
extern "C" int __real_rename(const char* from, const char* to);
extern "C" int __wrap_rename(const char* from, const char* to) {
  Log("rename ");
  return __real_rename(from, to);
}

// Without this option the address sanitizer aborts on a huge request instead of returning null.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
