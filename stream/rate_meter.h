#pragma once

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

  void UpdateRate();

  Store& store_;
  Clock& clock_;
};

}  // namespace halden
