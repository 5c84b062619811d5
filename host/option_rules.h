#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "host/arguments.h"

// The values that the command line's options take, and which options exclude each other. Each parser returns
// false for a value that isn't allowed.
namespace halden::host {

/// Reads a whole text as a number, whatever the locale.
template <typename Number>
bool ParseWithin(std::string_view text, Number lowest, Number highest, Number* value) {
  Number parsed{};
  const auto [end, result] = std::from_chars(text.data(), text.data() + text.size(), parsed);
  if (result != std::errc() || end != text.data() + text.size()) return false;
  if (!(parsed >= lowest && parsed <= highest)) return false;
  *value = parsed;
  return true;
}

/// Reads "port=N,channels=N,rate=X" in any order. The rate must be there.
bool ParseAnswer(std::string_view value, std::optional<UserAnswer>* answer);

/// Reads channels separated by commas.
bool ParseChannels(std::string_view value, std::vector<std::int16_t>* channels);

/// Reads "CH=RANGE[,CH=RANGE...]" or "auto". Appends, since --range may be given several times.
bool ParseRanges(std::string_view value, std::vector<RangeChoice>* ranges, bool* auto_ranges);

/// What ParseRanges takes, for messages.
const std::string& RangesAllowed();

/// Reads a size ("500kB") or a time ("10min").
bool ParseRotation(std::string_view value, Rotation* rotation);

/// Reads "[ADDRESS:]PORT" with a numeric address; one of version 6 is in brackets.
bool ParseWebAddress(std::string_view value, WebAddress* where);

/// The first reason why these arguments can't be carried out together, as one line for the user; empty if
/// they can.
std::string FindConflict(const Arguments& arguments);

}  // namespace halden::host
