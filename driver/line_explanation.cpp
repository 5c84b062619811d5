#include "driver/line_explanation.h"

#include <cmath>
#include <limits>

#include "stream/line_parser.h"
#include "stream/number_parsing.h"

namespace halden {
namespace {

/// Calls ParseValue, then infers from the changed text and value which of its steps gave the number. The
/// rules themselves are only in ParseValue, so the explanation can't contradict them.
FieldExplanation ExplainField(const NumberRules& rules, std::string_view field, float& value) {
  FieldExplanation explained{.text = std::string(field)};
  std::string text(field);
  // No text reads as a NaN, so one that is still here wasn't stored.
  float number = std::numeric_limits<float>::quiet_NaN();
  if (!ParseValue(rules, text, number)) {
    explained.reading = FieldReading::kNoNumber;
    value = 0;
  } else if (std::isnan(number)) {
    explained.reading = FieldReading::kNotStored;
  } else {
    value = number;
    explained.read_as = text;
    // ParseValue removes text around a number but never reorders it, so a changed text that isn't part of the
    // field had its mark replaced.
    if (!IsNumericText(rules, text))
      explained.reading = FieldReading::kFrontOnly;
    else if (text == field)
      explained.reading = FieldReading::kNumber;
    else
      explained.reading =
          field.find(text) != std::string_view::npos ? FieldReading::kStripped : FieldReading::kMarkReplaced;
  }
  explained.value = value;
  return explained;
}

}  // namespace

std::vector<FieldExplanation> ExplainLine(const NumberRules& rules, const LineFormat& format,
                                          std::string_view line, std::vector<float>& values) {
  std::vector<FieldExplanation> fields;
  if (line.empty() || values.empty()) return fields;
  std::string_view rest = Trim(line);
  if (format.IsOneValue()) return {ExplainField(rules, rest, values[0])};
  for (bool more = true; more;) {
    const std::size_t at = rest.find(format.separator);
    more = at != std::string_view::npos;
    const std::string_view field = Trim(rest.substr(0, at));
    const std::size_t channel = fields.size();
    if (channel >= values.size()) {
      if (!field.empty()) fields.push_back({.text = std::string(field), .reading = FieldReading::kIgnored});
    } else if (!more && field.empty()) {
      fields.push_back({.reading = FieldReading::kNothingLeft, .value = values[channel]});
    } else {
      fields.push_back(ExplainField(rules, field, values[channel]));
    }
    if (more) rest = Trim(rest.substr(at + 1));
  }
  // Channels without a field become 0.
  while (fields.size() < values.size()) {
    values[fields.size()] = 0;
    fields.push_back({.reading = FieldReading::kMissing});
  }
  return fields;
}

}  // namespace halden
