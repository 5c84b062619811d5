#include "stream/line_parser.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "stream/number_parsing.h"

namespace halden {

namespace {

constexpr std::string_view kSeparators = "\t; (";  // the first of them that a line holds splits it
constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kNumberChars = "0123456789-+.,";

void StripToNumberChars(std::string& text) {
  const auto is_number_char = [](const char& c) { return IsNumberChar({&c, 1}); };
  text.erase(std::find_if(text.rbegin(), text.rend(), is_number_char).base(), text.end());
  text.erase(text.begin(), std::find_if(text.begin(), text.end(), is_number_char));
}

/// With every `mark` replaced by the system's decimal separator the text may be a number at last.
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
  StripToNumberChars(text);
  if (IsNumericText(rules, text))
    value = TextToFloat(rules, text);
  else if (Holds(text, '.'))
    value = ValueWithMark(rules, text, '.');
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
  if (store_.Separator.empty() && ParseField(line, unused))
    store_.ColumnsCount = 1;
  else
    store_.ColumnsCount = CountColumns(Trim(line));
  store_.FormatKnown = true;
  return store_.ColumnsCount;
}

/// Without a separator each character of the text counts as one column.
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
  // Under any other rules no line is ordinary.
  const bool ordinary = (decimal == '.' || decimal == ',') && SystemDecimalSeparator(rules_) == decimal;
  scanner_.Prepare(decimal, rules_.GroupSeparator(),
                   HasColumns() ? store_.Separator[0] : LineScanner::kNoSeparator);
  const std::int16_t channels = ordinary ? store_.ADCState.ChannelsCount : std::int16_t{0};
  value_count_ = HasColumns() ? channels : std::min<std::int32_t>(channels, 1);
  frames_.Begin();
}

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

std::int16_t LineParser::ReadLine(std::string_view line) {
  if (line.empty() || store_.ADCState.ChannelsCount < 1) return 0;
  const std::string_view rest = Trim(line);
  const std::int16_t read =
      HasColumns() ? ParseFields(rest) : static_cast<std::int16_t>(ParseField(rest, store_.ChannelValues[0]));
  frames_.AddBufferKadr();
  return read;
}

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

/// A field without a number counts as 0.0.
bool LineParser::ParseField(std::string_view text, float& value) {
  field_.assign(text);
  const bool read = ParseValue(rules_, field_, value);
  if (!read) value = 0;
  return read;
}

}  // namespace halden
