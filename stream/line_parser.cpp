#include "stream/line_parser.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "stream/number_parsing.h"

namespace halden {

namespace {

// In order of precedence: a line with ";" and blanks is split at ";" alone. The comma is a decimal mark or a
// group separator, never a field separator.
constexpr std::string_view kSeparators = "\t; (";
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kNumberChars = "0123456789-+.,";

/// "T=-4.5C" -> "-4.5". The text must hold a digit, which stops both ends.
void StripToNumberChars(std::string& text) {
  const auto is_number_char = [](const char& c) { return IsNumberChar({&c, 1}); };
  text.erase(std::find_if(text.rbegin(), text.rend(), is_number_char).base(), text.end());
  text.erase(text.begin(), std::find_if(text.begin(), text.end(), is_number_char));
}

/// Replaces every `mark` by the system's decimal separator and reads the text: by the locale if it is a
/// number now, or else what is a number at its front.
float ValueWithMark(const NumberRules& rules, std::string& text, char mark) {
  std::replace(text.begin(), text.end(), mark, SystemDecimalSeparator(rules));
  return IsNumericText(rules, text) ? TextToFloat(rules, text) : ToSingle(LeadingNumber(text));
}

bool Holds(std::string_view text, char c) {
  return text.find(c) != std::string_view::npos;
}

}  // namespace

bool IsNumberChar(std::string_view text) {
  if (text.empty()) return false;
  if (Holds(kDigits, text[0])) return true;
  return text.size() == 1 && Holds(kNumberChars, text[0]);
}

bool ParseValue(const NumberRules& rules, std::string& text, float& value) {
  if (text.empty()) return false;
  if (IsNumericText(rules, text)) {
    value = TextToFloat(rules, text);
    return true;
  }
  if (text.find_first_of(kDigits) == std::string::npos) return false;
  // From here on the field counts as read, whether or not a number is found in it.
  StripToNumberChars(text);
  if (IsNumericText(rules, text))
    value = TextToFloat(rules, text);
  else if (Holds(text, '.'))
    value = ValueWithMark(rules, text, '.');  // with both marks, only the point is replaced
  else if (Holds(text, ','))
    value = ValueWithMark(rules, text, ',');
  return true;
}

std::int16_t LineParser::DetectColumns(std::string_view line) {
  if (line.empty()) return 0;
  store_.ColumnsCount = 0;
  store_.Separator.clear();
  for (char separator : kSeparators) {
    if (!Holds(line, separator)) continue;
    store_.Separator = separator;
    break;
  }
  float unused;
  // Without a separator, a line that reads as a number is one column. Any other is text, see CountColumns.
  if (store_.Separator.empty() && ParseField(line, unused))
    store_.ColumnsCount = 1;
  else
    store_.ColumnsCount = CountColumns(Trim(line));
  store_.FormatKnown = true;
  return store_.ColumnsCount;
}

/// The columns of a trimmed line. Blanks after a separator are trimmed, so several blanks count as one and
/// several ";" don't. "1;;3" -> 3, "1;2;" -> 2. Without a separator each character counts as a column: "abc"
/// -> 3, though ParseLine reads such a line as one value.
std::int16_t LineParser::CountColumns(std::string_view rest) const {
  std::size_t columns = 0;
  if (store_.Separator.empty()) {
    columns = rest.size();
  } else {
    for (std::size_t at; (at = rest.find(store_.Separator[0])) != std::string_view::npos; ++columns)
      rest = Trim(rest.substr(at + 1));
    if (!rest.empty()) ++columns;
  }
  constexpr std::size_t kMost = std::numeric_limits<std::int16_t>::max();
  return static_cast<std::int16_t>(std::min(columns, kMost));
}

void LineParser::BeginPass() {
  const char decimal = rules_.DecimalSeparator();
  // The scanner knows "." and "," as decimal separators, and only as long as the two ways to ask the system
  // for it agree. Otherwise every line goes to the full rules.
  const bool ordinary = (decimal == '.' || decimal == ',') && SystemDecimalSeparator(rules_) == decimal;
  scanner_.Prepare(decimal, rules_.GroupSeparator(),
                   HasColumns() ? store_.Separator[0] : LineScanner::kNoSeparator);
  const std::int16_t channels = ordinary ? store_.ADCState.ChannelsCount : std::int16_t{0};
  // A format of one column fills the first channel alone and leaves the others as they are.
  value_count_ = HasColumns() ? channels : std::min<std::int32_t>(channels, 1);
  frames_.Begin();
}

/// The slow way for one line of a pass.
LineScanner::Result LineParser::TakeByFullRules(const char* line, const char* last_cr) {
  const auto* cr = static_cast<const char*>(std::memchr(line, '\r', last_cr - line + 1));
  return {cr, ReadLine({line, static_cast<std::size_t>(cr - line)})};
}

std::int16_t LineParser::ParseLine(std::string_view line) {
  frames_.Begin();
  const std::int16_t read = ReadLine(line);
  frames_.End();
  return read;
}

/// Reads a line by the full rules and stores its frame.
std::int16_t LineParser::ReadLine(std::string_view line) {
  if (line.empty() || store_.ADCState.ChannelsCount < 1) return 0;
  const std::string_view rest = Trim(line);
  const std::int16_t read =
      HasColumns() ? ParseFields(rest) : static_cast<std::int16_t>(ParseField(rest, store_.ChannelValues[0]));
  frames_.AddBufferKadr();
  return read;
}

/// Splits a trimmed line. Missing fields become 0.0, fields beyond the channels are ignored. If nothing
/// follows the last separator, that channel keeps its value: "1;2;" stores 1 and 2 and leaves the third.
std::int16_t LineParser::ParseFields(std::string_view rest) {
  const std::int16_t channels = store_.ADCState.ChannelsCount;
  std::int16_t read = 0;
  std::int16_t i = 0;
  for (bool found = true; found && i < channels; ++i) {
    const std::size_t at = rest.find(store_.Separator[0]);
    found = at != std::string_view::npos;
    if (found) {
      read += ParseField(Trim(rest.substr(0, at)), store_.ChannelValues[i]);
      rest = Trim(rest.substr(at + 1));
    } else if (!rest.empty()) {
      read += ParseField(rest, store_.ChannelValues[i]);
    }
  }
  std::fill(store_.ChannelValues.begin() + i, store_.ChannelValues.begin() + channels, 0.0f);
  return read;
}

/// Reads one trimmed field. A field without a digit stores 0.0.
bool LineParser::ParseField(std::string_view text, float& value) {
  field_.assign(text);
  const bool read = ParseValue(rules_, field_, value);
  if (!read) value = 0;
  return read;
}

}  // namespace halden
