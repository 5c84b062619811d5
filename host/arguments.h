#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/devices/device.h"
#include "backends/system_platform.h"
#include "host/recording.h"
#include "host/web/web_server.h"

namespace halden::host {

/// kHelp only prints Arguments::text.
enum class Command { kHelp, kDevices, kRanges, kWatch, kExplain, kRecord, kConvert, kMonitor, kSettings };

inline constexpr std::int16_t kLastChannel = 32766;
inline constexpr std::int16_t kLastRange = 14;  ///< row of the range table

struct RangeChoice {
  std::int16_t channel = 0;  ///< 0 to kLastChannel
  std::int16_t row = 0;      ///< 0 to kLastRange
};

/// What the command line asks for.
struct Arguments {
  Command command = Command::kHelp;
  std::string text;  ///< for kHelp, the help or the version to print
  SystemPlatformOptions platform;
  bool quiet = false;
  bool json = false;
  std::optional<double> seconds;       ///< 0.001 to 1e9
  std::optional<std::int64_t> frames;  ///< 1 to 1e12
  std::vector<std::int16_t> channels;  ///< 0 to kLastChannel, in the order of a frame; empty: all
  std::vector<RangeChoice> ranges;
  bool auto_ranges = false;              ///< choose ranges for the channels not in `ranges`
  std::string input;                     ///< the file to convert
  LineEnd line_end = LineEnd::kCr;       ///< for convert: how the file ends its lines
  std::optional<double> line_rate;       ///< for convert: lines per second, from which times are computed
  std::int64_t lines = 10;               ///< for explain: number of lines, 1 to 1e9
  std::optional<std::int32_t> capacity;  ///< frames, 1024 or more
  std::string csv;                       ///< a file, "-" for standard output; empty: none
  bool codes = false;
  std::string svg;  ///< a file; empty: none
  std::string npy;  ///< a file; empty: none
  TimeColumn time = TimeColumn::kNone;
  Existing existing = Existing::kRefuse;  ///< for the CSV and the arrays
  bool force = false;                     ///< overwrite existing files
  bool append = false;
  bool sync = false;
  Rotation rotation;
  std::optional<double> silence;  ///< seconds, 0.1 to 1e9
  bool reconnect = false;
  bool export_text = false;
  WebAddress serve;  ///< port 0: nothing is served
};

/// Parses the words that follow the program's name. nullopt on failure; then `error` is one printable line
/// that names the word at fault and says what is allowed.
std::optional<Arguments> ParseArguments(std::span<const char* const> words, std::string* error);

}  // namespace halden::host
