#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace halden::host {

/// Whole frames and the times at which their lines arrived.
struct Frames {
  std::span<const std::int16_t> codes;  ///< one frame after the other
  std::span<const double> times;  ///< seconds since the recording began, one per frame, never decreasing
};

/// The lowest and the highest code in a bin.
struct Extent {
  std::int16_t low = 0;
  std::int16_t high = 0;
};

/// A recording of any length reduced to at most kMostBins bins. Every bin spans the same time. When the bins
/// run out, neighbours are merged in pairs and that time doubles, so no peak is lost.
class Trace {
 public:
  static constexpr std::size_t kMostBins = 1600;
  static constexpr std::size_t kMostChannels = 64;

  /// `frame_width` is the number of codes in a frame. Of wider frames only the first kMostChannels are kept.
  explicit Trace(std::size_t frame_width);

  /// Frames in the order of the recording. Allocates nothing.
  void Add(const Frames& frames);

  std::size_t Channels() const { return extents_.size(); }
  /// Bins up to that of the last frame.
  std::size_t Bins() const { return used_; }
  /// Seconds that a bin spans.
  double SecondsPerBin() const { return seconds_per_bin_; }
  /// Whether the bin has any frames. Otherwise its extents are undefined.
  bool HasFrames(std::size_t bin) const { return states_[bin] != State::kEmpty; }
  /// Whether the device was silent before the first frame of this bin for more than a second, and for far
  /// longer than usual. A picture leaves that time empty.
  bool FollowsGap(std::size_t bin) const { return states_[bin] == State::kFollowsGap; }
  Extent At(std::size_t channel, std::size_t bin) const { return extents_[channel][bin]; }

 private:
  enum class State : std::uint8_t { kEmpty, kFilled, kFollowsGap };

  void AddFrame(const std::int16_t* frame, double time);
  bool IsGap(double time);
  void Halve();

  std::size_t frame_width_;
  double seconds_per_bin_ = 0.001;
  std::size_t used_ = 0;
  std::vector<State> states_ = std::vector<State>(kMostBins);
  std::vector<std::vector<Extent>> extents_;  ///< of each channel, kMostBins each
  double last_time_ = 0;
  double mean_interval_ = 0;  ///< seconds between frames, gaps left out; 0 before the second frame
};

}  // namespace halden::host
