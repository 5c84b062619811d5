#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "stream/digits.h"

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
  /// Bytes that must be readable behind the last CR.
  static constexpr std::int32_t kReadAhead = 8;

  /// Fixes the rules for the lines that follow. `separator` may be kNoSeparator: a line is one value.
  void Prepare(char decimal, char group, char separator);

  struct Result {
    const char* end = nullptr;  ///< the CR that ends the line; null: hand the line over
    std::int16_t read = 0;      ///< fields in which a number was read
  };

  /// Reads a line that begins with no blank and is not empty into `channels` values, at least 1. A CR ends
  /// it, at `last_cr` or in front of it. When a line is handed over, the values stored by then are those that
  /// the full rules store as well.
  Result Scan(const char* line, const char* last_cr, float* values, std::int16_t channels) const;

 private:
  enum Class : std::uint8_t { kOther, kDigit, kSign, kMark, kNumberChar, kSeparator, kEnd };

  const char* ReadField(const char* at, float& value, std::int16_t& read) const;
  const char* FindNumber(const char* at) const;
  static bool Quotient(std::uint64_t digits, std::ptrdiff_t decimals, float& rounded);

  Class ClassOf(char c) const { return classes_[static_cast<unsigned char>(c)]; }
  bool EndsField(char c) const { return ClassOf(c) >= kSeparator; }

  std::array<Class, 256> classes_{};
  char decimal_ = '\0';
  char group_ = '\0';
  char separator_ = '\0';
};

inline LineScanner::Result LineScanner::Scan(const char* line, const char* last_cr, float* values,
                                             std::int16_t channels) const {
  Result result;
  std::int16_t i = 0;
  const char* at = line;
  for (;;) {
    at = ReadField(at, values[i], result.read);
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
  result.end = at;
  return result;
}

/// Gives the separator or CR behind the field; null if it is not ordinary. Stores only what the full rules
/// store.
inline const char* LineScanner::ReadField(const char* at, float& value, std::int16_t& read) const {
  const char* number = at + (*at == '-');  // no branch: the processor can't foresee a sign
  if (DigitOf(*number) > 9) {
    number = FindNumber(at);
    if (EndsField(*number)) {
      value = 0;
      return number;
    }
    if (DigitOf(*number) > 9) return nullptr;
  }
  Digits digits = ReadDigits(number);
  const char* behind = number + digits.count;
  std::ptrdiff_t decimals = 0;
  if (ClassOf(*behind) == kMark) {
    const Digits fraction = ReadDigits(behind + 1);
    decimals = fraction.count;
    behind += 1 + decimals;
    constexpr std::uint64_t kPowersOfTen[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000};
    if (decimals == 0 || decimals >= std::ssize(kPowersOfTen)) return nullptr;
    digits.number = digits.number * kPowersOfTen[decimals] + fraction.number;
  }
  while (ClassOf(*behind) == kOther) ++behind;
  float magnitude;
  if (!EndsField(*behind) || digits.count >= 8 || !Quotient(digits.number, decimals, magnitude))
    return nullptr;
  value = number > at && number[-1] == '-' ? -magnitude : magnitude;
  ++read;
  return behind;
}

/// digits / 10^decimals as the nearest float. Both are doubles without error, so the quotient is the nearest
/// double, and rounding that once more goes wrong only where it lies halfway between two floats; then the
/// answer is false.
inline bool LineScanner::Quotient(std::uint64_t digits, std::ptrdiff_t decimals, float& rounded) {
  constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7};
  constexpr std::uint64_t kBelowFloat = (1u << 29) - 1;
  constexpr std::uint64_t kHalfway = 1u << 28;
  const double quotient = static_cast<double>(static_cast<std::int64_t>(digits)) / kPowersOfTen[decimals];
  rounded = static_cast<float>(quotient);
  return (std::bit_cast<std::uint64_t>(quotient) & kBelowFloat) != kHalfway;
}

}  // namespace halden
