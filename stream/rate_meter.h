#pragma once

#include <cmath>
#include <cstdint>

#include "model/store.h"
#include "platform/clock.h"

namespace halden {

/// Measures the pace of the lines: an estimate of Rate from every 100 lines and the time they took.
class RateMeter {
 public:
  RateMeter(Store& store, Clock& clock) : store_(store), clock_(clock) {}

  /// Lets Rate follow the lines from the next one on. Nothing lets it stop again.
  void Start();
  /// Counts a line that was taken; every hundredth gives an estimate first.
  void CountLine() {
    if (!AutoRate) return;
    // A multiple of 100 is 0 or 100: an update starts the count anew.
    if (RateLines == 0 || RateLines >= kLinesPerEstimate) UpdateRate();
    ++RateLines;
  }

  bool AutoRate = false;       ///< lines are counted and Rate follows them
  std::int32_t RateTick = 0;   ///< tick count at the last update; 0: no reading yet
  std::int32_t RateLines = 0;  ///< lines since the last update

 private:
  static constexpr std::int32_t kLinesPerEstimate = 100;
  static constexpr float kSlowest = 0.01f;  // lines per second

  void UpdateRate();

  Store& store_;
  Clock& clock_;
};

inline void RateMeter::Start() {
  AutoRate = true;
  RateTick = 0;
  RateLines = 0;
}

inline void RateMeter::UpdateRate() {
  const auto now = static_cast<std::int32_t>(clock_.GetTickCount());
  // Compared as signed numbers: where the count passes from its highest to its lowest value one estimate is
  // left out.
  if (RateLines >= kLinesPerEstimate && RateTick != 0 && now > RateTick) {
    const std::uint32_t elapsed = static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(RateTick);
    tInputState& state = store_.InputState;
    state.Rate = static_cast<float>(std::trunc(RateLines * 1000.0 / static_cast<std::int32_t>(elapsed)));
    if (state.Rate > state.RateMax)
      state.Rate = state.RateMax;
    else if (state.Rate < kSlowest)
      state.Rate = kSlowest;
  }
  RateTick = now;
  RateLines = 0;
}

}  // namespace halden
