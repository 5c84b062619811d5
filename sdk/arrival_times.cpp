#include "sdk/arrival_times.h"

#include <algorithm>

namespace halden::sdk {

void ArrivalTimes::Poll(double now, std::span<double> times) {
  const double previous = polled_ ? last_poll_ : now - kTick;
  polled_ = true;
  last_poll_ = now;
  if (times.empty()) return;

  // These frames weren't there at the previous poll. Polls may be closer together than ticks; then the lines
  // may have arrived up to one tick ago.
  const double earliest = std::max(last_time_, std::min(previous, now - kTick));
  const auto count = static_cast<double>(times.size());
  const double pace = Pace();
  // Expect the first frame one period after the previous one. If that is slightly before `earliest`, the
  // measured pace is a little off and the clamp corrects it. If it is far before, the device has paused:
  // assume that the last of these frames arrived just now and count back from it.
  const double period = pace > 0 ? 1 / pace : (now - earliest) / count;
  double first = last_time_ + period;
  if (frames_ == 0 || first < earliest - std::max(kTick, period)) first = now - (count - 1) * period;
  first = std::clamp(first, earliest, now);
  const double step = count > 1 ? std::min(period, (now - first) / (count - 1)) : 0;
  for (std::size_t i = 0; i < times.size(); ++i)
    times[i] = std::min(first + static_cast<double>(i) * step, now);
  last_time_ = times.back();
  Measure(now, times.size());
}

double ArrivalTimes::Pace() const {
  if (marks_.size() < 2) return 0;
  const double span = marks_.back().time - marks_.front().time;
  return span > 0 ? static_cast<double>(marks_.back().frames - marks_.front().frames) / span : 0;
}

void ArrivalTimes::Measure(double now, std::size_t frames) {
  // A pace measured before a pause as long as the window says nothing about the pace after it.
  if (!marks_.empty() && now - marks_.back().time > kWindow) marks_.clear();
  frames_ += frames;
  marks_.push_back({now, frames_});
  while (marks_.size() > 2 && now - marks_.front().time > kWindow) marks_.pop_front();
}

}  // namespace halden::sdk
