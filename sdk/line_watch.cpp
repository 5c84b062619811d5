#include "sdk/line_watch.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "model/ranges.h"

namespace halden::sdk {
namespace {

// Rows of the range table: the first five are decimal ranges, the others counts.
constexpr std::int16_t kDecimalRows = 5;
constexpr std::int16_t kInt16Row = 9;
constexpr std::int16_t kUInt16Row = 14;

bool IsHexadecimal(std::string_view field) {
  return field.size() > 2 && field[0] == '0' && (field[1] == 'x' || field[1] == 'X') &&
         field.find_first_not_of("0123456789abcdefABCDEF", 2) == std::string_view::npos;
}

bool IsTimeOfDay(std::string_view field) {
  return field.size() >= 3 && field.find_first_not_of("0123456789:") == std::string_view::npos &&
         field.find(':') != std::string_view::npos && field.front() != ':' && field.back() != ':';
}

/// The shortest text that reads back as the same number.
std::string ShortestText(float value) {
  char room[32];
  return {room, std::to_chars(room, room + sizeof room, value).ptr};
}

/// Whether commas in a line that is read as one value look like separators: "1.5,2.5" or "1,2,3". A single
/// comma is taken for a decimal mark, except in locales where it separates groups of digits and is skipped.
bool CommasLookLikeSeparators(std::string_view line, const NumberRules& rules) {
  const auto commas = std::ranges::count(line, ',');
  const bool with_point = line.find('.') != std::string_view::npos;
  return commas >= 2 || (commas == 1 && (with_point || rules.GroupSeparator() == ','));
}

}  // namespace

std::int16_t FinestRow(float lowest, float highest) {
  constexpr double kHighestCode = 32767;
  const double largest = std::max(std::fabs(double{lowest}), std::fabs(double{highest}));
  double scale = 200000;
  for (std::int16_t row = kDecimalRows - 1; row >= 0; --row, scale /= 10) {
    if (largest * scale <= kHighestCode) return row;
  }
  if (lowest >= -kHighestCode - 1 && highest <= kHighestCode) return kInt16Row;
  return lowest >= 0 && highest <= 65535 ? kUInt16Row : std::int16_t{-1};
}

LineWatch::LineWatch(const NumberRules& rules, const LineFormat& format) : rules_(rules), format_(format) {
  InitRanges(store_, rules);
  SetChannelsCount(store_, format.channels);
  channels_.resize(store_.ChannelValues.size());
}

void LineWatch::SetRange(std::int16_t channel, std::int16_t row) {
  if (RowOfChannel(store_, channel) == row || channel < 0 || channel >= format_.channels) return;
  SetChannelRange(store_, channel, row);
  Channel& watched = channels_[static_cast<std::size_t>(channel)];
  watched.codes.clear();
  watched.inexact = false;
  reported_.erase({Observation::kSaturated, channel});
  reported_.erase({Observation::kCoarse, channel});
}

std::int16_t LineWatch::FittingRow(std::int16_t channel) const {
  const Channel& watched = channels_.at(static_cast<std::size_t>(channel));
  return watched.had_number ? FinestRow(watched.lowest, watched.highest) : std::int16_t{-1};
}

std::vector<Observation> LineWatch::Add(std::string_view line) {
  new_.clear();
  fields_ = ExplainLine(rules_, format_, line, store_.ChannelValues);
  if (fields_.empty()) return {};
  ++lines_;
  WatchLine(line, fields_);
  for (std::size_t i = 0; i < std::min(fields_.size(), channels_.size()); ++i)
    WatchField(static_cast<std::int16_t>(i), fields_[i]);
  if (lines_ == kEnoughLines) WatchAfterEnough();
  return std::move(new_);
}

void LineWatch::WatchLine(std::string_view line, const std::vector<FieldExplanation>& fields) {
  if (format_.IsOneValue()) {
    if (CommasLookLikeSeparators(line, rules_))
      Report({.kind = Observation::kCommas, .example = std::string(line)});
    return;
  }
  const auto is_there = [](const FieldExplanation& field) {
    return field.reading != FieldReading::kMissing && field.reading != FieldReading::kNothingLeft;
  };
  const auto count = static_cast<int>(std::ranges::count_if(fields, is_there));
  if (count != format_.columns)
    Report({.kind = Observation::kFieldCount, .example = std::string(line), .fields = count});
}

void LineWatch::WatchField(std::int16_t channel, const FieldExplanation& field) {
  if (IsHexadecimal(field.text))
    Report({.kind = Observation::kHexadecimal, .channel = channel, .example = field.text});
  else if (IsTimeOfDay(field.text))
    Report({.kind = Observation::kTimeOfDay, .channel = channel, .example = field.text});
  if (!field.read_as.empty()) WatchValue(channel, field.value);
}

void LineWatch::WatchValue(std::int16_t channel, float value) {
  Channel& watched = channels_[static_cast<std::size_t>(channel)];
  watched.lowest = watched.had_number ? std::min(watched.lowest, value) : value;
  watched.highest = watched.had_number ? std::max(watched.highest, value) : value;
  watched.had_number = true;
  const std::int16_t row = RowOfChannel(store_, channel);
  const std::int16_t code = GetChannel(store_, channel);
  // The end codes don't always mean saturation: on a row of counts they are the extreme counts themselves.
  const bool at_end = code == 32767 || code == -32768;
  if (at_end && (row < kDecimalRows || FinestRow(value, value) != row))
    Report({.kind = Observation::kSaturated,
            .channel = channel,
            .example = ShortestText(value),
            .row = FinestRow(watched.lowest, watched.highest)});
  if (row >= kDecimalRows) return;
  if (watched.codes.size() < kFewCodes) watched.codes.insert(code);
  const double read_back = code / double{store_.ADCState.UnitScale[static_cast<std::size_t>(row)]};
  const double spread = watched.highest - watched.lowest;
  // Noticeable: more than 1 % of the signal's spread, or 0.1 % of the value if that is more.
  const double loss = std::max(spread / 100, std::fabs(double{value}) / 1000);
  if (std::fabs(read_back - value) > loss) watched.inexact = true;
  if (lines_ > kEnoughLines && IsCoarse(channel))
    Report({.kind = Observation::kCoarse,
            .channel = channel,
            .row = FinestRow(watched.lowest, watched.highest)});
}

bool LineWatch::IsCoarse(std::int16_t channel) const {
  const Channel& watched = channels_[static_cast<std::size_t>(channel)];
  const std::int16_t row = RowOfChannel(store_, channel);
  return row < kDecimalRows && watched.had_number && watched.inexact && watched.codes.size() < kFewCodes &&
         FinestRow(watched.lowest, watched.highest) > row;
}

void LineWatch::WatchAfterEnough() {
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    const auto channel = static_cast<std::int16_t>(i);
    if (!channels_[i].had_number) Report({.kind = Observation::kNeverNumber, .channel = channel});
    if (IsCoarse(channel))
      Report({.kind = Observation::kCoarse,
              .channel = channel,
              .row = FinestRow(channels_[i].lowest, channels_[i].highest)});
  }
}

void LineWatch::Report(Observation observation) {
  if (reported_.emplace(observation.kind, observation.channel).second) new_.push_back(std::move(observation));
}

}  // namespace halden::sdk
