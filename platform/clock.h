#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace halden {

/// A timer that fires on the thread that serves the message queue. Off until Enable(true). Its destruction
/// stops it, and is allowed inside its own tick.
class PeriodicTimer {
 public:
  virtual ~PeriodicTimer() = default;
  /// Enabling a timer that runs leaves its rhythm alone. After Enable(false) no tick comes any more.
  virtual void Enable(bool on) = 0;
};

/// Time and the message queue of the driver's one thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Milliseconds since some start, wrapping at 2^32.
  virtual std::uint32_t GetTickCount() = 0;
  /// Blocks the thread. No message is served meanwhile.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
  /// One pass of the message queue: what waits now is served, each timer that is due ticks once. It may rest
  /// for up to 1 ms when nothing waits, so that a loop of passes doesn't burn the processor. A handler that
  /// is served may make a pass of its own; a timer never ticks inside its own tick.
  virtual void ServeMessages() = 0;
  /// A new timer, off, that calls `tick` every `interval_ms` from inside ServeMessages. Ticks that a busy
  /// thread has missed are not made up for: at most one is pending. `tick` must not throw. The timer must not
  /// outlive the clock.
  virtual std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) = 0;
};

}  // namespace halden
