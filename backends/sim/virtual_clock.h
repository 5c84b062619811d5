#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "backends/toolkit/message_queue.h"
#include "platform/clock.h"

namespace halden {

/// A clock that advances only when it is used: by 1 ms at each pass of the message queue, before anything is
/// served, and by the duration of each Sleep. Nothing really waits, so minutes of a test take milliseconds,
/// and each run is the same.
class VirtualClock : public Clock {
 public:
  /// `start` is the first tick count, in milliseconds.
  explicit VirtualClock(std::uint32_t start = 0) : now_(start), queue_(*this) {}

  std::uint32_t GetTickCount() override { return now_; }
  void Sleep(std::uint32_t milliseconds) override { now_ += milliseconds; }
  void ServeMessages() override {
    ++now_;
    queue_.Serve();
  }
  /// Skips the time up to the next pass that has something to do.
  void WaitForMessages(std::uint32_t at_most_ms) override {
    const std::uint32_t wait = queue_.TimeToNext(at_most_ms);
    if (wait > 0) now_ += wait - 1;  // the pass itself takes 1 ms
  }
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick) override {
    return queue_.NewTimer(interval_ms, std::move(tick));
  }

  /// Adds a message for the next pass of the message queue, which may happen deep inside a call of the
  /// driver.
  void Post(std::function<void()> message) { queue_.Post(std::move(message)); }
  /// Runs passes until `milliseconds`, fewer than 2^31, have passed.
  void RunFor(std::uint32_t milliseconds) {
    const std::uint32_t start = now_;
    while (now_ - start < milliseconds) ServeMessages();
  }

 private:
  std::uint32_t now_;
  MessageQueue queue_;
};

}  // namespace halden
