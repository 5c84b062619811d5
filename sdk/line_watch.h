#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "driver/line_explanation.h"
#include "model/ranges.h"
#include "model/store.h"
#include "platform/number_rules.h"

namespace halden::sdk {

/// Cuts the bytes of a device into lines as the driver does: a CR ends a line, and an LF right after it
/// belongs to the line end.
class LineCutter {
 public:
  /// Calls `take(std::string_view line)` for each line that is whole now. A line is valid during the call.
  template <class Take>
  void Add(std::string_view received, Take take) {
    for (const char c : received) {
      const bool ends_line = c == '\n' && after_return_;
      after_return_ = c == '\r';
      if (after_return_) {
        take(std::string_view(line_));
        line_.clear();
      } else if (!ends_line) {
        if (line_.size() == kLongestLine) line_.clear();  // the driver drops it as well
        line_ += c;
      }
    }
  }

 private:
  static constexpr std::size_t kLongestLine = 65536;

  std::string line_;
  bool after_return_ = false;
};

/// Something about the lines that a user would want to know, because the driver reads them in a way that
/// surprises or loses something.
struct Observation {
  enum Kind {
    kCommas,       ///< a line with commas is read as one value: the comma is no separator
    kHexadecimal,  ///< a field such as "0x1A", which is no number here
    kTimeOfDay,    ///< a field such as "12:34:01", which is no number here
    kFieldCount,   ///< a line has more or fewer fields than the format
    kNeverNumber,  ///< the channel has not had a number in kEnoughLines lines
    kSaturated,    ///< a value lies outside the channel's range: its code is 32767 or -32768
    kCoarse,  ///< the channel uses few codes and loses digits, and a finer range would hold all its values
  };
  Kind kind;
  std::int16_t channel = -1;  ///< -1: the line as a whole
  std::string example = {};   ///< the line or field, ANSI
  std::int16_t row = -1;  ///< row of the range table that would fit; -1: none does, or it isn't about ranges
  int fields = 0;         ///< of kFieldCount: fields of the line
};

/// The finest row of the range table that holds all values from `lowest` to `highest` without saturation: the
/// decimal rows first, then those of 16-bit counts. -1 if none does.
std::int16_t FinestRow(float lowest, float highest);

/// Reads each line a second time, as the driver does, and reports what is odd. Each kind is reported once per
/// channel, or once in all where it is about the line. May throw std::bad_alloc.
class LineWatch {
 public:
  static constexpr int kEnoughLines = 20;  ///< after which "few codes" and "never" can be said

  /// `rules` must outlive the object. All channels start on row 0.
  LineWatch(const NumberRules& rules, const LineFormat& format);

  /// Tells the row that the host has chosen for a channel. What was seen of its range before is forgotten.
  void SetRange(std::int16_t channel, std::int16_t row);

  /// Takes the next line, ANSI, and gives what is new.
  std::vector<Observation> Add(std::string_view line);

  /// Lines taken so far, empty ones left out.
  int Lines() const { return lines_; }
  /// What became of the fields of the last line; none for an empty one. Valid until the next Add.
  const std::vector<FieldExplanation>& Fields() const { return fields_; }
  /// The channel's code after the last line.
  std::int16_t Code(std::int16_t channel) const { return GetChannel(store_, channel); }
  /// The finest row that has held all values of the channel so far; -1 if none does, or without any number.
  std::int16_t FittingRow(std::int16_t channel) const;

 private:
  struct Channel {
    bool had_number = false;
    bool inexact = false;  // a code doesn't read back as its value
    float lowest = 0;      // of the values so far
    float highest = 0;
    std::set<std::int16_t> codes;  // the first kFewCodes different ones
  };
  static constexpr std::size_t kFewCodes = 20;

  void WatchLine(std::string_view line, const std::vector<FieldExplanation>& fields);
  void WatchField(std::int16_t channel, const FieldExplanation& field);
  void WatchValue(std::int16_t channel, float value);
  void WatchAfterEnough();
  bool IsCoarse(std::int16_t channel) const;
  void Report(Observation observation);

  const NumberRules& rules_;
  const LineFormat format_;
  Store store_;  // values, rows and the conversion to codes, as the driver has them
  std::vector<Channel> channels_;
  int lines_ = 0;
  std::vector<FieldExplanation> fields_;
  std::set<std::pair<int, std::int16_t>> reported_;  // kind and channel
  std::vector<Observation> new_;
};

}  // namespace halden::sdk
