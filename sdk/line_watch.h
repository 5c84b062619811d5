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

/// Splits received bytes into lines as the driver does: a CR ends a line, and an LF right after it belongs to
/// the line end. Bytes may be added in pieces of any size.
class LineCutter {
 public:
  /// Calls `take(std::string_view line)` for each line that these bytes complete. A line is valid during the
  /// call.
  template <class Take>
  void Add(std::string_view received, Take take) {
    for (const char c : received) {
      const bool ends_line = c == '\n' && after_return_;
      after_return_ = c == '\r';
      if (after_return_) {
        take(std::string_view(line_));
        line_.clear();
      } else if (!ends_line) {
        if (line_.size() == kLongestLine) line_.clear();  // the driver's buffer drops such a line too
        line_ += c;
      }
    }
  }

 private:
  static constexpr std::size_t kLongestLine = 65536;

  std::string line_;
  bool after_return_ = false;
};

/// Something unusual about the lines, which the driver may read differently from what the user expects.
struct Observation {
  enum Kind {
    kCommas,       ///< a line with commas is read as one value, because the comma isn't a separator
    kHexadecimal,  ///< a field such as "0x1A", which isn't read as a number
    kTimeOfDay,    ///< a field such as "12:34:01", which isn't read as a number
    kFieldCount,   ///< a line has more or fewer fields than the format
    kNeverNumber,  ///< the channel has had no number in the first kEnoughLines lines
    kSaturated,    ///< a value is outside the channel's range: its code is 32767 or -32768
    kCoarse,       ///< the range is so wide that codes lose digits, and a finer one would hold all values
  };
  Kind kind;
  std::int16_t channel = -1;  ///< -1: the line as a whole
  std::string example = {};   ///< the line or field, ANSI
  std::int16_t row = -1;      ///< for kSaturated and kCoarse, the row of the range table that fits; -1: none
  int fields = 0;             ///< for kFieldCount, the number of fields in the line
};

/// The finest row of the range table that holds all values from `lowest` to `highest` without saturation: a
/// decimal row if possible, else one of 16-bit counts. -1 if no row is wide enough.
std::int16_t FinestRow(float lowest, float highest);

/// Reads each line a second time, as the driver does, and reports what is unusual. Each kind is reported once
/// per channel, or once in total if it concerns the whole line. May throw std::bad_alloc.
class LineWatch {
 public:
  static constexpr int kEnoughLines = 20;  ///< lines to see before kNeverNumber and kCoarse are reported

  /// `rules` must outlive the object. All channels start on row 0.
  LineWatch(const NumberRules& rules, const LineFormat& format);

  /// Sets the row that the host has chosen for a channel, and forgets what was reported about its old range.
  void SetRange(std::int16_t channel, std::int16_t row);

  /// Reads the next line (ANSI) and returns the new observations.
  std::vector<Observation> Add(std::string_view line);

  /// Number of lines read so far, not counting empty ones.
  int Lines() const { return lines_; }
  /// How each field of the last line was read; empty for an empty line. Valid until the next Add.
  const std::vector<FieldExplanation>& Fields() const { return fields_; }
  /// The channel's code after the last line.
  std::int16_t Code(std::int16_t channel) const { return GetChannel(store_, channel); }
  /// The finest row that holds all values of the channel so far; -1 if none does or there were no values.
  std::int16_t FittingRow(std::int16_t channel) const;

 private:
  struct Channel {
    bool had_number = false;
    bool inexact = false;  // a code read back as a noticeably different value
    float lowest = 0;      // of the values so far
    float highest = 0;
    std::set<std::int16_t> codes;  // the distinct codes, at most kFewCodes of them
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
  Store store_;  // a store like the driver's, for its values, rows and conversion to codes
  std::vector<Channel> channels_;
  int lines_ = 0;
  std::vector<FieldExplanation> fields_;
  std::set<std::pair<int, std::int16_t>> reported_;  // kind and channel
  std::vector<Observation> new_;
};

}  // namespace halden::sdk
