#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/decimal_text.h"
#include "model/IADC3.h"

namespace halden::host {

struct RangeChoice;

/// One column of a recording or of the live view.
struct Column {
  std::string name;
  ValueFormat format;
};

/// The row of the range table named by `text`: its number ("2") or its text ("±10", also "+-10"), regardless
/// of case and blanks. -1 if there is no such row.
std::int16_t RowOfRange(std::string_view text);

/// All rows with their texts, in one line.
std::string ListOfRanges();

/// The range table for the user: a line for each row, with its text and what it is for.
std::string DescribeRanges();

/// Sets the ranges of channels. Call this after detection, which resets them. False: a channel doesn't exist;
/// `error` says which, and the ranges before it in the list have been set.
bool ApplyRanges(IADC3& adc, const std::vector<RangeChoice>& ranges, std::string* error);

/// Makes `channels`, in this order, the columns of a frame; all channels if it is empty. False: a channel
/// doesn't exist; `error` says which, and nothing has changed.
bool ApplyChannels(IADC3& adc, const std::vector<std::int16_t>& channels, std::string* error);

/// The columns of `channels`, formatted for the ranges chosen now.
std::vector<Column> ColumnsOf(IADC3& adc, const std::vector<std::int16_t>& channels);

/// 0, 1, 2 ... for every channel of the device.
std::vector<std::int16_t> AllChannels(IADC3& adc);

}  // namespace halden::host
