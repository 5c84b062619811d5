#include "model/ranges.h"

#include <algorithm>
#include <string>

namespace halden {

namespace {

// The rows come in three groups:
//   0 to 4    decimal ranges: the device sends a physical value
//   5 to 9    signed counts of a converter
//   10 to 14  unsigned counts of a converter
constexpr std::int16_t kDecimalRowsEnd = 5;
constexpr std::int16_t kSignedRowsEnd = 10;
constexpr std::int16_t kRows = 15;
constexpr int kCountBits[] = {8, 10, 12, 14, 16};  // of the five rows in each group of counts
constexpr char kPlusMinus = '\xB1';

void AddRow(tADCState& state, std::string text, float scale, float offset) {
  state.Ranges.push_back(std::move(text));
  state.UnitScale.push_back(scale);
  state.UnitOffset.push_back(offset);
}

/// A code c reads back as c / scale + offset. On the decimal rows the limit lands on code 20000, which leaves
/// headroom of a factor 1.638. Counts read back as a fraction of full scale: -1 to just below 1 where they
/// are signed, 0 to 1 where they are not.
void FillRangeTable(tADCState& state, const NumberRules& rules) {
  state.Ranges.clear();
  state.UnitScale.clear();
  state.UnitOffset.clear();
  double limit = 1000;
  float scale = 20;
  for (int row = 0; row < kDecimalRowsEnd; ++row, limit /= 10, scale *= 10)
    AddRow(state, kPlusMinus + rules.NumberToText(limit, 15), scale, 0);
  for (int bits : kCountBits)
    AddRow(state, "Int " + std::to_string(bits) + "-bit", static_cast<float>(1 << (bits - 1)), 0);
  for (int bits : kCountBits) {
    const auto full = static_cast<float>((1 << bits) - 1);
    AddRow(state, "UInt " + std::to_string(bits) + "-bit", full, static_cast<float>(1 << (bits - 1)) / full);
  }
}

}  // namespace

void InitRanges(Store& store, const NumberRules& rules) {
  // Room for any reason, so that "out of memory" can be reported without allocating.
  constexpr std::size_t kLongestReason = 64;
  store.ADCState.LastError.reserve(kLongestReason);
  store.ADCState.Resolution = 16;
  store.ADCState.RangesCount = kRows;
  FillRangeTable(store.ADCState, rules);
  store.ADCState.ChannelsCount = 0;
  store.InputState.RateMax = 1000;
  store.InputState.Rate = 10;
  store.InputState.RequestedSize = 1 << 18;
  store.InputState.InputCountChannels = 1;
  store.InputState.InputChannels.assign(1, 0);
}

void SetChannelsCount(Store& store, std::int16_t Count) {
  if (Count < 1) {
    store.ADCState.ChannelsCount = 0;
    return;
  }
  // Allocated before anything changes, for the promise about std::bad_alloc.
  std::vector<std::int16_t> rows(Count, 0);
  std::vector<float> values(Count, 0.0f);
  store.ADCState.ChannelsCount = Count;
  store.ADCState.ChannelRange.swap(rows);
  store.ChannelValues.swap(values);
}

Conversion ConversionOf(const Store& store, std::int16_t channel) {
  const std::int16_t row = RowOfChannel(store, channel);
  if (row < 0) return {};
  const float scale = store.ADCState.UnitScale[row];
  if (row < kDecimalRowsEnd) return {channel, scale, 0};
  if (row < kSignedRowsEnd) return {channel, 1, 0};
  // An unsigned count moves down by half its span onto the signed codes: by 128 for 8 bits.
  return {channel, 1, (scale + 1) / 2};
}

std::int16_t GetChannel(const Store& store, std::int16_t Index) {
  return ConversionOf(store, Index).CodeOf(store.ChannelValues.data());
}

std::int16_t ChannelAt(const Store& store, std::int32_t position) {
  const auto& table = store.InputState.InputChannels;
  return static_cast<std::size_t>(position) < table.size() ? table[position] : std::int16_t{-1};
}

std::vector<std::int16_t> GetKadr(const Store& store) {
  std::vector<std::int16_t> kadr(store.InputState.InputCountChannels);
  for (std::size_t i = 0; i < kadr.size(); ++i)
    kadr[i] = GetChannel(store, ChannelAt(store, static_cast<std::int32_t>(i)));
  return kadr;
}

void SetChannelRange(Store& store, std::int16_t Index, std::int16_t RangeIndex) {
  if (RowOfChannel(store, Index) < 0) return;
  const std::int16_t last = store.ADCState.RangesCount - 1;
  store.ADCState.ChannelRange[Index] = RangeIndex < 0 ? std::int16_t{0} : std::min(RangeIndex, last);
}

std::int16_t RowOfChannel(const Store& store, std::int16_t Index) {
  if (Index < 0 || Index >= store.ADCState.ChannelsCount) return -1;
  return store.ADCState.ChannelRange[Index];
}

}  // namespace halden
