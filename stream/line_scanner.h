#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "stream/number_parsing.h"

namespace halden {

/// Reads the values of ordinary lines straight from the receive buffer, each byte once. A field is ordinary
/// if it holds at most one number, [sign]digits[mark digits], and around it only bytes that stripping
/// removes. Such a field has one reading, whichever of the full rules would get to it: where "." or "," is
/// neither the decimal nor the group separator it is replaced by the decimal separator, so it is a decimal
/// mark too. What isn't ordinary is handed over.
///
/// The members that run for each line stand here, so that they melt into the loop over the lines.
class LineScanner {
 public:
  static constexpr char kNoSeparator = '\0';

  /// Fixes the rules for the lines that follow. `decimal` is "." or ",". `separator` may be kNoSeparator: a
  /// line is one value.
  void Prepare(char decimal, char group, char separator);

  struct Result {
    const char* end = nullptr;  ///< the CR that ends the line; null: hand the line over
    std::int32_t read = 0;      ///< fields that count as read, as ParseValue says
  };

  /// Reads a line that begins with no blank and is not empty into `channels` values, at least 1. A CR ends
  /// it, at `last_cr` or in front of it. When a line is handed over, the values stored by then are those that
  /// the full rules store as well.
  Result Scan(const char* line, const char* last_cr, float* values, std::int32_t channels) const;

 private:
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

/// Behind what stripping removes and a sign; where the field ends first, its end.
inline const char* LineScanner::SkipLabel(const char* at) const {
  while (ClassOf(*at) == kOther) ++at;
  return ClassOf(*at) == kSign ? at + 1 : at;
}

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
    if (i == channels) {  // more fields than channels
      at = static_cast<const char*>(std::memchr(at, '\r', last_cr - at + 1));
      break;
    }
    ++at;
    while (*at == ' ') ++at;
    if (*at == '\r') {
      // Nothing behind the last separator: the channel keeps its value. Blanks there were trimmed with the
      // line.
      if (separator_ != ' ') ++i;
      break;
    }
  }
  for (; i < channels; ++i) values[i] = 0;
  return {at, read};
}

/// Gives the separator or CR behind the field; null if it is not ordinary. Stores only what the full rules
/// store.
[[gnu::always_inline]] inline const char* LineScanner::ReadField(const char* at, float& value,
                                                                 std::int32_t& read) const {
  bool negative = *at == '-';
  const char* first = at + negative;  // no branch: the processor can't foresee a sign
  if (DigitOf(*first) > 9) {
    first = SkipLabel(at);
    if (EndsField(*first)) {
      value = 0;
      return first;
    }
    if (DigitOf(*first) > 9) return nullptr;
    negative = first[-1] == '-';
  }
  std::uint64_t number = 0;
  const char* behind = TakeDigits(first, number);
  std::ptrdiff_t digits = behind - first;
  std::ptrdiff_t decimals = 0;
  Class next = ClassOf(*behind);
  if (next == kMark) {
    const char* const fraction = behind + 1;
    behind = TakeDigits(fraction, number);
    decimals = behind - fraction;
    if (decimals == 0) return nullptr;
    digits += decimals;
    next = ClassOf(*behind);
  }
  while (next == kOther) next = ClassOf(*++behind);
  if (next < kSeparator || digits > kExactDigits) return nullptr;
  const auto whole = static_cast<std::int64_t>(number);
  auto magnitude = static_cast<float>(whole);
  if (decimals != 0 && !DivideByPowerOfTen(whole, decimals, magnitude)) return nullptr;
  value = std::bit_cast<float>(std::bit_cast<std::uint32_t>(magnitude) | std::uint32_t{negative} << 31);
  ++read;
  return behind;
}

}  // namespace halden
