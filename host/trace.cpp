#include "host/trace.h"

#include <algorithm>

namespace halden::host {
namespace {

void Widen(Extent& extent, const Extent& other) {
  extent.low = std::min(extent.low, other.low);
  extent.high = std::max(extent.high, other.high);
}

}  // namespace

Trace::Trace(std::size_t frame_width)
    : frame_width_(frame_width), channels_(std::min(frame_width, kMostChannels)) {
  for (auto& bins : channels_) bins.reserve(kMostBins);
}

void Trace::Add(std::span<const std::int16_t> codes) {
  for (std::size_t start = 0; start + frame_width_ <= codes.size(); start += frame_width_) {
    AddFrame(codes.data() + start);
  }
}

void Trace::AddFrame(const std::int16_t* frame) {
  const bool opens_bin = frames_ % frames_per_bin_ == 0;
  if (opens_bin && !channels_.empty() && channels_[0].size() == kMostBins) {
    Halve();
    AddFrame(frame);
    return;
  }
  ++frames_;
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    const Extent extent{frame[i], frame[i]};
    if (opens_bin) {
      channels_[i].push_back(extent);
    } else {
      Widen(channels_[i].back(), extent);
    }
  }
}

/// Merges each pair of neighbouring bins into one. Only called when all bins are full.
void Trace::Halve() {
  static_assert(kMostBins % 2 == 0);
  for (auto& bins : channels_) {
    for (std::size_t i = 0; i < kMostBins / 2; ++i) {
      bins[i] = bins[2 * i];
      Widen(bins[i], bins[2 * i + 1]);
    }
    bins.resize(kMostBins / 2);
  }
  frames_per_bin_ *= 2;
}

}  // namespace halden::host
