#include "host/axis.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "host/decimal_text.h"

namespace halden::host {

std::string Axis::Label(double tick) const {
  return Fixed(tick, decimals);
}

Axis MakeAxis(double low, double high, int most) {
  const double least_step = (high - low) / std::max(most - 1, 1);
  int exponent = static_cast<int>(std::floor(std::log10(least_step)));
  double factor = 1;
  for (const double candidate : {1.0, 2.0, 5.0, 10.0}) {
    factor = candidate;
    if (candidate * std::pow(10.0, exponent) >= least_step * (1 - 1e-9)) break;
  }
  const double step = factor * std::pow(10.0, exponent);
  if (factor == 10) ++exponent;

  Axis axis{low, high, {}, std::max(0, -exponent)};
  const auto first = static_cast<std::int64_t>(std::ceil(low / step - 1e-9));
  const auto last = static_cast<std::int64_t>(std::floor(high / step + 1e-9));
  for (std::int64_t n = first; n <= last; ++n) axis.ticks.push_back(static_cast<double>(n) * step);
  return axis;
}

}  // namespace halden::host
