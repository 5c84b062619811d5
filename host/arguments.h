#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "backends/system_platform.h"

namespace halden::host {

enum class Command { kHelp, kDevices, kWatch, kRecord, kMonitor, kSettings };

struct RangeChoice {
  std::int16_t channel = 0;
  std::int16_t row = 0;
};

/// What the command line asks for.
struct Arguments {
  Command command = Command::kHelp;
  SystemPlatformOptions machine;
  bool quiet = false;
  bool json = false;
  std::optional<double> seconds;       ///< above 0
  std::optional<std::int64_t> frames;  ///< above 0
  std::vector<std::int16_t> channels;  ///< in the order of a frame; empty: all
  std::vector<RangeChoice> ranges;
  std::optional<std::int32_t> capacity;  ///< frames
  std::string csv;                       ///< a file, "-" for standard output; empty: none
  bool codes = false;
  std::string svg;  ///< a file; empty: none
  bool export_text = false;
};

/// Reads the words behind the program's name. Nothing on failure; then `error` is one line that names the
/// word at fault and says what is allowed.
std::optional<Arguments> ParseArguments(std::span<const char* const> words, std::string* error);

/// What --help prints.
std::string HelpText();

}  // namespace halden::host
