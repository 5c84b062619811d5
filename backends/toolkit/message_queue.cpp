#include "backends/toolkit/message_queue.h"

#include <algorithm>
#include <utility>

namespace halden {

/// The state of a timer. The queue holds it during a tick, so the tick may destroy the timer.
class MessageQueue::Schedule {
 public:
  Schedule(Clock& clock, std::uint32_t interval_ms, std::function<void()> tick)
      : clock_(clock), interval_ms_(std::max<std::uint32_t>(interval_ms, 1)), tick_(std::move(tick)) {}

  void Enable(bool on) {
    if (on && !enabled_) last_ = clock_.GetTickCount();
    enabled_ = on;
  }

  /// Milliseconds until it is due, at most `limit`.
  std::uint32_t TimeToTick(std::uint32_t limit) const {
    if (!enabled_ || ticking_) return limit;
    const std::uint32_t elapsed = clock_.GetTickCount() - last_;
    return elapsed >= interval_ms_ ? 0 : std::min(limit, interval_ms_ - elapsed);
  }

  /// A timer doesn't tick again inside its own tick, even if that runs passes.
  bool TickIfDue() {
    if (!enabled_ || ticking_) return false;
    const std::uint32_t elapsed = clock_.GetTickCount() - last_;
    if (elapsed < interval_ms_) return false;
    last_ += elapsed - elapsed % interval_ms_;
    ticking_ = true;
    tick_();
    ticking_ = false;
    return true;
  }

 private:
  Clock& clock_;
  const std::uint32_t interval_ms_;
  const std::function<void()> tick_;
  std::uint32_t last_ = 0;  // when it was enabled or last due; always on the grid
  bool enabled_ = false;
  bool ticking_ = false;
};

/// The owner's end of a timer. Destroying it stops the ticks.
class MessageQueue::Timer : public PeriodicTimer {
 public:
  explicit Timer(std::shared_ptr<Schedule> schedule) : schedule_(std::move(schedule)) {}
  ~Timer() override { schedule_->Enable(false); }
  void Enable(bool on) override { schedule_->Enable(on); }

 private:
  std::shared_ptr<Schedule> schedule_;
};

void MessageQueue::Post(std::function<void()> message) {
  posted_.push_back(std::move(message));
}

std::unique_ptr<PeriodicTimer> MessageQueue::NewTimer(std::uint32_t interval_ms, std::function<void()> tick) {
  auto schedule = std::make_shared<Schedule>(clock_, interval_ms, std::move(tick));
  timers_.push_back(schedule);
  return std::make_unique<Timer>(std::move(schedule));
}

bool MessageQueue::Serve() {
  // Only the outermost pass removes destroyed timers: those outside are still going through the list.
  ++passes_running_;
  const bool had_messages = ServePosted();
  const bool had_ticks = ServeTimers();
  --passes_running_;
  if (passes_running_ == 0) std::erase_if(timers_, [](const auto& timer) { return timer.expired(); });
  return had_messages || had_ticks;
}

std::uint32_t MessageQueue::TimeToNext(std::uint32_t limit) const {
  if (!posted_.empty()) return 0;
  for (const auto& timer : timers_) {
    if (const auto schedule = timer.lock()) limit = schedule->TimeToTick(limit);
  }
  return limit;
}

bool MessageQueue::ServePosted() {
  const std::size_t waiting = posted_.size();
  for (std::size_t i = 0; i < waiting && !posted_.empty(); ++i) {
    const std::function<void()> message = std::move(posted_.front());
    posted_.pop_front();
    message();
  }
  return waiting > 0;
}

bool MessageQueue::ServeTimers() {
  bool ticked = false;
  // By index, because a tick may add timers.
  for (std::size_t i = 0; i < timers_.size(); ++i) {  // NOLINT(modernize-loop-convert)
    const std::shared_ptr<Schedule> schedule = timers_[i].lock();
    if (schedule && schedule->TickIfDue()) ticked = true;
  }
  return ticked;
}

}  // namespace halden
