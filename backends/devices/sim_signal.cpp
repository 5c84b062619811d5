#include "backends/devices/sim_signal.h"

#include <cmath>
#include <numbers>

namespace halden {

namespace {

constexpr int kLimit = 20000;
constexpr int kSpan = 2 * kLimit + 1;
constexpr double kSineAmplitude = 18000;
constexpr std::uint64_t kSinePeriod = 200;

int Sine(std::uint64_t line, int column, int columns) {
  const double turns = static_cast<double>(line % kSinePeriod) / kSinePeriod +
                       static_cast<double>(column) / static_cast<double>(columns);
  return static_cast<int>(std::lround(kSineAmplitude * std::sin(2 * std::numbers::pi * turns)));
}

}  // namespace

std::uint64_t Scramble(std::uint64_t index) {
  index += 0x9E3779B97F4A7C15;
  index = (index ^ (index >> 30)) * 0xBF58476D1CE4E5B9;
  index = (index ^ (index >> 27)) * 0x94D049BB133111EB;
  return index ^ (index >> 31);
}

int SampleAt(SimSignal signal, std::uint64_t line, int column, int columns, std::uint64_t seed) {
  switch (signal) {
    case SimSignal::kSine:
      return Sine(line, column, columns);
    case SimSignal::kRamp:
      return static_cast<int>((line * 101 + column * 5003ULL) % kSpan) - kLimit;
    case SimSignal::kNoise:
      return static_cast<int>(Scramble(Scramble(Scramble(seed) ^ line) ^ column) % kSpan) - kLimit;
    case SimSignal::kConstant:
      return 2001 * (column + 1) % (kLimit + 1);
  }
  return 0;
}

}  // namespace halden
