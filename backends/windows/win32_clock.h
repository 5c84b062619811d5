#pragma once

#include "platform/clock.h"

namespace halden {

/// Time and the message queue of the thread that calls it. Timers tick from every message loop of the thread
/// that made them, the host's own included.
class Win32Clock final : public Clock {
 public:
  std::uint32_t GetTickCount() override;
  void Sleep(std::uint32_t milliseconds) override;
  void ServeMessages() override;
  /// It stays off if the system has no room for it.
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override;
};

}  // namespace halden
