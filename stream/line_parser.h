#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/frame_ring.h"
#include "model/store.h"
#include "platform/number_rules.h"
#include "stream/line_scanner.h"

namespace halden {

/// A text that begins with a digit, or that is exactly one of "-", "+", "." and ",".
bool IsNumberChar(std::string_view text);

/// Gets a number out of a field that may carry a unit or a label around it and a decimal mark that isn't the
/// system's. True: the field counts as read. `value` is stored only when a number was found: a field such as
/// "12:34" counts as read and leaves it. `text` is left stripped, with its decimal mark replaced where that
/// was needed.
bool ParseValue(const NumberRules& rules, std::string& text, float& value);

/// Turns lines into columns and numbers, by the format in the store.
class LineParser {
 public:
  /// `longest_line`: bytes of the longest line that parses without an allocation.
  LineParser(Store& store, const NumberRules& rules, std::size_t longest_line)
      : store_(store), rules_(rules), frames_(store) {
    field_.reserve(longest_line);
  }

  /// Settles separator and column count by this line, with which the format is known, and gives its columns,
  /// saturated at 32767. A line of blanks has none. An empty line gives 0 and changes nothing.
  std::int16_t DetectColumns(std::string_view line);

  /// Asks for the number rules and the layout of a frame, once for all lines until EndPass. In between
  /// nothing of the host runs on this thread; rules that the user changes meanwhile count from the next pass
  /// on. Throws std::bad_alloc.
  void BeginPass();
  /// Shows the host the frames of the pass.
  void EndPass() { frames_.End(); }
  /// Reads the line that begins here and whose CR is at `last_cr` or in front of it. Gives its CR and what
  /// ParseLine gives.
  [[gnu::always_inline]] LineScanner::Result TakeLine(const char* line, const char* last_cr) {
    while (*line == ' ') ++line;
    if (*line == '\r') return {line, 0};
    if (value_count_ == 0) return TakeByFullRules(line, last_cr);
    const auto scanned = scanner_.Scan(line, last_cr, store_.ChannelValues.data(), value_count_);
    if (!scanned.end) return TakeByFullRules(line, last_cr);
    frames_.AddBufferKadr();
    return scanned;
  }

  /// Reads a line by the format into ChannelValues and, while Busy, stores a frame. Gives the fields that
  /// count as read. An empty line, and any line without channels to fill, gives 0 and does nothing.
  std::int16_t ParseLine(std::string_view line);

 private:
  std::int16_t CountColumns(std::string_view rest) const;
  std::int16_t ReadLine(std::string_view line);
  LineScanner::Result TakeByFullRules(const char* line, const char* last_cr);
  bool HasColumns() const { return !store_.Separator.empty() && store_.ColumnsCount >= 2; }
  std::int16_t ParseFields(std::string_view rest);
  bool ParseField(std::string_view text, float& value);

  Store& store_;
  const NumberRules& rules_;
  FrameWriter frames_;
  LineScanner scanner_;
  std::int32_t value_count_ = 0;  // of an ordinary line in this pass; 0: there is none
  std::string field_;             // keeps its room from field to field
};

}  // namespace halden
