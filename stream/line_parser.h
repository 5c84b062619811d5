#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/frame_ring.h"
#include "model/store.h"
#include "platform/number_rules.h"
#include "stream/line_scanner.h"

namespace halden {

/// True for a text that begins with a digit, and for exactly "-", "+", "." and ",".
bool IsNumberChar(std::string_view text);

/// Reads the number of a field, which may have a label and a unit around it and a decimal mark that isn't the
/// system's. Returns whether the field counts as read, which is whether it holds a digit. `value` is stored
/// only if a number was found: "12:34" counts as read and leaves it unchanged. `text` is left stripped, with
/// its decimal mark replaced where that was needed. With a decimal comma:
///   "T=-4.5C" -> -4.5, text "-4,5"      "abc" -> false, text unchanged
///   "1.2.3"   -> 1, text "1,2,3": no number by the locale, and the fixed rules stop at the first comma
bool ParseValue(const NumberRules& rules, std::string& text, float& value);

/// Turns lines into columns and numbers by the format in the store.
///
/// Numbers have two readers. ParseValue knows all the rules and is slow. LineScanner is fast, reads the
/// ordinary fields that nearly every line consists of, and hands all other lines over. Both store the same
/// values.
class LineParser {
 public:
  /// `longest_line`: bytes up to which a line is parsed without an allocation. Store and rules must outlive
  /// the parser.
  LineParser(Store& store, const NumberRules& rules, std::size_t longest_line)
      : store_(store), rules_(rules), frames_(store) {
    field_.reserve(longest_line);
  }

  /// Takes separator and column count from this line and marks the format as known. Returns the columns, at
  /// most 32767; 0 for a line of blanks. An empty line gives 0 and changes nothing. Throws std::bad_alloc for
  /// a line that is longer than `longest_line`.
  std::int16_t DetectColumns(std::string_view line);

  /// Begins a pass over many lines: looks up the number rules and the layout of a frame once for all of them.
  /// The host can change neither before EndPass, since everything runs on its thread. Rules that the user
  /// changes in the meantime apply from the next pass on. Throws std::bad_alloc.
  void BeginPass();
  /// Ends a pass: the host sees its frames.
  void EndPass() { frames_.End(); }
  /// Parses one line of a pass, as ParseLine does. The line begins at `line`, and its CR is at `last_cr` or
  /// before. Returns its CR and the fields read. Inline, because it runs for every line.
  [[gnu::always_inline]] LineScanner::Result TakeLine(const char* line, const char* last_cr) {
    while (*line == ' ') ++line;  // the CR stops this
    if (*line == '\r') return {line, 0};
    if (value_count_ == 0) return TakeByFullRules(line, last_cr);
    const auto scanned = scanner_.Scan(line, last_cr, store_.ChannelValues.data(), value_count_);
    if (!scanned.end) return TakeByFullRules(line, last_cr);
    frames_.AddBufferKadr();
    return scanned;
  }

  /// Parses one line outside a pass: reads its fields into ChannelValues by the format and, while Busy,
  /// stores a frame, even if no field could be read. Returns the fields that count as read. Does nothing and
  /// returns 0 for an empty line, and as long as there are no channels. Throws std::bad_alloc.
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
  std::int32_t value_count_ = 0;  // values that the scanner fills in this pass; 0: it isn't used
  std::string field_;             // scratch, a member so that its memory is kept from field to field
};

}  // namespace halden
