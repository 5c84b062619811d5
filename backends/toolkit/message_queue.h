#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "platform/clock.h"

namespace halden {

/// The messages and timers of one thread, for clocks that have no message queue of the system. The clock owns
/// the queue, calls Serve for each pass, and supplies the tick count, which may wrap.
class MessageQueue {
 public:
  /// `clock` must outlive the queue.
  explicit MessageQueue(Clock& clock) : clock_(clock) {}

  /// Adds a message for the next pass. `message` must not throw.
  void Post(std::function<void()> message);
  /// See Clock::NewTimer. A timer is due at multiples of `interval_ms` (at least 1) after it was enabled, so
  /// late passes don't add up. Missed ticks are dropped.
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick);
  /// One pass: calls the messages that are waiting now, in order, then each timer that is due, once. A
  /// message that is posted meanwhile waits for the next pass. False if there was nothing to do. Handlers may
  /// call every member, including this one: a form runs its own passes inside a message.
  bool Serve();
  /// Milliseconds until a pass has something to do, at most `limit`; 0 if there is something now.
  std::uint32_t TimeToNext(std::uint32_t limit) const;

 private:
  class Schedule;
  class Timer;

  bool ServePosted();
  bool ServeTimers();

  Clock& clock_;
  std::deque<std::function<void()>> posted_;
  std::vector<std::weak_ptr<Schedule>> timers_;
  int passes_running_ = 0;  // nested calls of Serve
};

}  // namespace halden
