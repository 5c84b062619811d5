#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "platform/clock.h"

namespace halden {

/// The messages and timers of one thread. It has no time of its own: a Clock owns it, makes the passes and
/// is asked for the tick count.
class MessageQueue {
 public:
  /// `clock` must outlive the queue.
  explicit MessageQueue(Clock& clock) : clock_(clock) {}

  /// Waits for the next pass. `message` must not throw.
  void Post(std::function<void()> message);
  /// As Clock::NewTimer. Ticks lie on a fixed grid of `interval_ms` (at least 1) from the moment of enabling.
  std::unique_ptr<PeriodicTimer> NewTimer(std::uint32_t interval_ms, std::function<void()> tick);
  /// One pass: the messages that wait now in their order, then each timer that is due, once. False when
  /// there was nothing to do. Handlers may call everything here, this too.
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
  int passes_running_ = 0;
};

}  // namespace halden
