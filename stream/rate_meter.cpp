#include "stream/rate_meter.h"

#include <cmath>

namespace halden {

namespace {

constexpr float kSlowest = 0.01f;  // lines per second

}  // namespace

void RateMeter::Start() {
  AutoRate = true;
  RateTick = 0;
  RateLines = 0;
}

void RateMeter::UpdateRate() {
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
