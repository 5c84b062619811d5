#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "model/store.h"
#include "platform/number_rules.h"

namespace halden {

/// Fills the table of 15 ranges and sets the defaults that a first object starts from. The texts of the
/// decimal rows follow the user's number rules ("0.1" or "0,1"). Throws std::bad_alloc.
void InitRanges(Store& store, const NumberRules& rules);

/// Gives the per-channel tables their size: every channel goes to row 0 and value 0.0. With Count <= 0 the
/// driver counts as not detected, and the tables stay. Throws std::bad_alloc with the store unchanged.
void SetChannelsCount(Store& store, std::int16_t Count);

/// Rounds a scaled value to a code: clamped to 16 bits, rounded to a float, then to the nearest integer, a
/// tie to the even one. NaN gives -32768. The clamp comes first so that no product overflows the float, which
/// would end a host that has enabled that floating-point trap. Compiles without a branch.
inline std::int16_t RoundToCode(double product) {
  constexpr double kHighest = 32767;
  constexpr double kLowest = -32768;
  product = product > kLowest ? product : kLowest;  // false for NaN, too
  product = product < kHighest ? product : kHighest;
  return static_cast<std::int16_t>(std::lrint(static_cast<float>(product)));
}

/// (Value - Offset) * Scale as a code. Nothing is rounded between the two steps.
inline std::int16_t ScaleToCode(float Value, double Scale, double Offset) {
  return RoundToCode((Value - Offset) * Scale);
}

/// How a channel's value becomes a code: the arguments of ScaleToCode, looked up once for many frames. Both
/// numbers are floats, stored as double so that the loop over the frames needn't convert them.
struct Conversion {
  std::int16_t channel = -1;  ///< -1: the channel doesn't exist, and its code is 0
  double scale = 0;
  double offset = 0;

  /// `values`: Store::ChannelValues.
  std::int16_t CodeOf(const float* values) const {
    return channel < 0 ? std::int16_t{0} : ScaleToCode(values[channel], scale, offset);
  }
};

/// The conversion of a channel under its range. Valid until the channel gets another range or a detection
/// sets the number of channels again.
Conversion ConversionOf(const Store& store, std::int16_t channel);

/// The code of a channel's last parsed value under its range; 0 for a channel that doesn't exist.
std::int16_t GetChannel(const Store& store, std::int16_t Index);

/// The channel number at a position of the channel table; -1 where the table has no such entry.
std::int16_t ChannelAt(const Store& store, std::int32_t position);

/// GetChannel for each position of the channel table, whatever the row: a live frame holds the same codes as
/// a stored one, so both read back with the row's scale and offset. 0 at a position without an entry. Throws
/// std::bad_alloc.
std::vector<std::int16_t> GetKadr(const Store& store);

/// Puts a channel on a row, clamped into the table. Ignored for a channel that doesn't exist.
void SetChannelRange(Store& store, std::int16_t Index, std::int16_t RangeIndex);

/// The row of a channel; -1 for a channel that doesn't exist.
std::int16_t RowOfChannel(const Store& store, std::int16_t Index);

}  // namespace halden
