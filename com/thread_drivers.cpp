#include "com/thread_drivers.h"

#include <windows.h>

namespace halden::com {

ThreadDrivers::ThreadHandle::ThreadHandle(std::uint32_t thread)
    : handle_(OpenThread(SYNCHRONIZE, FALSE, thread)) {}

ThreadDrivers::ThreadHandle::~ThreadHandle() {
  if (handle_) CloseHandle(handle_);
}

bool ThreadDrivers::ThreadHandle::HasEnded() const {
  return WaitForSingleObject(handle_, 0) == WAIT_OBJECT_0;
}

std::shared_ptr<Driver> ThreadDrivers::OfCallingThread() {
  const std::uint32_t thread = GetCurrentThreadId();
  auto entry = Find(thread);
  if (!entry) {
    entry = std::make_shared<ThreadDriver>(thread, module_);
    const std::lock_guard lock(mutex_);
    std::erase_if(drivers_, [](const auto& known) {
      return known.second.use_count() == 1 && known.second->handle.HasEnded();
    });
    drivers_[thread] = entry;
  }
  return {entry, &entry->driver};
}

std::shared_ptr<ThreadDrivers::ThreadDriver> ThreadDrivers::Find(std::uint32_t thread) {
  const std::lock_guard lock(mutex_);
  const auto found = drivers_.find(thread);
  return found == drivers_.end() ? nullptr : found->second;
}

}  // namespace halden::com
