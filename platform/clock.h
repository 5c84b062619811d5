#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace halden {

/// A periodic timer. It starts off, and its ticks run inside Clock::ServeMessages, on the driver's thread.
/// Destroying it stops it; a tick may destroy its own timer.
class PeriodicTimer {
 public:
  virtual ~PeriodicTimer() = default;
  /// Enabling a running timer doesn't restart its period. Once Enable(false) has returned no tick runs.
  virtual void Enable(bool on) = 0;
};

/// Time, and the message queue of the one thread that the driver runs on.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Milliseconds since an arbitrary start. Wraps at 2^32, so callers compare differences only.
  virtual std::uint32_t GetTickCount() = 0;
  /// Blocks the thread; serves no messages meanwhile.
  virtual void Sleep(std::uint32_t milliseconds) = 0;
  /// Makes one pass over the message queue: handles the messages that are waiting now, and lets each timer
  /// that is due tick once. If nothing was waiting it may sleep for up to 1 ms, so that a caller's polling
  /// loop doesn't occupy the processor. Handlers may call it again; a timer never ticks inside its own tick.
  virtual void ServeMessages() = 0;
  /// Blocks the thread until ServeMessages has something to do, a signal arrives, or `at_most_ms` have
  /// passed. Returns immediately if something waits now. Programs call it between passes, so that they
  /// needn't spin; the driver doesn't.
  virtual void WaitForMessages(std::uint32_t at_most_ms) = 0;
  /// Makes a timer that calls `tick` every `interval_ms` milliseconds once it is enabled. Ticks that fall due
  /// while the thread is busy are merged: at most one is pending. `tick` must not throw, and the timer must
  /// not outlive the clock.
  virtual std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) = 0;
};

}  // namespace halden
