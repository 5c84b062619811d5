#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/number_rules.h"

namespace halden {

/// How the driver splits lines.
struct LineFormat {
  char separator = '\0';  ///< tab, ';', blank or '('; NUL: a line is one value
  std::int16_t columns =
      0;  ///< of the line that the format was learnt from; below 2, a line is one value too
  std::int16_t channels = 0;  ///< that lines are read into

  bool IsOneValue() const { return separator == '\0' || columns < 2; }
};

/// What became of a field.
enum class FieldReading {
  kNumber,        ///< a number as it is: "-12.5"
  kStripped,      ///< a number once the text around it is removed: "T=4.5C"
  kMarkReplaced,  ///< a number once its decimal mark is replaced by the system's: "1,5" where that is a point
  kFrontOnly,     ///< no number as a whole, so only its front counts: "1.2.3" gives 1.2
  kNoNumber,      ///< holds no digit; the channel becomes 0
  kNotStored,     ///< has digits but is no number ("12:34"): counts as read, and the channel keeps its value
  kNothingLeft,   ///< nothing follows the last separator; the channel keeps its value
  kMissing,       ///< the line has no such field; the channel becomes 0
  kIgnored,       ///< there is no channel for it
};

struct FieldExplanation {
  std::string text = {};     ///< as received, without blanks at its ends; ANSI
  std::string read_as = {};  ///< the text that the number was read from; ANSI, empty where there is no number
  FieldReading reading = FieldReading::kNumber;
  float value = 0;  ///< of the channel afterwards; 0 for kIgnored
};

/// Reads a line (ANSI, without its CR) as LineParser::ParseLine does under this format, and says for each
/// field what it made of it. `values` are the channels' values, `format.channels` of them, and change as they
/// do in the driver. An empty line has no fields. Throws std::bad_alloc.
std::vector<FieldExplanation> ExplainLine(const NumberRules& rules, const LineFormat& format,
                                          std::string_view line, std::vector<float>& values);

}  // namespace halden
