#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "backends/toolkit/message_queue.h"
#include "platform/clock.h"

namespace halden {

/// Real time, which setting the system's date doesn't move. A pass that serves nothing rests for 1 ms.
class LinuxClock : public Clock {
 public:
  LinuxClock() : queue_(*this) {}

  std::uint32_t GetTickCount() override;
  /// Signals don't cut it short.
  void Sleep(std::uint32_t milliseconds) override;
  void ServeMessages() override;
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override;

 private:
  MessageQueue queue_;
};

}  // namespace halden
