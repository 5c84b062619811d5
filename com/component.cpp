#include "com/component.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <new>

#include "backends/windows/windows_platform.h"
#include "driver/driver.h"

// After ours, whose names are macros there.
#include <windows.h>

/// Frees the pool from which the C++ library takes exceptions when memory has run out. Every module that it
/// is linked into statically has such a pool, and no header declares this function.
namespace __gnu_cxx {
void __freeres();
}

namespace halden::com {
namespace {

/// The drivers of the component, one for each thread that creates objects: a single-threaded apartment is one
/// thread, and apartments share no state. The driver of a thread that has ended is deleted when another
/// thread creates its driver, unless an object still uses it.
class ThreadDrivers {
 public:
  /// `module` is the module handle that WindowsPlatform takes.
  explicit ThreadDrivers(void* module) : module_(module) {}

  /// The calling thread's driver, created on first use. Any thread may call this, but a driver must only be
  /// used on its own thread. Throws std::bad_alloc.
  std::shared_ptr<Driver> OfCallingThread();

 private:
  /// A handle of a thread. While it is open the system doesn't reuse the thread's identifier, so a new thread
  /// never finds the driver of one that has ended.
  class ThreadHandle {
   public:
    explicit ThreadHandle(std::uint32_t thread);
    ~ThreadHandle();
    ThreadHandle(const ThreadHandle&) = delete;
    ThreadHandle& operator=(const ThreadHandle&) = delete;

    bool HasEnded() const;

   private:
    void* handle_;
  };

  struct ThreadDriver {
    ThreadDriver(std::uint32_t thread, void* module)
        : handle(thread), platform(module), driver(platform.platform()) {}

    ThreadHandle handle;
    WindowsPlatform platform;
    Driver driver;
  };

  std::shared_ptr<ThreadDriver> Find(std::uint32_t thread);

  void* module_;
  std::mutex mutex_;
  std::map<std::uint32_t, std::shared_ptr<ThreadDriver>> drivers_;
};

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

void* module_handle = nullptr;
std::atomic<long> holds = 0;
ThreadDrivers* drivers = nullptr;  // a pointer, because it must not be destroyed at the end of the process

}  // namespace

void HoldComponent() {
  ++holds;
}

void ReleaseComponent() {
  --holds;
}

bool ComponentHeld() {
  return holds > 0;
}

std::shared_ptr<halden::IADC3> CreateDriverObject() noexcept {
  try {
    struct Held {  // members are destroyed last to first: the object before its driver
      std::shared_ptr<Driver> driver;
      std::shared_ptr<halden::IADC3> adc;
    };
    const auto held = std::make_shared<Held>();
    held->driver = drivers->OfCallingThread();
    held->adc = held->driver->CreateObject();
    return {held, held->adc.get()};
  } catch (...) {
    return nullptr;
  }
}

void* ComponentModule() {
  return module_handle;
}

std::wstring ComponentPath() {
  wchar_t path[2048];
  const DWORD length = GetModuleFileNameW(static_cast<HINSTANCE>(ComponentModule()), path, 2048);
  return length < 2048 ? std::wstring(path, length) : std::wstring();
}

bool LoadComponent(void* module) noexcept {
  module_handle = module;
  drivers = new (std::nothrow) ThreadDrivers(module);
  return drivers != nullptr;
}

void UnloadComponent() noexcept {
  delete drivers;
  __gnu_cxx::__freeres();
}

}  // namespace halden::com
