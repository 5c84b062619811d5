#pragma once

#include <string>
#include <vector>

namespace halden::host {

/// An axis from `low` to `high` with marks at round numbers inside it.
struct Axis {
  double low = 0;
  double high = 1;
  std::vector<double> ticks;
  int decimals = 0;  ///< that tell the ticks apart

  /// 0 at `low`, 1 at `high`.
  double Place(double value) const { return (value - low) / (high - low); }
  std::string Label(double tick) const;
};

/// Ticks at 1, 2 or 5 times a power of ten apart, at most `most` of them. `high` must be above `low`.
Axis MakeAxis(double low, double high, int most);

}  // namespace halden::host
