#include "host/channels.h"

#include <numeric>

#include "host/arguments.h"

namespace halden::host {
namespace {

bool Exists(IADC3& adc, std::int16_t channel, const char* option, std::string* error) {
  const int count = adc.ChannelsCount();
  if (channel < count) return true;
  *error = std::string(option) + " names channel " + std::to_string(channel) + ", but the device has " +
           (count == 1 ? "only channel 0" : "channels 0 to " + std::to_string(count - 1));
  return false;
}

}  // namespace

bool ApplyRanges(IADC3& adc, const std::vector<RangeChoice>& ranges, std::string* error) {
  for (const auto& [channel, row] : ranges) {
    if (!Exists(adc, channel, "--range", error)) return false;
    adc.ChannelRange(channel, row);
  }
  return true;
}

bool ApplyChannels(IADC3& adc, const std::vector<std::int16_t>& channels, std::string* error) {
  for (const std::int16_t channel : channels) {
    if (!Exists(adc, channel, "--channels", error)) return false;
  }
  adc.InputChannels(channels.empty() ? AllChannels(adc) : channels);
  return true;
}

std::vector<Column> ColumnsOf(IADC3& adc, const std::vector<std::int16_t>& channels) {
  std::vector<Column> columns;
  columns.reserve(channels.size());
  for (const std::int16_t channel : channels) {
    columns.push_back(
        {adc.ChannelName(channel), FormatOf(adc.ChannelUnitScale(channel), adc.ChannelUnitOffset(channel))});
  }
  return columns;
}

std::vector<std::int16_t> AllChannels(IADC3& adc) {
  std::vector<std::int16_t> channels(static_cast<std::size_t>(adc.ChannelsCount()));
  std::iota(channels.begin(), channels.end(), std::int16_t{0});
  return channels;
}

}  // namespace halden::host
