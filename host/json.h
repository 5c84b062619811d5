#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/inspect.h"

// What --json prints: each function gives one object, on one line that ends in a newline. Text that is not
// UTF-8 has U+FFFD in place of the malformed bytes, and no control character remains unescaped.

namespace halden::host {

struct RecordingSummary;

/// `failures` has one element per device, as SystemPlatform::OpenFailures.
std::string DevicesJson(const std::vector<ListedDevice>& devices, const std::vector<std::string>& failures);

std::string SettingsJson(const std::vector<StoredSetting>& settings);

std::string SummaryJson(const RecordingSummary& summary);

/// The values of all channels at one time. `values` are decimal numbers as WriteValue writes them.
struct LiveValues {
  double seconds = 0;  ///< since the start
  float rate = 0;      ///< lines per second
  std::vector<std::string> values = {};
  std::vector<std::int16_t> codes = {};
};
std::string LiveValuesJson(const LiveValues& live);

}  // namespace halden::host
