#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "model/store.h"
#include "platform/number_rules.h"

namespace halden {

/// Fills the table of 15 ranges and sets the defaults that a first object starts from. The texts of the
/// decimal rows follow the user's number rules.
void InitRanges(Store& store, const NumberRules& rules);

/// Gives the per-channel tables their size: every channel goes to row 0 and value 0.0. Count <= 0 makes the
/// driver undetected and leaves the tables. Throws std::bad_alloc with the store as it was.
void SetChannelsCount(Store& store, std::int16_t Count);

/// A product of value and scale as a code: saturated, then as a float rounded to the nearest, a tie to the
/// even one; NaN is -32768. Without a branch. No product reaches the float that would overflow it, which a
/// host may have trapped.
inline std::int16_t RoundToCode(double product) {
  constexpr double kHighest = 32767;
  constexpr double kLowest = -32768;
  product = product > kLowest ? product : kLowest;  // NaN too
  product = product < kHighest ? product : kHighest;
  return static_cast<std::int16_t>(std::lrint(static_cast<float>(product)));
}

/// (Value - Offset) * Scale as a code, without rounding between the two steps.
inline std::int16_t ScaleToCode(float Value, double Scale, double Offset) {
  return RoundToCode((Value - Offset) * Scale);
}

/// How a channel's value becomes a code: ScaleToCode by these, which are floats' values.
struct Conversion {
  std::int16_t channel = -1;  ///< -1: there is no such channel, and its code is 0
  double scale = 0;
  double offset = 0;

  std::int16_t CodeOf(const float* values) const {
    return channel < 0 ? std::int16_t{0} : ScaleToCode(values[channel], scale, offset);
  }
};

/// The conversion of a channel under its range. Stands until a range is chosen or a detection counts the
/// channels.
Conversion ConversionOf(const Store& store, std::int16_t channel);

/// The code of a channel's last parsed value under its range; 0 for a channel that doesn't exist.
std::int16_t GetChannel(const Store& store, std::int16_t Index);

/// The channel number at a position of the channel table, -1 where the table has no such entry.
std::int16_t ChannelAt(const Store& store, std::int32_t position);

/// GetChannel for each position of the channel table, on every row: a live frame holds the same codes as a
/// stored one, so that both read back by the row's scale and offset alike. A position without an entry gives
/// 0.
std::vector<std::int16_t> GetKadr(const Store& store);

/// Chooses a channel's row, clamped into the table; nothing for a channel that doesn't exist.
void SetChannelRange(Store& store, std::int16_t Index, std::int16_t RangeIndex);

/// The row of a channel; -1 for one that doesn't exist.
std::int16_t RowOfChannel(const Store& store, std::int16_t Index);

}  // namespace halden
