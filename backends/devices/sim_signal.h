#pragma once

#include <cstdint>

namespace halden {

enum class SimSignal { kSine, kRamp, kNoise, kConstant };

/// The value of one column in one line, in steps of 0.05, within 20000 steps either way. A sine has 200 lines
/// a period and is shifted from column to column; a ramp climbs 5.05 a line and repeats no value for 40001
/// lines; a constant is another one in each column; noise alone depends on `seed`.
int SampleAt(SimSignal signal, std::uint64_t line, int column, int columns, std::uint64_t seed);

/// One pseudo-random number for each `index`, the same on every machine.
std::uint64_t Scramble(std::uint64_t index);

}  // namespace halden
