#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "driver/inspect.h"

// The output of --json. Each function returns one object on one line that ends in a newline. In text that is
// not valid UTF-8, U+FFFD replaces the malformed bytes. All control characters are escaped.

namespace halden::host {

struct RecordingSummary;

/// `failures` is the result of SystemPlatform::OpenFailures: one element per device.
std::string DevicesJson(const std::vector<ListedDevice>& devices, const std::vector<std::string>& failures);

std::string SettingsJson(const std::vector<StoredSetting>& settings);

std::string SummaryJson(const RecordingSummary& summary);

/// An observation about the lines; without the newline. `channel` -1: about the whole line.
std::string WarningJson(const std::string& name, int channel, const std::string& text);

struct ExplainedField {
  std::string name;  ///< of its channel; empty if it has none
  std::string text;  ///< as received
  float value = 0;
  std::int16_t code = 0;
  std::string reading;  ///< how the value was read, as ReadingText
};
struct ExplainedLine {
  std::int64_t number = 0;  ///< from 1
  std::string text;         ///< as received
  std::string separator;    ///< empty: a line is one value
  std::vector<ExplainedField> fields = {};
};
std::string ExplainedLineJson(const ExplainedLine& line);

/// The values of all channels at one time. `values` are decimal numbers as WriteValue writes them.
struct LiveValues {
  double seconds = 0;  ///< since the start
  float rate = 0;      ///< the driver's Rate
  double pace = 0;     ///< lines per second, as measured; 0: not yet
  double age = 0;      ///< seconds since the last line
  std::vector<std::string> values = {};
  std::vector<std::int16_t> codes = {};
};
std::string LiveValuesJson(const LiveValues& live);

}  // namespace halden::host
