#include "host/findings.h"

#include <algorithm>

#include "host/decimal_text.h"
#include "host/json.h"

namespace halden::host {
namespace {

std::string Quoted(std::string_view bytes) {
  return "\"" + EscapedBytes(bytes) + "\"";
}

/// `text` padded with blanks to `width` UTF-8 characters.
std::string Padded(std::string text, std::size_t width) {
  const auto continues = [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; };
  const auto characters = text.size() - static_cast<std::size_t>(std::ranges::count_if(text, continues));
  return text + std::string(width - std::min(width, characters), ' ');
}

std::string RangeText(IADC3& adc, std::int16_t row) {
  const auto ranges = adc.Ranges();
  return static_cast<std::size_t>(row) < ranges.size() ? ranges[static_cast<std::size_t>(row)] : "?";
}

/// Advice that ends in an option for the user to copy, such as "--range 0=±10".
std::string RangeAdvice(IADC3& adc, const sdk::Observation& observation) {
  if (observation.row < 0) return "no range is that wide";
  constexpr std::int16_t kFirstRowOfCounts = 5;
  return RangeText(adc, observation.row) + " would fit: --range " + std::to_string(observation.channel) +
         "=" + std::to_string(observation.row) +
         (observation.row < kFirstRowOfCounts ? "" : ", which reads back as parts of full scale");
}

}  // namespace

std::string EscapedBytes(std::string_view bytes) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    switch (c) {
      case '\r':
        text += "\\r";
        break;
      case '\n':
        text += "\\n";
        break;
      case '\t':
        text += "\\t";
        break;
      case '\\':
        text += "\\\\";
        break;
      case '"':
        text += "\\\"";
        break;
      default:
        if (byte >= ' ' && byte <= '~')
          text += c;
        else
          text += {'\\', 'x', kHex[byte >> 4], kHex[byte & 15]};
    }
  }
  return text;
}

/// What a user can do about slow or very long lines.
static std::string AnswerHint(ByteOrigin origin) {
  return origin == ByteOrigin::kConvertedFile ? "replay it with record --device replay:FILE --answer ..."
                                              : "--answer channels=N,rate=R uses it anyway";
}

static std::string NothingCame(ByteOrigin origin) {
  if (origin != ByteOrigin::kDevice) return "the file is empty";
  return "no byte came; is it powered, and is this its port? If it sends later, " + AnswerHint(origin);
}

static std::string UnprintableCame(const sdk::Heard& heard, ByteOrigin origin) {
  if (origin != ByteOrigin::kDevice) return "most of the file is not text";
  return "what it sent is mostly not text, so its baud rate is probably not " +
         (heard.baud > 0 ? std::to_string(heard.baud) : std::string("the port's")) +
         "; set it with --device ...,baud=N";
}

static std::string CauseText(const sdk::Heard& heard, ByteOrigin origin) {
  switch (sdk::WhyNotRecognised(heard)) {
    case sdk::Silence::kNotOpened:
      return "it could not be opened";
    case sdk::Silence::kNothing:
      return NothingCame(origin);
    case sdk::Silence::kUnprintable:
      return UnprintableCame(heard, origin);
    case sdk::Silence::kFeedsOnly:
      return "its lines end in LF alone, but the driver needs CR; add " +
             std::string(origin == ByteOrigin::kConvertedFile ? "--eol lf"
                                                              : "eol=lf to the device: --device ...,eol=lf");
    case sdk::Silence::kNoLineEnd:
      return "no line end (CR) came in " + std::to_string(heard.bytes) +
             " bytes, so its lines are very long or end in something else; " + AnswerHint(origin);
    case sdk::Silence::kFewLines:
      return "fewer than three line ends came, so " +
             std::string(origin == ByteOrigin::kDevice ? "it is slow" : "the file is short") +
             " or its lines are very long; " + AnswerHint(origin);
    case sdk::Silence::kEmptyLines:
      return "only empty lines came";
    case sdk::Silence::kRecognisable:
      break;
  }
  return "lines came, but no two whole ones in a row";
}

std::string WhyNotRecognisedText(const sdk::Heard& heard, ByteOrigin origin, const std::string& failure) {
  if (!failure.empty() && sdk::WhyNotRecognised(heard) == sdk::Silence::kNotOpened) return failure;
  const char* const sent = origin == ByteOrigin::kDevice ? "; it sent " : "; it begins with ";
  return CauseText(heard, origin) + (heard.sample.empty() ? "" : sent + Quoted(heard.sample));
}

std::string SeparatorText(char separator) {
  return separator == '\t' ? "tab" : separator == ' ' ? "blank" : std::string("\"") + separator + "\"";
}

std::string ReadingText(FieldReading reading) {
  switch (reading) {
    case FieldReading::kNumber:
      return "plain number";
    case FieldReading::kStripped:
      return "text around the number removed";
    case FieldReading::kMarkReplaced:
      return "decimal mark replaced by the system's";
    case FieldReading::kFrontOnly:
      return "only the front is a number";
    case FieldReading::kNoNumber:
      return "no number, so 0";
    case FieldReading::kNotStored:
      return "digits but no number: the column keeps its value";
    case FieldReading::kNothingLeft:
      return "nothing follows the last separator: the column keeps its value";
    case FieldReading::kMissing:
      return "the line has no such field, so 0";
    case FieldReading::kIgnored:
      break;
  }
  return "the device has no column for it";
}

std::vector<std::string> DescribeLine(IADC3& adc, const NumberRules& rules, const LineFormat& format,
                                      const std::string& line) {
  constexpr std::size_t kMostShown = 16;
  constexpr std::size_t kMostOfLine = 100;  // bytes
  std::vector<float> values(static_cast<std::size_t>(std::max<int>(format.channels, 0)));
  const auto fields = ExplainLine(rules, format, line, values);
  const std::string shown = line.size() > kMostOfLine ? line.substr(0, kMostOfLine) : line;
  std::vector<std::string> lines = {"Last line: " + Quoted(shown) +
                                    (shown.size() < line.size() ? " ..." : "")};
  lines.push_back(format.IsOneValue() ? "A line is one value:"
                                      : "Lines are split at " + SeparatorText(format.separator) + " into " +
                                            std::to_string(format.channels) + " columns:");
  for (std::size_t i = 0; i < std::min(values.size(), kMostShown); ++i) {
    const auto channel = static_cast<std::int16_t>(i);
    std::string row = "  " + Padded(adc.ChannelName(channel), 10) + Padded(Shortest(values[i]), 12) +
                      "range " + Padded(RangeText(adc, adc.ChannelRange(channel)), 12);
    // A line of one value leaves the other channels without a field.
    const FieldReading reading = i < fields.size() ? fields[i].reading : FieldReading::kMissing;
    if (reading != FieldReading::kNumber) row += ReadingText(reading);
    row.erase(row.find_last_not_of(' ') + 1);
    lines.push_back(std::move(row));
  }
  if (values.size() > kMostShown)
    lines.push_back("  and " + std::to_string(values.size() - kMostShown) + " more");
  return lines;
}

std::string ExplanationText(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch) {
  const auto& fields = watch.Fields();
  std::string text = "Line " + std::to_string(number) + ": " + Quoted(line) + "\n";
  if (fields.empty()) return text + "  empty, so it is skipped\n";
  if (!format.IsOneValue()) text += "  split at " + SeparatorText(format.separator) + "\n";
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const auto channel = static_cast<std::int16_t>(i);
    const bool has_channel = channel < format.channels;
    const FieldExplanation& field = fields[i];
    std::string row = "  " + Padded(has_channel ? adc.ChannelName(channel) : "-", 10) + " " +
                      Padded(Quoted(field.text), 14) + " ";
    if (has_channel)
      row +=
          Padded(Shortest(field.value), 11) + " code " + Padded(std::to_string(watch.Code(channel)), 6) + " ";
    text += row + " " + ReadingText(field.reading) + "\n";
  }
  return text;
}

std::string ExplanationJson(IADC3& adc, const LineFormat& format, std::string_view line, std::int64_t number,
                            const sdk::LineWatch& watch) {
  ExplainedLine explained{.number = number,
                          .text = EscapedBytes(line),
                          .separator = format.IsOneValue() ? "" : std::string(1, format.separator)};
  for (std::size_t i = 0; i < watch.Fields().size(); ++i) {
    const auto channel = static_cast<std::int16_t>(i);
    const FieldExplanation& field = watch.Fields()[i];
    explained.fields.push_back({.name = channel < format.channels ? adc.ChannelName(channel) : "",
                                .text = EscapedBytes(field.text),
                                .value = field.value,
                                .code = watch.Code(channel),
                                .reading = ReadingText(field.reading)});
  }
  return ExplainedLineJson(explained);
}

std::string ObservationText(IADC3& adc, const sdk::Observation& observation) {
  using sdk::Observation;
  const std::string column = observation.channel < 0 ? "" : adc.ChannelName(observation.channel);
  const std::string range =
      observation.channel < 0 ? "" : RangeText(adc, adc.ChannelRange(observation.channel));
  const std::string example = Quoted(observation.example);
  switch (observation.kind) {
    case Observation::kCommas:
      return example + " is read as one value: the comma isn't a separator; tab, \";\", blank and \"(\" are";
    case Observation::kHexadecimal:
      return column + ": " + example + " is hexadecimal, which is not read as a number";
    case Observation::kTimeOfDay:
      return column + ": " + example + " is a time of day, which is not read as a number";
    case Observation::kFieldCount:
      return "a line has " + std::to_string(observation.fields) +
             (observation.fields == 1 ? " field" : " fields") +
             ", which doesn't match the number of columns: " + example;
    case Observation::kNeverNumber:
      return column + " has never been a number";
    case Observation::kSaturated:
      return column + ": " + observation.example + " is outside its range " + range + "; " +
             RangeAdvice(adc, observation);
    case Observation::kCoarse:
      return column + " uses fewer than 20 codes of its range " + range + " and loses digits; the finer " +
             RangeAdvice(adc, observation);
  }
  return {};
}

void SayObservations(Session& session, Progress& progress, bool json) {
  for (const auto& observation : session.TakeObservations()) {
    const std::string text = ObservationText(session.Adc(), observation);
    if (json)
      progress.Say(WarningJson(ObservationName(observation.kind), observation.channel, text));
    else
      progress.Warn(text);
  }
}

std::string ObservationName(sdk::Observation::Kind kind) {
  using sdk::Observation;
  switch (kind) {
    case Observation::kCommas:
      return "commas";
    case Observation::kHexadecimal:
      return "hexadecimal";
    case Observation::kTimeOfDay:
      return "time_of_day";
    case Observation::kFieldCount:
      return "field_count";
    case Observation::kNeverNumber:
      return "never_number";
    case Observation::kSaturated:
      return "saturated";
    case Observation::kCoarse:
      return "coarse";
  }
  return {};
}

}  // namespace halden::host
