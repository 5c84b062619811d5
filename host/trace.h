#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace halden::host {

/// The lowest and the highest code of neighbouring frames.
struct Extent {
  std::int16_t low = 0;
  std::int16_t high = 0;
};

/// A recording of any length reduced to at most kMostBins bins a channel. Every bin spans the same number of
/// frames. When the bins run out, neighbours are merged in pairs and that number doubles, so no peak is lost.
class Trace {
 public:
  static constexpr std::size_t kMostBins = 1600;
  static constexpr std::size_t kMostChannels = 64;

  /// `frame_width` is the number of codes in a frame. Of wider frames only the first kMostChannels are kept.
  explicit Trace(std::size_t frame_width);

  /// `codes` are whole frames, one after the other. Allocates nothing.
  void Add(std::span<const std::int16_t> codes);

  std::size_t Channels() const { return channels_.size(); }
  std::int64_t Frames() const { return frames_; }
  /// Frames in a bin. The last bin may hold fewer.
  std::int64_t FramesPerBin() const { return frames_per_bin_; }
  const std::vector<Extent>& Bins(std::size_t channel) const { return channels_[channel]; }

 private:
  void AddFrame(const std::int16_t* frame);
  void Halve();

  std::size_t frame_width_;
  std::int64_t frames_ = 0;
  std::int64_t frames_per_bin_ = 1;
  std::vector<std::vector<Extent>> channels_;  ///< the bins of each channel; all have the same count
};

}  // namespace halden::host
