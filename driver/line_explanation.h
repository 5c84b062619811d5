#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/number_rules.h"

namespace halden {

/// How the driver splits lines into fields.
struct LineFormat {
  char separator = '\0';  ///< tab, ';', blank or '('; NUL: a line is one value
  std::int16_t columns =
      0;  ///< fields of the line that the format was learnt from; below 2: a line is one value
  std::int16_t channels = 0;  ///< channels that the fields are read into

  bool IsOneValue() const { return separator == '\0' || columns < 2; }
};

/// How a field was read.
enum class FieldReading {
  kNumber,        ///< a number as received: "-12.5"
  kStripped,      ///< a number after the text around it was removed: "T=4.5C"
  kMarkReplaced,  ///< a number after its decimal mark was replaced by the system's: "1,5" if that is a point
  kFrontOnly,     ///< not a number as a whole, so only its beginning counts: "1.2.3" gives 1.2
  kNoNumber,      ///< holds no digit; the channel becomes 0
  kNotStored,     ///< has digits but isn't a number ("12:34"): counts as read; the channel keeps its value
  kNothingLeft,   ///< nothing follows the last separator; the channel keeps its value
  kMissing,       ///< the line has no such field; the channel becomes 0
  kIgnored,       ///< the line has more fields than there are channels
};

struct FieldExplanation {
  std::string text = {};     ///< as received, without blanks at its ends; ANSI
  std::string read_as = {};  ///< the text that the number was read from; ANSI, empty if there is no number
  FieldReading reading = FieldReading::kNumber;
  float value = 0;  ///< the channel's value afterwards; 0 for kIgnored
};

/// Reads a line (ANSI, without its CR) as LineParser::ParseLine does under this format, and explains what
/// became of each field. `values` holds the `format.channels` values of the channels and changes as it would
/// in the driver. An empty line has no fields. Throws std::bad_alloc.
std::vector<FieldExplanation> ExplainLine(const NumberRules& rules, const LineFormat& format,
                                          std::string_view line, std::vector<float>& values);

}  // namespace halden
