#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

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
  static constexpr int kMostDigits = 15;  // so many make a number that a double holds exactly

  enum Class : std::uint8_t { kOther, kDigit, kSign, kMark, kNumberChar, kSeparator, kEnd };

  const char* ReadField(const char* at, float& value, std::int16_t& read) const;
  const char* SkipLabel(const char* at) const;
  static const char* ReadDigits(const char* at, std::uint64_t& number);
  static bool Quotient(std::uint64_t digits, std::ptrdiff_t decimals, bool negative, float& value);
  static unsigned DigitOf(char c) { return static_cast<unsigned char>(c) - static_cast<unsigned>('0'); }

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
  const char* first = at + (*at == '-');  // no branch: the processor can't foresee a sign
  if (DigitOf(*first) > 9) {
    first = SkipLabel(at);
    if (EndsField(*first)) {
      value = 0;
      return first;
    }
    if (DigitOf(*first) > 9) return nullptr;
  }
  std::uint64_t number = 0;
  const char* behind = ReadDigits(first, number);
  std::ptrdiff_t digits = behind - first;
  std::ptrdiff_t decimals = 0;
  if (ClassOf(*behind) == kMark) {
    const char* const fraction = behind + 1;
    behind = ReadDigits(fraction, number);
    decimals = behind - fraction;
    if (decimals == 0) return nullptr;
    digits += decimals;
  }
  while (ClassOf(*behind) == kOther) ++behind;
  const bool negative = first[-(first > at)] == '-';
  if (!EndsField(*behind) || digits > kMostDigits || !Quotient(number, decimals, negative, value))
    return nullptr;
  ++read;
  return behind;
}

inline const char* LineScanner::ReadDigits(const char* at, std::uint64_t& number) {
  for (unsigned digit; (digit = DigitOf(*at)) <= 9; ++at) number = number * 10 + digit;
  return at;
}

/// Stores digits / 10^decimals as the nearest float. Both are doubles without error, so the quotient is the
/// nearest double, and rounding that once more goes wrong only where it lies halfway between two floats; then
/// nothing is stored and the answer is false.
inline bool LineScanner::Quotient(std::uint64_t digits, std::ptrdiff_t decimals, bool negative,
                                  float& value) {
  constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  static_assert(std::size(kPowersOfTen) > kMostDigits);
  constexpr std::uint64_t kBelowFloat = (1u << 29) - 1;
  constexpr std::uint64_t kHalfway = 1u << 28;
  const double quotient = static_cast<double>(static_cast<std::int64_t>(digits)) / kPowersOfTen[decimals];
  if ((std::bit_cast<std::uint64_t>(quotient) & kBelowFloat) == kHalfway) return false;
  const auto magnitude = std::bit_cast<std::uint32_t>(static_cast<float>(quotient));
  value = std::bit_cast<float>(magnitude | static_cast<std::uint32_t>(negative) << 31);
  return true;
}

}  // namespace halden
