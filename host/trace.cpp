#include "host/trace.h"

#include <algorithm>
#include <utility>

namespace halden::host {
namespace {

Extent Join(const Extent& one, const Extent& other) {
  return {std::min(one.low, other.low), std::max(one.high, other.high)};
}

}  // namespace

Trace::Trace(std::size_t frame_width)
    : frame_width_(frame_width),
      extents_(std::min(frame_width, kMostChannels), std::vector<Extent>(kMostBins)) {}

void Trace::Add(const Frames& frames) {
  for (std::size_t i = 0; i < frames.times.size(); ++i)
    AddFrame(frames.codes.data() + i * frame_width_, frames.times[i]);
}

void Trace::AddFrame(const std::int16_t* frame, double time) {
  while (time >= seconds_per_bin_ * kMostBins) Halve();
  const auto bin = static_cast<std::size_t>(time / seconds_per_bin_);
  const bool gap = IsGap(time);
  const bool opens = states_[bin] == State::kEmpty;
  if (opens) states_[bin] = gap ? State::kFollowsGap : State::kFilled;
  for (std::size_t i = 0; i < extents_.size(); ++i) {
    const Extent code{frame[i], frame[i]};
    extents_[i][bin] = opens ? code : Join(extents_[i][bin], code);
  }
  used_ = std::max(used_, bin + 1);
}

/// Whether a gap precedes a frame at `time`. Updates the mean interval, so call it once per frame.
bool Trace::IsGap(double time) {
  constexpr double kShortestGap = 1;  // seconds
  constexpr double kUnusual = 5;      // times the mean interval
  constexpr double kWeight = 0.05;    // of a new interval in the mean
  const double interval = time - std::exchange(last_time_, time);
  if (used_ == 0) return false;
  const bool gap = mean_interval_ > 0 && interval > kShortestGap && interval > kUnusual * mean_interval_;
  if (!gap)
    mean_interval_ = mean_interval_ > 0 ? mean_interval_ + kWeight * (interval - mean_interval_) : interval;
  return gap;
}

/// Merges each pair of neighbouring bins into one.
void Trace::Halve() {
  static_assert(kMostBins % 2 == 0);
  for (std::size_t i = 0; i < kMostBins / 2; ++i) {
    const State first = states_[2 * i];
    const State second = states_[2 * i + 1];
    for (auto& extents : extents_) {
      const Extent& other = extents[2 * i + 1];
      extents[i] = first == State::kEmpty    ? other
                   : second == State::kEmpty ? extents[2 * i]
                                             : Join(extents[2 * i], other);
    }
    states_[i] = first != State::kEmpty ? first : second;
  }
  std::fill(states_.begin() + kMostBins / 2, states_.end(), State::kEmpty);
  used_ = (used_ + 1) / 2;
  seconds_per_bin_ *= 2;
}

}  // namespace halden::host
