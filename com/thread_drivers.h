#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "backends/windows/windows_platform.h"
#include "driver/driver.h"

namespace halden::com {

/// The drivers of the component: one for each thread that asks, since a thread is an apartment and no
/// apartment sees the store of another. One that nobody holds goes some time after its thread has ended.
class ThreadDrivers {
 public:
  /// `module` as in WindowsPlatform.
  explicit ThreadDrivers(void* module) : module_(module) {}

  /// Made on first use. Any thread may call, and uses its own one alone. Throws std::bad_alloc.
  std::shared_ptr<Driver> OfCallingThread();

 private:
  /// As long as its handle is open the system gives a thread's identifier to no other thread, so that one
  /// that starts later doesn't find the store of one that has ended.
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

}  // namespace halden::com
