#pragma once

#include <cmath>
#include <cstdint>

#include "model/store.h"
#include "platform/clock.h"

namespace halden {

/// Measures how fast the lines come: from every 100 lines and the time that they took it estimates the Rate
/// in the store. Lines are timed when they are parsed, not when they arrive, so an estimate is only as
/// precise as the read timer's 50 ms.
class RateMeter {
 public:
  RateMeter(Store& store, Clock& clock) : store_(store), clock_(clock) {}

  /// Makes Rate follow the lines from the next one on. It can't be stopped.
  void Start();
  /// Counts a line that was taken, empty ones included. The first call starts the clock, and the 101st, 201st
  /// and so on estimate Rate. Does nothing before Start.
  void CountLine() {
    if (!AutoRate) return;
    // Every update resets the count, so it never exceeds 100 and no division is needed to find its multiples.
    if (RateLines == 0 || RateLines >= kLinesPerEstimate) UpdateRate();
    ++RateLines;
  }

  bool AutoRate = false;       ///< lines are counted and Rate follows them
  std::int32_t RateTick = 0;   ///< tick count at the last update, milliseconds; 0: no reading yet
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

/// Estimates Rate if 100 lines have been counted since a valid reading of the clock, then restarts the count.
inline void RateMeter::UpdateRate() {
  const auto now = static_cast<std::int32_t>(clock_.GetTickCount());
  // Compared as signed numbers. Where the count wraps from INT32_MAX to INT32_MIN, `now` is the smaller one
  // and a single estimate is left out. Where it wraps from -1 to 0, the difference below is still right.
  if (RateLines >= kLinesPerEstimate && RateTick != 0 && now > RateTick) {
    const std::uint32_t elapsed = static_cast<std::uint32_t>(now) - static_cast<std::uint32_t>(RateTick);
    tInputState& state = store_.InputState;
    // elapsed may exceed INT32_MAX. As a signed number it is then negative, and the floor below applies.
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
