#pragma once

#include <string>
#include <vector>

#include "host/arguments.h"
#include "host/csv_writer.h"
#include "model/IADC3.h"

namespace halden::host {

/// Chooses the ranges asked for. Call it after detection. False: a channel does not exist; `error` says
/// which.
bool ApplyRanges(IADC3& adc, const std::vector<RangeChoice>& ranges, std::string* error);

/// Gives the driver the table of channels to record, all of them if `channels` is empty. As above.
bool ApplyChannels(IADC3& adc, const std::vector<std::int16_t>& channels, std::string* error);

/// Name and format of each channel in the list, by the ranges that are chosen now.
std::vector<Column> ColumnsOf(IADC3& adc, const std::vector<std::int16_t>& channels);

std::vector<std::int16_t> AllChannels(IADC3& adc);

}  // namespace halden::host
