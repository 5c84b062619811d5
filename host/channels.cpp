#include "host/channels.h"

#include <array>
#include <cmath>
#include <numeric>

#include "host/arguments.h"

namespace halden::host {
namespace {

constexpr std::array kRangeTexts = {"±1000",      "±100",        "±10",         "±1",          "±0.1",
                                    "Int 8-bit",  "Int 10-bit",  "Int 12-bit",  "Int 14-bit",  "Int 16-bit",
                                    "UInt 8-bit", "UInt 10-bit", "UInt 12-bit", "UInt 14-bit", "UInt 16-bit"};

/// Makes different spellings of a range equal: "+-10", "± 10" and "±10"; "int8bit" and "Int 8-bit".
std::string Normalized(std::string_view text) {
  std::string normalized;
  for (const std::string_view sign : {"±", "+-", "+/-"}) {
    if (!text.starts_with(sign)) continue;
    normalized = "±";
    text.remove_prefix(sign.size());
    break;
  }
  for (const char c : text)
    if (c != ' ' && c != '-') normalized += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return normalized;
}

/// What values the row is for, and how a code reads back.
std::string PurposeOf(std::size_t row) {
  // Row 0 is ±1000 with steps of 0.05; each further decimal row is ten times as fine.
  if (row < 5) {
    const double step = 0.05 / std::pow(10, static_cast<double>(row));
    const int decimals = static_cast<int>(row) + 2;
    return "numbers up to ±" + Trimmed(step * 32767, decimals) + " in steps of " + Trimmed(step, decimals);
  }
  const int bits = 8 + 2 * static_cast<int>((row - 5) % 5);
  const long half = 1L << (bits - 1);
  return row < 10
             ? "counts from " + std::to_string(-half) + " to " + std::to_string(half - 1) +
                   " of a converter, read back as -1 to 1"
             : "counts from 0 to " + std::to_string(2 * half - 1) + " of a converter, read back as 0 to 1";
}

/// Whether the device has this channel. If not, `error` is one line that names the option.
bool Exists(IADC3& adc, std::int16_t channel, const char* option, std::string* error) {
  const int count = adc.ChannelsCount();
  if (channel < count) return true;
  *error = std::string(option) + " names channel " + std::to_string(channel) + ", but the device has " +
           (count == 1 ? "only channel 0" : "channels 0 to " + std::to_string(count - 1));
  return false;
}

}  // namespace

std::int16_t RowOfRange(std::string_view text) {
  const std::string wanted = Normalized(text);
  for (std::size_t row = 0; row < kRangeTexts.size(); ++row)
    if (wanted == std::to_string(row) || wanted == Normalized(kRangeTexts[row]))
      return static_cast<std::int16_t>(row);
  return -1;
}

std::string ListOfRanges() {
  std::string list;
  for (std::size_t row = 0; row < kRangeTexts.size(); ++row)
    list += (row == 0 ? "" : ", ") + std::to_string(row) + " " + kRangeTexts[row] +
            (row == 4    ? " for numbers"
             : row == 9  ? " for signed counts"
             : row == 14 ? " for unsigned counts"
                         : "");
  return list;
}

std::string DescribeRanges() {
  std::string lines = "Row  Range        What the device sends\n";
  for (std::size_t row = 0; row < kRangeTexts.size(); ++row) {
    const std::string number = std::to_string(row);
    const std::string text = kRangeTexts[row];
    const std::size_t width = text.size() - (row < 5 ? 1 : 0);  // the sign has two bytes
    lines += number + std::string(5 - number.size(), ' ') + text + std::string(13 - width, ' ') +
             PurposeOf(row) + "\n";
  }
  return lines;
}

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
