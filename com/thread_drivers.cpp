#include "com/thread_drivers.h"

#include <windows.h>

namespace halden::com {

ThreadDrivers::ThreadHandle::ThreadHandle(std::uint32_t thread)
    : handle_(OpenThread(SYNCHRONIZE, FALSE, thread)) {}

ThreadDrivers::ThreadHandle::~ThreadHandle() {
  if (handle_) CloseHandle(handle_);
}

Apartment& ThreadDrivers::OfCallingThread() {
  const std::uint32_t thread = GetCurrentThreadId();
  if (Driver* const driver = Find(thread)) return driver->apartment;
  auto driver = std::make_unique<Driver>(thread, module_);
  const std::lock_guard lock(mutex_);
  return (drivers_[thread] = std::move(driver))->apartment;
}

ThreadDrivers::Driver* ThreadDrivers::Find(std::uint32_t thread) {
  const std::lock_guard lock(mutex_);
  const auto found = drivers_.find(thread);
  return found == drivers_.end() ? nullptr : found->second.get();
}

}  // namespace halden::com
