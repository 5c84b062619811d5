#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "stream/number_parsing.h"

namespace halden {

/// The fast reader of lines: takes the values of ordinary lines straight from the receive buffer and looks at
/// each byte once. A field is ordinary if it holds at most one number, [sign]digits[mark digits], and around
/// it only bytes that ParseValue strips. Any other line is handed over to ParseValue.
///
/// The fast reader can't contradict ParseValue on an ordinary field. A mark that is neither the decimal nor
/// the group separator is replaced by the decimal separator there, so "." and "," both count as decimal marks
/// here, unless they are the group separator.
///
/// The members that run for each line are inline so that the loop over the lines absorbs them.
class LineScanner {
 public:
  static constexpr char kNoSeparator = '\0';

  /// Sets the rules for the lines that follow. `decimal`: "." or ",". `group`: '\0' for none. `separator`:
  /// between fields; with kNoSeparator a line is one value. Cheap if nothing has changed.
  void Prepare(char decimal, char group, char separator);

  struct Result {
    const char* end = nullptr;  ///< the CR that ends the line; null: not ordinary, hand the line over
    std::int32_t read = 0;      ///< fields that ParseValue would count as read
  };

  /// Reads a line into `values`, of which there are `channels`, at least 1. The line must not be empty and
  /// must not begin with a blank. Its CR is at `last_cr` or before. If the line is handed over, some values
  /// may have been stored; ParseValue would store the same.
  Result Scan(const char* line, const char* last_cr, float* values, std::int32_t channels) const;

 private:
  /// What a byte means to ReadField. From kSeparator on, it ends the field. kOther is stripped at the ends of
  /// a field. kNumberChar is a group separator "." or ",", which is neither stripped nor a decimal mark.
  enum Class : std::uint8_t { kOther, kDigit, kSign, kMark, kNumberChar, kSeparator, kEnd };

  const char* ReadField(const char* at, float& value, std::int32_t& read) const;
  const char* SkipLabel(const char* at) const;

  Class ClassOf(char c) const { return classes_[static_cast<unsigned char>(c)]; }
  bool EndsField(char c) const { return ClassOf(c) >= kSeparator; }

  std::array<Class, 256> classes_{};
  char decimal_ = '\0';
  char group_ = '\0';
  char separator_ = '\0';
};

inline void LineScanner::Prepare(char decimal, char group, char separator) {
  if (decimal == decimal_ && group == group_ && separator == separator_) return;
  decimal_ = decimal;
  group_ = group;
  separator_ = separator;
  classes_.fill(kOther);
  for (char c = '0'; c <= '9'; ++c) classes_[c] = kDigit;
  classes_['+'] = classes_['-'] = kSign;
  for (char mark : {'.', ','}) classes_[mark] = mark == decimal || mark != group ? kMark : kNumberChar;
  if (separator != kNoSeparator) classes_[static_cast<unsigned char>(separator)] = kSeparator;
  classes_['\r'] = kEnd;
}

/// Reads field by field. Example with 4 channels: "1;;T=-1.5mV;" CR stores 1, 0 and -1.5. The fourth value
/// stays as it was, because nothing follows the last separator. With "1;2" CR the third and the fourth become
/// 0.
[[gnu::always_inline]] inline LineScanner::Result LineScanner::Scan(const char* line, const char* last_cr,
                                                                    float* values,
                                                                    std::int32_t channels) const {
  std::int32_t i = 0;
  std::int32_t read = 0;
  const char* at = line;
  for (;;) {
    at = ReadField(at, values[i], read);
    if (!at) return {};
    ++i;
    if (*at == '\r') break;
    if (i == channels) {  // more fields than channels: the rest of the line is ignored
      at = static_cast<const char*>(std::memchr(at, '\r', last_cr - at + 1));
      break;
    }
    ++at;  // the separator
    while (*at == ' ') ++at;
    if (*at == '\r') {
      // Nothing follows the last separator, and the channel keeps its value. Where the separator is a blank,
      // these were the blanks at the end of the line, which count as trimmed.
      if (separator_ != ' ') ++i;
      break;
    }
  }
  for (; i < channels; ++i) values[i] = 0;
  return {at, read};
}

/// Reads one field. Stores its value, 0 if it holds no number, and returns the separator or CR that ends it.
/// Returns null, with nothing stored, if the field isn't ordinary. Adds 1 to `read` if it holds a number.
/// Example with the separator ";":
///
///   T=-1.5mV;
///   ^          `at`: no digit and no sign, so SkipLabel passes over "T=-"
///      ^       `first`: a digit, and the byte before it is "-": negative
///      ^^^     digits, the mark, digits: number = 15, of which decimals = 1
///         ^^   passed over as a unit
///           ^  returned; value = -(15 / 10^1) = -1.5
[[gnu::always_inline]] inline const char* LineScanner::ReadField(const char* at, float& value,
                                                                 std::int32_t& read) const {
  // Most fields begin with a digit or with "-" and a digit. The sign is added as a number, without a branch:
  // the processor couldn't predict it.
  bool negative = *at == '-';
  const char* first = at + negative;
  if (DigitOf(*first) > 9) {
    first = SkipLabel(at);
    if (EndsField(*first)) {
      value = 0;
      return first;
    }
    if (DigitOf(*first) > 9) return nullptr;
    negative = first[-1] == '-';  // first > at, or `at` would have been a digit
  }
  std::uint64_t number = 0;
  const char* end = TakeDigits(first, number);
  std::ptrdiff_t digits = end - first;
  std::ptrdiff_t decimals = 0;
  Class next = ClassOf(*end);
  if (next == kMark) {
    const char* const fraction = end + 1;
    end = TakeDigits(fraction, number);
    decimals = end - fraction;
    if (decimals == 0) return nullptr;
    digits += decimals;
    next = ClassOf(*end);
  }
  while (next == kOther) next = ClassOf(*++end);
  // A second number, sign or mark in the field, or more digits than a double holds exactly. `number` may have
  // overflowed by then.
  if (next < kSeparator || digits > kExactDigits) return nullptr;
  const auto whole = static_cast<std::int64_t>(number);
  auto magnitude = static_cast<float>(whole);
  if (decimals != 0 && !DivideByPowerOfTen(whole, decimals, magnitude)) return nullptr;
  // Sets the sign bit, so that "-0" becomes -0.0, again without a branch.
  value = std::bit_cast<float>(std::bit_cast<std::uint32_t>(magnitude) | std::uint32_t{negative} << 31);
  ++read;
  return end;
}

/// Skips a label and one sign after it: "T=-1.5" -> "1.5". Stops at the end of the field.
inline const char* LineScanner::SkipLabel(const char* at) const {
  while (ClassOf(*at) == kOther) ++at;
  return ClassOf(*at) == kSign ? at + 1 : at;
}

}  // namespace halden
