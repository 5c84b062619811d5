#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "sdk/adc_session.h"

namespace halden::sdk {

/// What a handle of the C interface stands for.
struct OpenHandle {
  explicit OpenHandle(SessionSource source) : session(std::move(source)) {}

  const std::thread::id owner = std::this_thread::get_id();
  AdcSession session;
  bool in_call = false;
  std::deque<std::string> texts;  // that the last call has returned
  std::deque<std::string> notices;
  std::array<char, 512> error{};  // no string, so that it can also say that memory has run out
};

/// The handles that are open in the process: the only state that handles share. It turns the use of a closed
/// handle into an error. Handles are numbers that are never used again, so an old one can't name a new
/// object.
class OpenHandles {
 public:
  static OpenHandles& OfProcess() {
    // Never destroyed: at exit a thread may still use a handle. Ports are restored without it.
    static OpenHandles& handles = *new OpenHandles;
    return handles;
  }

  std::uintptr_t Add(std::unique_ptr<OpenHandle> handle) {
    const std::scoped_lock lock(mutex_);
    handles_.emplace(++last_, std::move(handle));
    return last_;
  }
  /// Null if there is none. Stays valid for the owner's thread, since only the owner removes it.
  OpenHandle* Find(std::uintptr_t number) {
    const std::scoped_lock lock(mutex_);
    const auto found = handles_.find(number);
    return found == handles_.end() ? nullptr : found->second.get();
  }
  std::unique_ptr<OpenHandle> Remove(std::uintptr_t number) {
    const std::scoped_lock lock(mutex_);
    auto node = handles_.extract(number);
    return node ? std::move(node.mapped()) : nullptr;
  }

 private:
  std::mutex mutex_;
  std::map<std::uintptr_t, std::unique_ptr<OpenHandle>> handles_;
  std::uintptr_t last_ = 0;
};

}  // namespace halden::sdk
